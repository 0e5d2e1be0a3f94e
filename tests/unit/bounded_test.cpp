#include "format/bounded.h"

#include <cwchar>

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

TEST(Bounded, CutsAndTerminates) {
  struct Case {
    std::size_t capacity;
    std::string_view expected;
  };
  for (const Case& c :
       {Case{1, ""}, Case{2, "a"}, Case{5, "ab12"}, Case{6, "ab123"}, Case{8, "ab123"}}) {
    std::string buffer(10, '#');
    const std::span<char> text = std::span(buffer).first(c.capacity);
    EXPECT_EQ(FormatBounded(text, "%s%d", "ab", 123), c.expected.size());
    EXPECT_EQ(std::string_view(buffer.c_str()), c.expected);
    EXPECT_EQ(buffer[c.capacity], '#');

    std::wstring wide(10, L'#');
    const std::span<wchar_t> wideText = std::span(wide).first(c.capacity);
    FormatBounded(wideText, L"%ls%d", L"ab", 123);
    EXPECT_LT(std::wcslen(wide.c_str()), c.capacity);
    EXPECT_EQ(wide[c.capacity], L'#');

    buffer.assign(10, '#');
    buffer[0] = '\0';
    EXPECT_EQ(AppendBounded(text, "ab"), std::min<std::size_t>(2, c.capacity - 1));
    EXPECT_EQ(AppendBounded(text, "123"), c.expected.size());
    EXPECT_EQ(std::string_view(buffer.c_str()), c.expected);
    EXPECT_EQ(CopyBounded(text, "ab123"), c.expected.size());
    EXPECT_EQ(std::string_view(buffer.c_str()), c.expected);
    EXPECT_EQ(buffer[c.capacity], '#');
  }
}

TEST(Bounded, LeavesAnEmptyBufferAlone) {
  EXPECT_EQ(FormatBounded(std::span<char>(), "%d", 1), 0U);
  EXPECT_EQ(AppendBounded(std::span<wchar_t>(), L"a"), 0U);
}

}  // namespace
}  // namespace tagsmith::test
