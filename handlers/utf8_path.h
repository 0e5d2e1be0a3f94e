// The shell's paths as the library takes them.
#pragma once

#include <array>
#include <optional>

namespace tagsmith {

/// UTF-8, terminated.
using Utf8Path = std::array<char, 260>;

/// Nothing when the path in UTF-8 does not fit with its terminator: it is never cut.
std::optional<Utf8Path> ToUtf8Path(const wchar_t* path);

}  // namespace tagsmith
