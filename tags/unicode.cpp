#include "tags/unicode.h"

#include <array>

namespace tagsmith {
namespace {

/// The forms of UTF-8: lead byte under a mask, bytes in all, smallest value that needs the form.
struct Utf8Form {
  unsigned mask;
  unsigned lead;
  std::size_t length;
  char32_t smallest;
};
constexpr std::array<Utf8Form, 4> kForms{{
    {0x80, 0x00, 1, 0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
}};

constexpr char32_t kLastCharacter = 0x10FFFF;
constexpr char32_t kFirstSupplementary = 0x10000;

/// `use(unit)` takes the units of the character in UTF-16, one or two.
template <typename Use>
void ForEachUnit(char32_t character, Use use) {
  if (character < kFirstSupplementary) {
    use(static_cast<char16_t>(character));
  } else {
    const char32_t offset = character - kFirstSupplementary;
    use(static_cast<char16_t>(0xD800U + (offset >> 10U)));
    use(static_cast<char16_t>(0xDC00U + (offset & 0x3FFU)));
  }
}

}  // namespace

std::optional<char32_t> TakeUtf8(std::string_view& text) {
  const unsigned lead = static_cast<unsigned char>(text.front());
  for (const Utf8Form& form : kForms) {
    if ((lead & form.mask) != form.lead) {
      continue;
    }
    if (text.size() < form.length) {
      return std::nullopt;
    }
    char32_t character = lead & ~form.mask & 0xFFU;
    for (std::size_t i = 1; i < form.length; ++i) {
      const unsigned next = static_cast<unsigned char>(text[i]);
      if ((next & 0xC0U) != 0x80U) {
        return std::nullopt;
      }
      character = character << 6U | (next & 0x3FU);
    }
    if (character < form.smallest || character > kLastCharacter || IsSurrogate(character)) {
      return std::nullopt;
    }
    text.remove_prefix(form.length);
    return character;
  }
  return std::nullopt;
}

std::optional<std::u16string> Utf8ToUtf16(std::string_view text) {
  std::u16string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::optional<char32_t> character = TakeUtf8(text);
    if (!character) {
      return std::nullopt;
    }
    ForEachUnit(*character, [&](char16_t unit) { result.push_back(unit); });
  }
  return result;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  constexpr char32_t kReplacement = 0xFFFD;
  std::string utf8;
  while (!text.empty()) {
    const char32_t character = TakeUtf16(text);
    AppendUtf8(utf8, IsSurrogate(character) ? kReplacement : character);
  }
  return utf8;
}

std::size_t CountUtf16Units(std::string_view bytes) {
  const std::size_t units = bytes.size() / 2;
  std::size_t count = 0;
  while (count < units && Utf16UnitAt(bytes, 2 * count) != 0) {
    ++count;
  }
  return count;
}

std::u16string DecodeUtf16(std::string_view bytes, std::endian order) {
  const std::size_t units = CountUtf16Units(bytes);
  const std::size_t mark = units != 0 && Utf16UnitAt(bytes, 0, order) == kByteOrderMark ? 1 : 0;
  std::u16string text(units - mark, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = Utf16UnitAt(bytes, 2 * (i + mark), order);
  }
  return text;
}

void AppendUtf16(std::string& bytes, std::u16string_view text) {
  const std::size_t start = bytes.size();
  bytes.resize(start + 2 * text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    bytes[start + 2 * i] = static_cast<char>(text[i] & 0xFFU);
    bytes[start + 2 * i + 1] = static_cast<char>(text[i] >> 8U);
  }
}

void AppendUtf16(std::string& bytes, char32_t character) {
  ForEachUnit(character, [&](char16_t unit) {
    bytes.push_back(static_cast<char>(unit & 0xFFU));
    bytes.push_back(static_cast<char>(unit >> 8U));
  });
}

std::u16string WidenLatin1(std::string_view text) {
  std::u16string wide;
  wide.reserve(text.size());
  for (const char c : text) {
    wide.push_back(static_cast<unsigned char>(c));
  }
  return wide;
}

void AppendUtf8(std::string& text, char32_t character) {
  if (character < 0x80) {
    text.push_back(static_cast<char>(character));
    return;
  }
  const std::size_t length = character < 0x800 ? 2 : character < kFirstSupplementary ? 3 : 4;
  const auto leadShift = static_cast<unsigned>(6 * (length - 1));
  text.push_back(static_cast<char>(kForms[length - 1].lead | character >> leadShift));
  for (unsigned shift = leadShift; shift != 0;) {
    shift -= 6;
    text.push_back(static_cast<char>(0x80U | (character >> shift & 0x3FU)));
  }
}

char32_t TakeUtf16(std::u16string_view& text) {
  const char32_t first = text.front();
  text.remove_prefix(1);
  if (first >= 0xD800 && first <= 0xDBFF && !text.empty()) {
    const char32_t second = text.front();
    if (second >= 0xDC00 && second <= 0xDFFF) {
      text.remove_prefix(1);
      return kFirstSupplementary + ((first - 0xD800U) << 10U) + (second - 0xDC00U);
    }
  }
  return first;
}

}  // namespace tagsmith
