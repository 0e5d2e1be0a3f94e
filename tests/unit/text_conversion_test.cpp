#include "tags/text_conversion.h"

#include "tags/unicode.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

constexpr auto kKeep = TextReduction::kKeepUnicode;
constexpr auto kAscii = TextReduction::kAscii;
constexpr auto kLatin = TextReduction::kLatin1;

struct Case {
  std::string source;
  std::uint32_t encoding;
  TextReduction mode;
  std::string expected;  // whole buffer, or its beginning before zeros
  std::uint64_t length;
  std::size_t size;
};

void Check(std::span<const Case> cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.source) + " as " + std::to_string(c.encoding));
    const ConvertedText result = ConvertText(Bytes(c.source), c.encoding, c.mode);
    EXPECT_EQ(result.bytes.substr(0, c.expected.size()), c.expected);
    EXPECT_EQ(result.bytes.substr(c.expected.size()).find_first_not_of('\0'), std::string::npos);
    EXPECT_EQ(result.length, c.length);
    EXPECT_EQ(result.bytes.size(), c.size);
  }
}

TEST(TextConversion, KeepsUnicode) {
  const std::string mark = "\xFF\xFE";
  const Case cases[] = {
      {"abc", 0, kKeep, "abc", 3, 4},
      {"", 0, kKeep, "", 0, 1},
      {"ab\xE4", 0, kLatin, "ab\xE4", 3, 4},
      {"\x01\xFFx", 0, kAscii, "\x01\xFFx", 3, 4},
      {mark + Utf16Le(u"aβ"), 1, kKeep, mark + Utf16Le(u"aβ"), 2, 8},
      {"\xFE\xFF\0a\x03\xB2"s, 1, kKeep, mark + Utf16Le(u"aβ"), 2, 8},
      {"\xFE\xFF\0a"s, 2, kKeep, mark + Utf16Le(u"a"), 1, 6},
      {"\0a\0b"s, 2, kKeep, "\0a\0b"s, 2, 6},  // without a mark nothing is swapped
      {Utf16Le(u"ab"), 1, kKeep, Utf16Le(u"ab"), 2, 6},
      {mark + Utf16Le(u"ab") + "c", 1, kKeep, mark + Utf16Le(u"ab") + "c", 3, 9},
      {"aβ𝄞", 3, kKeep, mark + Utf16Le(u"aβ𝄞"), 4, 2 * 9 + 2},
      {"", 3, kKeep, mark, 0, 6},
      {"a\0b"s, 3, kKeep, mark + Utf16Le(u"a"), 1, 2 * 5 + 2},
  };
  Check(cases);
}

TEST(TextConversion, FallsBackWhenUtf8IsInvalid) {
  // E4 is the same character in ISO-8859-1 and in the ANSI code page that tests run with.
  for (const char* source : {"\xE4x", "x\xE4", "\xC0\xAF\xE4", "\xED\xA0\x80\xE4"}) {
    const ConvertedText result = ConvertText(Bytes(source), 3, kKeep);
    EXPECT_EQ(result.length, std::string_view(source).size());
    EXPECT_NE(result.bytes.find("\xE4\0"s), std::string::npos);
  }
}

TEST(TextConversion, Narrows) {
  const Case cases[] = {
      {"\xFF\xFE" + Utf16Le(u"a\nþÿβ~"), 1, kLatin, "a\xFE~", 3, 16},
      {"\xFF\xFE" + Utf16Le(u"aé\x7F~"), 1, kAscii, "a~", 2, 12},
      {"\xFE\xFF\0a\0b"s, 1, kLatin, "ab", 2, 8},
      {"\0a\0b"s, 1, kLatin, "ab", 2, 6},
      {"a\0b\0"s, 1, kLatin, "ab", 2, 6},
      {"a\0\0\0b\0"s, 1, kLatin, "ab", 2, 8},  // zeros are dropped like other control characters
      {"a\0b\0c"s, 3, kLatin, "abc", 3, 7},    // UTF-8 is read as pairs
      {"abc", 3, kLatin, "c", 1, 5},
  };
  Check(cases);
}

TEST(TextConversion, MakesLineBreakPairs) {
  const std::string mark = "\xFF\xFE";
  const Case cases[] = {
      {"ab\nc", 0, kKeep, "ab\r\nc", 5, 6},
      {"\nb", 0, kKeep, "\nb", 2, 3},
      {"a\nb", 0, kKeep, "a\nb", 3, 4},
      {"\n\n\n", 0, kKeep, "\n\n\r\n", 4, 5},
      {"a\r", 0, kKeep, "a\r\n", 3, 4},
      {"\rb", 0, kKeep, "\r\nb", 3, 4},
      {"ab\r\nc\r\r\n", 0, kKeep, "ab\r\nc\r\n\r\n", 9, 10},
      {mark + Utf16Le(u"\na\n"), 1, kKeep, mark + Utf16Le(u"\na\r\n"), 4, 12},
      {mark + Utf16Le(u"abĊ"), 1, kKeep, mark + Utf16Le(u"ab\r\n"), 4, 12},
      {"ab\nc", 3, kKeep, mark + Utf16Le(u"ab\r\nc"), 5, 2 * 6 + 2 + 2},
  };
  Check(cases);
}

TEST(TextConversion, Utf8IsStrict) {
  for (const std::string_view bad :
       {"\x80"sv, "\xC2"sv, "\xC1\x81"sv, "\xE0\x9F\x80"sv, "\xF0\x8F\x80\x80"sv,
        "\xF4\x90\x80\x80"sv, "\xFF"sv, "\xED\xBF\xBF"sv, "a\xE2\x82"sv}) {
    EXPECT_FALSE(Utf8ToUtf16(bad)) << ::testing::PrintToString(bad);
  }
  const std::u16string all = u"\x7F\x80\x7FF\x800\xD7FF\xE000\xFFFF\xD800\xDC00\xDBFF\xDFFF";
  std::string utf8;
  for (std::u16string_view rest = all; !rest.empty();) {
    AppendUtf8(utf8, TakeUtf16(rest));
  }
  EXPECT_EQ(Utf8ToUtf16(utf8), all);
}

}  // namespace
}  // namespace tagsmith::test
