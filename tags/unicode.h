// UTF-8 and UTF-16 (Unicode 15, chapter 3.9).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tagsmith {

inline constexpr char16_t kByteOrderMark = 0xFEFF;

/// Takes one character off the front of `text`. Nothing, and `text` as it was, when its first bytes
/// are not a well-formed sequence (overlong forms, surrogates and values above 10FFFF are not).
/// `text` must not be empty.
std::optional<char32_t> TakeUtf8(std::string_view& text);

/// The UTF-8 text as UTF-16; nothing when any of it is not well-formed.
std::optional<std::u16string> Utf8ToUtf16(std::string_view text);

/// The UTF-16 text as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string Utf16ToUtf8(std::u16string_view text);

/// The unit that begins at this byte of UTF-16LE; the byte after it must be there.
constexpr char16_t Utf16UnitAt(std::string_view bytes, std::size_t at) {
  return static_cast<char16_t>(static_cast<unsigned char>(bytes[at]) |
                               static_cast<unsigned char>(bytes[at + 1]) << 8U);
}

/// The units of UTF-16LE before the first zero unit, without a mark at the beginning; half a unit
/// at the end is left out.
std::u16string DecodeUtf16(std::string_view bytes);

/// Bytes of ISO-8859-1 as UTF-16.
std::u16string WidenLatin1(std::string_view text);

/// Appends one character as UTF-8; the value must be a Unicode scalar value.
void AppendUtf8(std::string& text, char32_t character);

/// Takes one character off the front of `text`; an unpaired surrogate comes back as it stands.
/// `text` must not be empty.
char32_t TakeUtf16(std::u16string_view& text);

constexpr bool IsSurrogate(char32_t character) {
  return character >= 0xD800 && character <= 0xDFFF;
}

}  // namespace tagsmith
