#include "tags/standard/text.h"

#include <algorithm>

#include "tags/platform.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"

namespace tagsmith::standard {
namespace {

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

/// Whether the first of the 16-bit units that is not zero is a Latin letter, its high byte first.
bool BeginsWithHighByte(ByteView bytes) {
  while (bytes.size() >= 2 && bytes[0] == std::byte{0} && bytes[1] == std::byte{0}) {
    bytes = bytes.subspan(2);
  }
  return bytes.size() >= 2 && bytes[0] == std::byte{0};
}

}  // namespace

TextDecoder::TextDecoder(ByteView bytes, std::uint32_t encoding)
    : bytes_(bytes),
      encoding_(encoding),
      order_(encoding == kUtf16Be || BeginsWithHighByte(bytes) ? std::endian::big
                                                               : std::endian::little) {}

std::u16string TextDecoder::Take() {
  std::u16string text = IsWide()               ? TakeWide()
                        : encoding_ == kLatin1 ? WidenSystemText(TakeTerminated(bytes_))
                                               : DecodeUtf8(TakeTerminated(bytes_));
  text.erase(0, std::min(text.find_first_not_of(kByteOrderMark), text.size()));
  return text;
}

std::u16string TextDecoder::TakeWide() {
  const std::size_t size = 2 * CountUtf16Units(AsText(bytes_));
  const std::string_view text = AsText(bytes_.first(size));
  if (!text.empty() && Utf16UnitAt(text, 0, order_) == kSwappedMark) {
    order_ = order_ == std::endian::big ? std::endian::little : std::endian::big;
  }
  bytes_ = After(bytes_, size + 2);
  return DecodeUtf16(text, order_);
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

std::u16string TakeJoined(TextDecoder& decoder) {
  std::u16string first = decoder.Take();
  if (decoder.AtEnd()) {
    return first;
  }
  Values values = TakeValues(decoder);
  if (!first.empty()) {
    values.insert(values.begin(), std::move(first));
  }
  return Join(values);
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
  TagText field{.text = {}, .length = text.size(), .encoding = kUtf16};
  field.text.reserve(2 * text.size() + 4);
  AppendUtf16(field.text, kByteOrderMark);
  AppendUtf16(field.text, text);
  field.text.append(2, '\0');
  return field;
}

}  // namespace tagsmith::standard
