// The file version in a module's version resource.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tagsmith {

struct FileVersion {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t build = 0;
  std::uint32_t revision = 0;
};

/// "1.2.3.4".
std::string DottedText(const FileVersion& version);

/// The four numbers of the fixed part; nothing when the file has no such resource.
std::optional<FileVersion> ReadFileVersion(const wchar_t* path);

}  // namespace tagsmith
