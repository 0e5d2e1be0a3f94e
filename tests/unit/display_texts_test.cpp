#include "tags/display_texts.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

template <typename Formatter, typename... Values>
std::string Text(Formatter formatter, Values... values) {
  std::array<char, 64> text{};
  const std::size_t length = formatter(text, values...);
  EXPECT_EQ(std::string_view(text.data()).size(), length);
  return text.data();
}

TEST(DisplayTexts, Duration) {
  struct Case {
    std::uint64_t quantity;
    std::uint64_t divisor;
    std::string expected;
  };
  const Case cases[] = {
      {59999, 1000, "59 seconds"},
      {60, 1, "1:00 (60 seconds)"},
      {3599, 1, "59:59 (3599 seconds)"},
      {3600, 1, "1:00:00 (3600 seconds)"},
      {86461, 1, "24:01:01 (86461 seconds)"},
      {61, 0, "1:01 (61 seconds)"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Text(FormatDuration, c.quantity, c.divisor), c.expected);
  }
}

TEST(DisplayTexts, FileSize) {
  const std::pair<std::uint64_t, std::string> cases[] = {
      {0, "0 bytes"},
      {1023, "1023 bytes"},
      {1535, "1.00 KB (1535 bytes)"},
      {1023999, "999.00 KB (1023999 bytes)"},
      {1024000, "0.98 MB (1024000 bytes)"},
      {0xFFFFFFFF, "4096.00 MB (4294967295 bytes)"},
      {0xFFFFFFFF80000000, "17592186044416.00 MB (-2147483648 bytes)"},
  };
  for (const auto& [bytes, expected] : cases) {
    EXPECT_EQ(Text(FormatFileSize, bytes), expected);
  }
}

TEST(DisplayTexts, BitRate) {
  EXPECT_EQ(Text(FormatBitRate, 128U, false, false), "128 kbps (CBR)");
  EXPECT_EQ(Text(FormatBitRate, 128U, false, true), "128 kbps (CBR quick)");
  EXPECT_EQ(Text(FormatBitRate, 191U, true, false), "191 kbps (VBR average)");
  EXPECT_EQ(Text(FormatBitRate, 191U, true, true), "191 kbps (VBR quick)");
}

TEST(DisplayTexts, TagVersion) {
  const std::pair<TagVersions, std::string> cases[] = {
      {{true, true, 4, false}, "V1 and V2.4"},
      {{true, true, 5, false}, "V1 and V2.5 (unsupported)"},
      {{true, false, 3, false}, "V1"},
      {{false, true, 3, true}, "V2.3 (podcast)"},
      {{false, true, -128, false}, "V2.-128"},
      {{false, false, 0, false}, "old"},
      {{false, false, 0, true}, "old (podcast)"},
  };
  for (const auto& [versions, expected] : cases) {
    std::array<char, kTagVersionTextSize> text{"old"};
    FormatTagVersion(text, versions);
    EXPECT_STREQ(text.data(), expected.c_str());
  }
}

}  // namespace
}  // namespace tagsmith::test
