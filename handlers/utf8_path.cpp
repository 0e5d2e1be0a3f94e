#include "handlers/utf8_path.h"

#include <algorithm>
#include <string>

#include "tags/unicode.h"

namespace tagsmith {

std::optional<Utf8Path> ToUtf8Path(std::wstring_view path) {
  // WideCharToMultiByte refuses unpaired surrogates only since Windows Vista.
  std::u16string_view rest(reinterpret_cast<const char16_t*>(path.data()), path.size());
  std::string utf8;
  while (!rest.empty()) {
    const char32_t character = TakeUtf16(rest);
    if (IsSurrogate(character)) {
      return std::nullopt;
    }
    AppendUtf8(utf8, character);
  }
  Utf8Path converted{};
  if (utf8.empty() || utf8.size() >= converted.size()) {
    return std::nullopt;
  }
  std::ranges::copy(utf8, converted.begin());
  return converted;
}

}  // namespace tagsmith
