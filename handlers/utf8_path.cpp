#include "handlers/utf8_path.h"

#include <windows.h>

namespace tagsmith {

std::optional<Utf8Path> ToUtf8Path(const wchar_t* path) {
  Utf8Path converted;
  const int length = WideCharToMultiByte(CP_UTF8, 0, path, -1, converted.data(),
                                         static_cast<int>(converted.size()), nullptr, nullptr);
  return length == 0 ? std::nullopt : std::optional(converted);
}

}  // namespace tagsmith
