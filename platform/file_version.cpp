#include "platform/file_version.h"

#include <windows.h>

#include <cstddef>
#include <vector>

#include "platform/system_library.h"

namespace tagsmith {

std::string DottedText(const FileVersion& version) {
  return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
         std::to_string(version.build) + "." + std::to_string(version.revision);
}

std::optional<FileVersion> ReadFileVersion(const wchar_t* path) {
  // Not imported: the loader would look beside the host's program first.
  const HMODULE library = LoadSystemLibrary(L"version.dll");
  const auto getSize =
      FindFunction<decltype(&GetFileVersionInfoSizeW)>(library, "GetFileVersionInfoSizeW");
  const auto getInfo = FindFunction<decltype(&GetFileVersionInfoW)>(library, "GetFileVersionInfoW");
  const auto query = FindFunction<decltype(&VerQueryValueW)>(library, "VerQueryValueW");
  if (getSize == nullptr || getInfo == nullptr || query == nullptr) {
    return std::nullopt;
  }
  DWORD ignored = 0;
  const DWORD size = getSize(path, &ignored);
  if (size == 0) {
    return std::nullopt;
  }
  std::vector<std::byte> resource(size);
  void* block = nullptr;
  UINT length = 0;
  if (getInfo(path, 0, size, resource.data()) == FALSE ||
      query(resource.data(), L"\\", &block, &length) == FALSE ||
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
