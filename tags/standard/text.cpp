#include "tags/standard/text.h"

#include <algorithm>

#include "tags/platform.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"

namespace tagsmith::standard {
namespace {

constexpr char16_t kMark = 0xFEFF;
constexpr char16_t kSwappedMark = 0xFFFE;

/// The number of bytes that the longest well-formed (or ill-formed) start of `text` has.
std::size_t RunLength(std::string_view text, bool isWellFormed) {
  std::string_view rest = text;
  while (!rest.empty()) {
    std::string_view next = rest;
    if (TakeUtf8(next).has_value() != isWellFormed) {
      break;
    }
    rest = isWellFormed ? next : rest.substr(1);
  }
  return text.size() - rest.size();
}

std::u16string DecodeUtf8(std::string_view text) {
  if (std::optional<std::u16string> wide = Utf8ToUtf16(text)) {
    return *std::move(wide);
  }
  std::u16string result;
  for (bool isWellFormed = true; !text.empty(); isWellFormed = !isWellFormed) {
    const std::string_view run = text.substr(0, RunLength(text, isWellFormed));
    result += isWellFormed ? *Utf8ToUtf16(run) : WidenSystemText(run);
    text.remove_prefix(run.size());
  }
  return result;
}

}  // namespace

TextDecoder::TextDecoder(ByteView bytes, std::uint32_t encoding)
    : bytes_(bytes),
      encoding_(encoding),
      isBigEndian_(encoding == kUtf16Be ||
                   (bytes.size() >= 2 && bytes[0] == std::byte{0} && bytes[1] != std::byte{0})) {}

std::u16string TextDecoder::Take() {
  std::u16string text = IsWide()               ? TakeWide()
                        : encoding_ == kLatin1 ? WidenSystemText(TakeBytes())
                                               : DecodeUtf8(TakeBytes());
  text.erase(0, std::min(text.find_first_not_of(kMark), text.size()));
  return text;
}

std::u16string TextDecoder::TakeWide() {
  std::u16string text;
  while (bytes_.size() >= 2) {
    const std::uint16_t read = ReadBigEndian16(bytes_.first<2>());
    char16_t unit = isBigEndian_ ? read : static_cast<char16_t>(read << 8U | read >> 8U);
    bytes_ = bytes_.subspan(2);
    if (unit == 0) {
      return text;
    }
    if (unit == kSwappedMark && text.empty()) {
      isBigEndian_ = !isBigEndian_;
      unit = kMark;
    }
    text.push_back(unit);
  }
  bytes_ = {};  // half a unit is no text
  return text;
}

std::string_view TextDecoder::TakeBytes() {
  const std::string_view text = UpToZero(AsText(bytes_));
  bytes_ = bytes_.subspan(std::min(text.size() + 1, bytes_.size()));
  return text;
}

Values TakeValues(TextDecoder& decoder) {
  Values values;
  while (!decoder.AtEnd() && values.size() < kMostValues) {
    if (std::u16string value = decoder.Take(); !value.empty()) {
      values.push_back(std::move(value));
    }
  }
  return values;
}

std::u16string Join(const Values& values) {
  std::u16string text;
  for (const std::u16string& value : values) {
    if (!text.empty()) {
      text += u"; ";
    }
    text += value;
  }
  return text;
}

Values Split(std::u16string_view text, char16_t separator) {
  Values parts;
  while (!text.empty() && parts.size() < kMostValues) {
    const std::size_t end = std::min(text.find(separator), text.size());
    if (const std::u16string_view part = Trim(text.substr(0, end)); !part.empty()) {
      parts.emplace_back(part);
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

std::u16string_view Trim(std::u16string_view text) {
  constexpr std::u16string_view kBlanks = u" \t\r\n\v\f";
  const std::size_t start = std::min(text.find_first_not_of(kBlanks), text.size());
  text.remove_prefix(start);
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

TagText MakeTagText(std::u16string_view text) {
  TagText field;
  field.length = text.size();
  field.encoding = kUtf16;
  field.text.reserve(2 * text.size() + 4);
  const auto append = [&](char16_t unit) {
    field.text.push_back(static_cast<char>(unit & 0xFFU));
    field.text.push_back(static_cast<char>(unit >> 8U));
  };
  append(kMark);
  std::for_each(text.begin(), text.end(), append);
  append(u'\0');
  return field;
}

}  // namespace tagsmith::standard
