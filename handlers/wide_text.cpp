#include "handlers/wide_text.h"

#include <string>

#include "format/bounded.h"
#include "tags/platform.h"
#include "tags/text_helpers.h"

namespace tagsmith {

void WideText::Set(const TagText& field) {
  if (field.encoding == kLatin1) {
    SetNarrow(field.text);
    return;
  }
  constexpr std::string_view kMark = "\xFF\xFE";
  std::string_view bytes = field.text;
  if (bytes.starts_with(kMark)) {
    bytes.remove_prefix(kMark.size());
  }
  std::size_t length = 0;
  for (; length + 1 < characters_.size() && 2 * length + 1 < bytes.size(); ++length) {
    const auto low = static_cast<unsigned char>(bytes[2 * length]);
    const auto high = static_cast<unsigned char>(bytes[2 * length + 1]);
    characters_[length] = static_cast<wchar_t>(low | high << 8U);
    if (characters_[length] == L'\0') {
      break;
    }
  }
  characters_[length] = L'\0';
}

void WideText::Set(const NarrowText& text) { SetNarrow(text ? *text : std::string_view()); }

void WideText::Set(const char* narrow) { SetNarrow(narrow); }

void WideText::SetNarrow(std::string_view narrow) {
  const std::u16string wide = WidenSystemText(UpToZero(narrow));
  CopyBounded(characters_, {reinterpret_cast<const wchar_t*>(wide.data()), wide.size()});
}

}  // namespace tagsmith
