#include "shellext/base/version_info.h"

#include <windows.h>

#include <array>
#include <atomic>

namespace tagsmith {
namespace {

struct WindowsVersion {
  DWORD platform = 0;
  DWORD major = 0;
};

WindowsVersion AskWindowsVersion() {
  OSVERSIONINFOW info{};
  info.dwOSVersionInfoSize = sizeof(info);
  // The answer that the process is meant to get, by its manifest, is the one that counts.
  if (GetVersionExW(&info) == FALSE) {
    return {};
  }
  return {info.dwPlatformId, info.dwMajorVersion};
}

bool IsNtOrLater(DWORD major) {
  // 0: not asked yet; else the platform in the high half, the major version in the low one. Two
  // threads at the first question both ask, and get the same answer.
  static std::atomic<DWORD> cache;
  DWORD known = cache;
  if (known == 0) {
    const WindowsVersion version = AskWindowsVersion();
    known = (version.platform + 1) << 16U | (version.major & 0xFFFFU);
    cache = known;
  }
  return (known >> 16U) - 1 == VER_PLATFORM_WIN32_NT && (known & 0xFFFFU) >= major;
}

}  // namespace

bool IsNt6OrLater() { return IsNtOrLater(6); }
bool IsNt5OrLater() { return IsNtOrLater(5); }

std::optional<FileVersion> GetFileVersion(const char* path) {
  std::array<wchar_t, 261> wide{};
  if (path == nullptr) {
    GetModuleFileNameW(nullptr, wide.data(), static_cast<DWORD>(wide.size()) - 1);
  } else {
    for (std::size_t i = 0; i + 1 < wide.size() && path[i] != '\0'; ++i) {
      wide[i] = static_cast<unsigned char>(path[i]);
    }
  }
  return ReadFileVersion(wide.data());
}

}  // namespace tagsmith
