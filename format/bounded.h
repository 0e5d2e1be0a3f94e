// Formatting, copying and appending text within fixed buffers, narrow and wide.
// A buffer's size is its capacity in characters, terminator included. A text that does not fit is
// cut; whatever happens, the result is terminated (an empty buffer stays untouched).
#pragma once

#include <array>
#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "format/compiler.h"

namespace tagsmith {

/// Formats by the printf conventions of ISO C. Returns the number of characters that the buffer
/// holds afterwards, without the terminator. Where a conversion fails (a wide text that the locale
/// cannot show), what was formatted before it stays.
std::size_t FormatBounded(std::span<char> buffer, const char* format, ...) TAGSMITH_PRINTF(2, 3);
std::size_t FormatBounded(std::span<wchar_t> buffer, const wchar_t* format, ...);
std::size_t FormatBoundedV(std::span<char> buffer, const char* format, std::va_list arguments)
    TAGSMITH_PRINTF(2, 0);
std::size_t FormatBoundedV(std::span<wchar_t> buffer, const wchar_t* format,
                           std::va_list arguments);

/// Replaces the buffer's text by `text`. Returns the number of characters kept.
std::size_t CopyBounded(std::span<char> buffer, std::string_view text);
std::size_t CopyBounded(std::span<wchar_t> buffer, std::wstring_view text);

/// A number as decimal text, with zeros in front where it has fewer than `digits`, at most two.
class Decimal {
 public:
  /// The number counts as a signed one of 64 bits.
  explicit Decimal(std::integral auto number, std::size_t digits = 1) {
    Write(static_cast<std::int64_t>(number), digits);
  }
  Decimal(const Decimal&) = delete;
  Decimal& operator=(const Decimal&) = delete;

  // So that it stands among texts in a list of parts.
  // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions)
  operator std::string_view() const { return text_; }

 private:
  void Write(std::int64_t number, std::size_t digits);

  std::array<char, 22> memory_{'0'};
  std::string_view text_;
};

/// Replaces the buffer's text by the parts, one after the other. Returns the number of characters
/// kept.
std::size_t JoinBounded(std::span<char> buffer, std::initializer_list<std::string_view> parts);

/// Appends `text` to the terminated text in the buffer. Returns the length of the whole.
std::size_t AppendBounded(std::span<char> buffer, std::string_view text);
std::size_t AppendBounded(std::span<wchar_t> buffer, std::wstring_view text);

}  // namespace tagsmith
