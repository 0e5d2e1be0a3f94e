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

}  // namespace tagsmith
