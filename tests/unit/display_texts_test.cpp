#include "tags/display_texts.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

TEST(DisplayTexts, DurationsAndSizes) {
  struct Case {
    std::size_t (*format)(std::span<char> text, std::uint64_t value);
    std::uint64_t value;
    std::string expected;
  };
  const auto duration = [](std::span<char> text, std::uint64_t seconds) {
    return FormatDuration(text, 1000 * seconds + 999, 1000);
  };
  const Case cases[] = {
      {duration, 59, "59 seconds"},
      {duration, 60, "1:00 (60 seconds)"},
      {duration, 3599, "59:59 (3599 seconds)"},
      {duration, 3600, "1:00:00 (3600 seconds)"},
      {duration, 86461, "24:01:01 (86461 seconds)"},
      {FormatFileSize, 0, "0 bytes"},
      {FormatFileSize, 1023, "1023 bytes"},
      {FormatFileSize, 1024, "1.00 KB (1024 bytes)"},
      {FormatFileSize, 1535, "1.00 KB (1535 bytes)"},
      {FormatFileSize, 1023999, "999.00 KB (1023999 bytes)"},
      {FormatFileSize, 1024000, "0.98 MB (1024000 bytes)"},
      {FormatFileSize, 1152 << 10U, "1.12 MB (1179648 bytes)"},
      {FormatFileSize, 1408 << 10U, "1.38 MB (1441792 bytes)"},
      {FormatFileSize, 0xFFFFFFFF, "4096.00 MB (4294967295 bytes)"},
  };
  for (const Case& c : cases) {
    std::array<char, 64> text{};
    EXPECT_EQ(c.format(text, c.value), c.expected.size());
    EXPECT_EQ(text.data(), c.expected);
  }
}

}  // namespace
}  // namespace tagsmith::test
