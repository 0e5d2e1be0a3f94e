#include "handlers/wide_text.h"

#include "format/bounded.h"
#include "tags/platform.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"

namespace tagsmith {

void WideText::Set(const TagText& field) {
  if (field.encoding == kLatin1) {
    SetNarrow(field.text);
  } else {
    SetWide(DecodeUtf16(field.text));
  }
}

void WideText::Set(const NarrowText& text) { SetNarrow(text ? *text : std::string_view()); }

void WideText::Set(const char* narrow) { SetNarrow(narrow); }

void WideText::SetNarrow(std::string_view narrow) { SetWide(WidenSystemText(UpToZero(narrow))); }

void WideText::SetWide(std::u16string_view wide) {
  CopyBounded(characters_, {reinterpret_cast<const wchar_t*>(wide.data()), wide.size()});
}

}  // namespace tagsmith
