#include "tags/text_helpers.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tagsmith {

std::string_view AsText(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string_view UpToZero(std::string_view text) { return text.substr(0, text.find('\0')); }

std::string_view TakeTerminated(ByteView& bytes) {
  const std::string_view text = UpToZero(AsText(bytes));
  bytes = After(bytes, text.size() + 1);
  return text;
}

char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool EqualIgnoringCase(std::string_view left, std::string_view right, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const char l = i < left.size() ? ToLower(left[i]) : '\0';
    const char r = i < right.size() ? ToLower(right[i]) : '\0';
    if (l != r) {
      return false;
    }
    if (l == '\0') {
      return true;
    }
  }
  return true;
}

bool BeginsWithWord(ByteView bytes, std::string_view word) {
  return bytes.size() >= word.size() && EqualIgnoringCase(AsText(bytes), word, word.size());
}

bool HasExtension(std::string_view name, std::string_view extension) {
  const std::size_t dot = name.rfind('.');
  return dot != std::string_view::npos && EqualIgnoringCase(name.substr(dot), extension, 4);
}

std::int32_t ParseDecimal(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n\v\f\r";
  std::size_t i = std::min(text.find_first_not_of(kBlanks), text.size());
  const bool negative = i < text.size() && text[i] == '-';
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
    ++i;
  }
  std::int64_t value = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = std::min<std::int64_t>(value * 10 + (text[i] - '0'), std::int64_t{1} << 40U);
  }
  value = negative ? -value : value;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(
      value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

const char* ErrorText(int errorNumber) {
  return errorNumber == 0 ? "Success" : std::strerror(errorNumber);
}

}  // namespace tagsmith
