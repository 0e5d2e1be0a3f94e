// The shell's paths as the library takes them.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace tagsmith {

/// UTF-8, terminated.
using Utf8Path = std::array<char, 260>;

/// Nothing when the path is empty, is not well-formed UTF-16, or in UTF-8 does not fit with its
/// terminator: it is never cut, and never that of another file.
std::optional<Utf8Path> ToUtf8Path(std::wstring_view path);

}  // namespace tagsmith
