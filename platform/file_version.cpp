#include "platform/file_version.h"

#include <windows.h>

#include <cstddef>
#include <vector>

namespace tagsmith {

std::optional<FileVersion> ReadFileVersion(const wchar_t* path) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(path, &ignored);
  if (size == 0) {
    return std::nullopt;
  }
  std::vector<std::byte> resource(size);
  void* block = nullptr;
  UINT length = 0;
  if (GetFileVersionInfoW(path, 0, size, resource.data()) == FALSE ||
      VerQueryValueW(resource.data(), L"\\", &block, &length) == FALSE ||
      length < sizeof(VS_FIXEDFILEINFO)) {
    return std::nullopt;
  }
  const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(block);
  return FileVersion{.major = HIWORD(fixed->dwFileVersionMS),
                     .minor = LOWORD(fixed->dwFileVersionMS),
                     .build = HIWORD(fixed->dwFileVersionLS),
                     .revision = LOWORD(fixed->dwFileVersionLS)};
}

}  // namespace tagsmith
