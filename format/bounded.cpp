#include "format/bounded.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cwchar>

namespace tagsmith {
namespace {

template <typename Char>
std::size_t Length(std::span<const Char> buffer) {
  return static_cast<std::size_t>(std::find(buffer.begin(), buffer.end(), Char{}) - buffer.begin());
}

/// Terminates at the latest in the last place and tells the length.
template <typename Char>
std::size_t Terminate(std::span<Char> buffer) {
  buffer.back() = Char{};
  return Length<Char>(buffer);
}

template <typename Char>
std::size_t CopyTo(std::span<Char> buffer, std::basic_string_view<Char> text) {
  if (buffer.empty()) {
    return 0;
  }
  const std::size_t length = std::min(text.size(), buffer.size() - 1);
  std::copy_n(text.begin(), length, buffer.begin());
  buffer[length] = Char{};
  return length;
}

template <typename Char>
std::size_t AppendTo(std::span<Char> buffer, std::basic_string_view<Char> text) {
  const std::size_t length = std::min(Length<Char>(buffer), buffer.empty() ? 0 : buffer.size() - 1);
  return length + CopyTo(buffer.subspan(length), text);
}

}  // namespace

std::size_t FormatBoundedV(std::span<char> buffer, const char* format, std::va_list arguments) {
  if (buffer.empty()) {
    return 0;
  }
  buffer.front() = '\0';
  std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
  return Terminate(buffer);
}

std::size_t FormatBoundedV(std::span<wchar_t> buffer, const wchar_t* format,
                           std::va_list arguments) {
  if (buffer.empty()) {
    return 0;
  }
  buffer.front() = L'\0';
  std::vswprintf(buffer.data(), buffer.size(), format, arguments);
  return Terminate(buffer);
}

std::size_t FormatBounded(std::span<char> buffer, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::size_t length = FormatBoundedV(buffer, format, arguments);
  va_end(arguments);
  return length;
}

std::size_t FormatBounded(std::span<wchar_t> buffer, const wchar_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::size_t length = FormatBoundedV(buffer, format, arguments);
  va_end(arguments);
  return length;
}

std::size_t CopyBounded(std::span<char> buffer, std::string_view text) {
  return CopyTo(buffer, text);
}

void Decimal::Write(std::int64_t number, std::size_t digits) {
  char* const start = memory_.data() + 1;  // after a zero that may be needed
  const char* const end = std::to_chars(start, memory_.data() + memory_.size(), number).ptr;
  text_ = {end - start < static_cast<std::ptrdiff_t>(digits) ? memory_.data() : start, end};
}

std::size_t JoinBounded(std::span<char> buffer, std::initializer_list<std::string_view> parts) {
  std::size_t length = CopyBounded(buffer, {});
  for (const std::string_view part : parts) {
    length += CopyTo(buffer.subspan(length), part);
  }
  return length;
}

std::size_t CopyBounded(std::span<wchar_t> buffer, std::wstring_view text) {
  return CopyTo(buffer, text);
}

std::size_t AppendBounded(std::span<char> buffer, std::string_view text) {
  return AppendTo(buffer, text);
}

std::size_t AppendBounded(std::span<wchar_t> buffer, std::wstring_view text) {
  return AppendTo(buffer, text);
}

}  // namespace tagsmith
