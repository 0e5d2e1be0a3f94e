#include "handlers/utf8_path.h"

#include <windows.h>

namespace tagsmith {

std::optional<Utf8Path> ToUtf8Path(std::wstring_view path) {
  Utf8Path converted{};
  const int length = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, path.data(),
                                         static_cast<int>(path.size()), converted.data(),
                                         static_cast<int>(converted.size()) - 1, nullptr, nullptr);
  return length == 0 ? std::nullopt : std::optional(converted);
}

}  // namespace tagsmith
