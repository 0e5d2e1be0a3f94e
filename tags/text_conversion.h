// From the raw text of a tag frame to the form in which the tag model stores it.
#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "tags/byte_order.h"

namespace tagsmith {

/// Text encodings of ID3v2 frames (ID3v2.4.0 structure, 4).
enum TextEncoding : std::uint32_t {
  kLatin1 = 0,   // ISO-8859-1, ends with one zero byte
  kUtf16 = 1,    // UTF-16 with byte-order mark, ends with a zero unit
  kUtf16Be = 2,  // UTF-16BE without mark, ends with a zero unit
  kUtf8 = 3,     // UTF-8, ends with one zero byte
};

/// What becomes of text in encodings 1 to 3; text in encoding 0 keeps its bytes in every mode.
enum class TextReduction : std::uint32_t {
  kKeepUnicode = 0,  // UTF-16LE with byte-order mark
  kAscii = 1,        // narrow, of each 16-bit unit only 32 to 126
  kLatin1 = 2,       // narrow, of each 16-bit unit only 32 to 254
};

inline constexpr std::size_t kWholeText = std::numeric_limits<std::size_t>::max();

struct ConvertedText {
  std::string bytes;         // with its terminator; more bytes may follow
  std::uint64_t length = 0;  // characters (UTF-16: units) before the terminator, without the mark
};

/// Converts `source`, which need not be terminated, and makes every line break a CR LF pair.
///
/// A narrowing mode reads UTF-8 as pairs of bytes, like UTF-16. UTF-16 without a mark counts as
/// big-endian only when it is narrowed and begins with a zero byte. A line feed among the first two
/// units is left alone. Line breaks in UTF-16 are recognised by the low byte of a unit, which
/// stays and gets its missing half beside it. UTF-8 that is not well-formed is widened as text of
/// the system's own encoding.
///
/// Of a text of more than `longest` characters only so many are given, and no memory is taken for
/// the others.
ConvertedText ConvertText(ByteView source, std::uint32_t encoding, TextReduction mode,
                          std::size_t longest = kWholeText);

/// ConvertText's result as a narrow string: the bytes before the first zero byte.
std::string ConvertToNarrow(ByteView source, std::uint32_t encoding, TextReduction mode,
                            std::size_t longest = kWholeText);

}  // namespace tagsmith
