#include <sys/stat.h>

#include "tags/platform.h"
#include "tags/unicode.h"

namespace tagsmith {

FilePointer OpenFile(const char* path, const char* mode) {
  return FilePointer(std::fopen(path, mode));
}

std::optional<std::uint64_t> FileSizeOf(std::FILE* file) {
  struct stat status {};
  if (::fstat(::fileno(file), &status) != 0) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(status.st_size);
}

int SeekFile(std::FILE* file, std::int64_t offset, int origin) {
  return ::fseeko(file, offset, origin);
}

std::int64_t TellFile(std::FILE* file) { return ::ftello(file); }

std::u16string WidenSystemText(std::string_view text) { return WidenLatin1(text); }

std::string NarrowSystemText(std::u16string_view text) {
  std::string narrow;
  while (!text.empty()) {
    const char32_t character = TakeUtf16(text);
    narrow.push_back(character <= 0xFF ? static_cast<char>(character) : '?');
  }
  return narrow;
}

}  // namespace tagsmith
