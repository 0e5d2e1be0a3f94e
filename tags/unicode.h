// UTF-8 and UTF-16 (Unicode 15, chapter 3.9).
#pragma once

#include <bit>
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

#ifdef _WIN32
/// A wide text of Windows is UTF-16.
inline std::u16string_view Utf16(std::wstring_view text) {
  return {reinterpret_cast<const char16_t*>(text.data()), text.size()};
}

inline std::string Utf8(std::wstring_view text) { return Utf16ToUtf8(Utf16(text)); }
#endif

/// The UTF-16 unit that begins at this byte; the byte after it must be there.
constexpr char16_t Utf16UnitAt(std::string_view bytes, std::size_t at,
                               std::endian order = std::endian::little) {
  const std::size_t high = order == std::endian::little ? 1 : 0;
  return static_cast<char16_t>(static_cast<unsigned char>(bytes[at + high]) << 8U |
                               static_cast<unsigned char>(bytes[at + 1 - high]));
}

/// The number of units before the first zero unit; half a unit at the end is none.
std::size_t CountUtf16Units(std::string_view bytes);

/// Those units, without a mark at the beginning.
std::u16string DecodeUtf16(std::string_view bytes, std::endian order = std::endian::little);

/// Appends the units as UTF-16LE.
void AppendUtf16(std::string& bytes, std::u16string_view text);
/// Appends one character, a Unicode scalar value.
void AppendUtf16(std::string& bytes, char32_t character);

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
