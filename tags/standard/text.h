// Text of the standard reading: one decoder for all frames (ID3v2.4.0 structure, 4; ID3v2.3.0,
// 3.3), and the forms in which the tag model keeps what it gives.
#pragma once

#include <bit>
#include <string>
#include <string_view>
#include <vector>

#include "tags/byte_order.h"
#include "tags/tag_model.h"

namespace tagsmith::standard {

using Values = std::vector<std::u16string>;

/// Takes one terminated string after the other out of a frame.
///
/// Narrow text is read in the system's code page, and so is each byte of UTF-8 text that belongs to
/// no well-formed sequence: it was written as narrow text. The byte order of 16-bit text is that of
/// the last mark; without one it is big-endian for kUtf16Be, for kUtf16 what the first unit tells.
class TextDecoder {
 public:
  TextDecoder(ByteView bytes, std::uint32_t encoding);

  /// Whether the encoding is one of the four; with another there is no text.
  static bool IsEncoding(std::byte byte) { return byte <= std::byte{kUtf8}; }

  [[nodiscard]] bool AtEnd() const { return bytes_.empty(); }

  /// The text before the next terminator, or before the end where none follows; marks left out.
  std::u16string Take();

  /// What follows the strings taken so far.
  [[nodiscard]] ByteView Rest() const { return bytes_; }

 private:
  [[nodiscard]] bool IsWide() const { return encoding_ == kUtf16 || encoding_ == kUtf16Be; }
  std::u16string TakeWide();

  ByteView bytes_;
  std::uint32_t encoding_;
  std::endian order_;
};

/// A text that is divided further is no list of names.
inline constexpr std::size_t kMostValues = 1000;

/// The strings up to the end that are not empty, kMostValues at the most.
Values TakeValues(TextDecoder& decoder);

/// Likewise as one text, "A; B".
std::u16string TakeJoined(TextDecoder& decoder);

/// The values as one text.
std::u16string Join(const Values& values);

/// The parts of `text` that `separator` divides, blanks around them cut, empty ones left out,
/// kMostValues at the most.
Values Split(std::u16string_view text, char16_t separator);

/// `text` without the blanks at both ends.
std::u16string_view Trim(std::u16string_view text);

TagText MakeTagText(std::u16string_view text);

}  // namespace tagsmith::standard
