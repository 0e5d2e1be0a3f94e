#include "tags/text_conversion.h"

#include <algorithm>
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

/// Keeps the characters of a 16-bit text that fit `mode`, in place; the size stays.
void Narrow(std::string& bytes, TextReduction mode) {
  const char first = bytes.front();
  const bool hasMark = first == '\xFE' || first == '\xFF';
  if (first == '\xFE' || first == '\0') {
    SwapPairs(bytes);
  }
  const char16_t last = mode == TextReduction::kAscii ? 126 : 254;
  std::size_t kept = 0;
  for (std::size_t i = hasMark ? 2 : 0; i + 1 < bytes.size(); i += 2) {
    const char16_t unit = Utf16UnitAt(bytes, i);
    if (unit >= 32 && unit <= last) {
      bytes[kept++] = static_cast<char>(unit);
    }
  }
  std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(kept), bytes.end(), '\0');
}

/// UTF-8 as UTF-16LE with a mark, in a zeroed buffer of the size that is always enough.
std::string MarkedUtf16(std::string_view source, std::size_t workingSize) {
  const std::string_view text = UpToZero(source);
  std::optional<std::u16string> wide = Utf8ToUtf16(text);
  if (!wide) {
    wide = WidenSystemText(text);
  }
  std::string bytes(2 * workingSize + 2, '\0');
  std::size_t position = 0;
  const auto append = [&](char16_t unit) {
    bytes[position++] = static_cast<char>(unit & 0xFFU);
    bytes[position++] = static_cast<char>(unit >> 8U);
  };
  append(kByteOrderMark);
  std::for_each(wide->begin(), wide->end(), append);
  return bytes;
}

/// Makes CR LF pairs of the single line breaks. Only the first byte of each unit is looked at.
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
    if (isSingleBreak(i)) {
      result.append(unit == 2 ? std::string_view("\r\0\n\0", 4) : std::string_view("\r\n"));
    } else {
      result.append(bytes, i, unit);
    }
  }
  bytes = std::move(result);
}

}  // namespace

ConvertedText ConvertText(ByteView source, std::uint32_t encoding, TextReduction mode) {
  const bool narrows = encoding != kLatin1 && mode != TextReduction::kKeepUnicode;
  const std::size_t sourceUnit = encoding == kLatin1 ? 1 : 2;
  const std::size_t workingSize = source.size() + sourceUnit;

  ConvertedText result;
  if (encoding == kUtf8 && !narrows) {
    result.bytes = MarkedUtf16(AsText(source), workingSize);
  } else {
    result.bytes.reserve(workingSize);
    result.bytes = AsText(source);
    result.bytes.resize(workingSize);
    if (narrows) {
      Narrow(result.bytes, mode);
    } else if (encoding != kLatin1 && result.bytes.front() == '\xFE') {
      SwapPairs(result.bytes);
    }
  }
  const bool isNarrow = encoding == kLatin1 || narrows;
  NormaliseLineBreaks(result.bytes, isNarrow ? 1 : 2);
  result.length = isNarrow ? UpToZero(result.bytes).size() : DecodeUtf16(result.bytes).size();
  return result;
}

std::string ConvertToNarrow(ByteView source, std::uint32_t encoding, TextReduction mode) {
  std::string text = ConvertText(source, encoding, mode).bytes;
  text.resize(UpToZero(text).size());
  return text;
}

}  // namespace tagsmith
