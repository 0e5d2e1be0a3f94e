#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include <array>

#include "tags/platform.h"

namespace tagsmith {

FilePointer OpenFile(const char* path, const char* mode) {
  std::array<wchar_t, 260> widePath{};
  if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, widePath.data(),
                          static_cast<int>(widePath.size())) == 0) {
    return FilePointer(std::fopen(path, mode));
  }
  std::array<wchar_t, 64> wideMode{};
  MultiByteToWideChar(CP_ACP, 0, mode, -1, wideMode.data(), static_cast<int>(wideMode.size()) - 1);
  return FilePointer(_wfopen(widePath.data(), wideMode.data()));
}

std::optional<std::uint64_t> FileSizeOf(std::FILE* file) {
  struct _stat64 status {};
  if (_fstat64(_fileno(file), &status) != 0) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(status.st_size);
}

int SeekFile(std::FILE* file, std::int64_t offset, int origin) {
  return _fseeki64(file, offset, origin);
}

std::int64_t TellFile(std::FILE* file) { return _ftelli64(file); }

std::u16string WidenSystemText(std::string_view text) {
  const int length = static_cast<int>(text.size());
  std::u16string wide(text.size(), u'\0');
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  const int written = MultiByteToWideChar(CP_ACP, 0, text.data(), length,
                                          reinterpret_cast<wchar_t*>(wide.data()), length);
  wide.resize(static_cast<std::size_t>(written));
  return wide;
}

std::string NarrowSystemText(std::u16string_view text) {
  constexpr std::size_t kMostBytes = 4;  // of a character in any code page
  const auto* wide = reinterpret_cast<const wchar_t*>(text.data());
  std::string narrow(kMostBytes * text.size(), '\0');
  const int written =
      WideCharToMultiByte(CP_ACP, 0, wide, static_cast<int>(text.size()), narrow.data(),
                          static_cast<int>(narrow.size()), nullptr, nullptr);
  narrow.resize(static_cast<std::size_t>(written));
  return narrow;
}

}  // namespace tagsmith
