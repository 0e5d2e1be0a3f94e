#include "tags/text_conversion.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tags/platform.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

constexpr char kCarriageReturn = '\r';
constexpr char kLineFeed = '\n';

void SwapPairs(std::string& bytes) {
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    std::swap(bytes[i], bytes[i + 1]);
  }
}

/// The characters of a 16-bit text that fit `mode`, then zeros: of a whole text as many as the text
/// had bytes, else one after `longest` characters and one more. The mark is a character that fits
/// no mode.
std::string NarrowUtf16(ByteView source, TextReduction mode, std::size_t longest) {
  const auto byteAt = [&](std::size_t i) {
    return i < source.size() ? std::to_integer<unsigned>(source[i]) : 0U;
  };
  const bool isBigEndian = byteAt(0) == 0xFE || byteAt(0) == 0;
  const unsigned last = mode == TextReduction::kAscii ? 126 : 254;
  const std::size_t wholeSize = source.size() + 2;
  std::string kept;
  kept.reserve(longest == kWholeText ? wholeSize : std::min(longest + 2, wholeSize));
  for (std::size_t i = 0; i + 1 < wholeSize && kept.size() <= longest; i += 2) {
    const unsigned unit =
        byteAt(i + (isBigEndian ? 0 : 1)) << 8U | byteAt(i + (isBigEndian ? 1 : 0));
    if (unit >= 32 && unit <= last) {
      kept += static_cast<char>(unit);
    }
  }
  kept.resize(longest == kWholeText ? wholeSize : kept.size() + 1);
  return kept;
}

/// UTF-8 as UTF-16LE with a mark and zeros after it: at least the first `longest` characters. What
/// is not well-formed in any place is widened as a whole.
std::string MarkedUtf16(std::string_view source, std::size_t longest) {
  const std::string_view text = UpToZero(source);
  std::string bytes;
  bytes.reserve(longest == kWholeText ? 2 * source.size() + 6
                                      : 2 * std::min(text.size(), longest) + 4);
  AppendUtf16(bytes, kByteOrderMark);
  std::size_t characters = 0;
  for (std::string_view rest = text; !rest.empty(); ++characters) {
    const std::optional<char32_t> character = TakeUtf8(rest);
    if (!character) {
      bytes.resize(2);
      AppendUtf16(bytes, WidenSystemText(text.substr(0, 2 * std::min(longest, text.size()))));
      break;
    }
    if (characters < longest) {
      AppendUtf16(bytes, *character);
    }
  }
  bytes.resize(longest == kWholeText ? 2 * source.size() + 6 : bytes.size() + 2);
  return bytes;
}

/// What is in front of the terminator, if there is one.
ByteView UpToTerminator(ByteView text, std::size_t unit) {
  const std::size_t size =
      unit == 1 ? UpToZero(AsText(text)).size() : 2 * CountUtf16Units(AsText(text));
  return size + unit <= text.size() ? text.first(size) : text;
}

/// The units before the terminator, without the mark.
std::size_t CountUnits(std::string_view bytes) {
  const std::size_t units = CountUtf16Units(bytes);
  return units - (units != 0 && Utf16UnitAt(bytes, 0) == kByteOrderMark ? 1U : 0U);
}

/// Ends the text after `longest` characters.
void CutText(ConvertedText& text, std::size_t unit, std::size_t longest) {
  if (text.length <= longest) {
    return;
  }
  const bool hasMark = unit == 2 && Utf16UnitAt(text.bytes, 0) == kByteOrderMark;
  text.bytes.resize((longest + (hasMark ? 1 : 0)) * unit);
  text.bytes.append(unit, '\0');
  text.length = longest;
}

/// Puts its missing half beside each single line break. Only the first byte of each unit is looked
/// at; the unit itself stays, whatever it is.
void NormaliseLineBreaks(std::string& bytes, std::size_t unit) {
  const auto isSingleBreak = [&](std::size_t i) {
    if (bytes[i] == kCarriageReturn) {
      return i + unit >= bytes.size() || bytes[i + unit] != kLineFeed;
    }
    return bytes[i] == kLineFeed && i > unit && bytes[i - unit] != kCarriageReturn;
  };
  std::size_t breaks = 0;
  for (std::size_t i = 0; i < bytes.size(); i += unit) {
    if (isSingleBreak(i)) {
      ++breaks;
    }
  }
  if (breaks == 0) {
    return;
  }
  std::string result;
  result.reserve(bytes.size() + breaks * unit);
  for (std::size_t i = 0; i < bytes.size(); i += unit) {
    const bool isSingle = isSingleBreak(i);
    if (isSingle && bytes[i] == kLineFeed) {
      result.append("\r\0", unit);
    }
    result.append(bytes, i, unit);
    if (isSingle && bytes[i] == kCarriageReturn) {
      result.append("\n\0", unit);
    }
  }
  bytes = std::move(result);
}

}  // namespace

ConvertedText ConvertText(ByteView source, std::uint32_t encoding, TextReduction mode,
                          std::size_t longest) {
  const bool narrows = encoding != kLatin1 && mode != TextReduction::kKeepUnicode;
  const std::size_t sourceUnit = encoding == kLatin1 ? 1 : 2;
  ConvertedText result;
  if (narrows) {
    result.bytes = NarrowUtf16(source, mode, longest);
  } else if (encoding == kUtf8) {
    result.bytes = MarkedUtf16(AsText(source), longest);
  } else {
    if (longest < source.size()) {
      source = UpTo(source, (longest + 2) * sourceUnit);  // with the mark, and one too many
    }
    if (longest != kWholeText) {
      source = UpToTerminator(source, sourceUnit);
    }
    result.bytes.reserve(source.size() + sourceUnit);
    result.bytes = AsText(source);
    result.bytes.resize(source.size() + sourceUnit);
    if (encoding != kLatin1 && result.bytes.front() == '\xFE') {
      SwapPairs(result.bytes);
    }
  }
  const bool isNarrow = encoding == kLatin1 || narrows;
  NormaliseLineBreaks(result.bytes, isNarrow ? 1 : 2);
  result.length = isNarrow ? UpToZero(result.bytes).size() : CountUnits(result.bytes);
  CutText(result, isNarrow ? 1 : 2, longest);
  return result;
}

std::string ConvertToNarrow(ByteView source, std::uint32_t encoding, TextReduction mode,
                            std::size_t longest) {
  std::string text = ConvertText(source, encoding, mode, longest).bytes;
  text.resize(UpToZero(text).size());
  return text;
}

}  // namespace tagsmith
