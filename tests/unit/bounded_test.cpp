#include "format/bounded.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

/// What a buffer of this capacity holds, and that nothing beyond it was touched.
template <typename Char>
class Buffer {
 public:
  explicit Buffer(std::size_t capacity) : capacity_(capacity) { characters_[0] = Char{}; }
  std::span<Char> Text() { return std::span(characters_).first(capacity_); }
  [[nodiscard]] std::basic_string<Char> Taken() const {
    EXPECT_EQ(characters_[capacity_], Char{'#'});
    return characters_.substr(0, characters_.find(Char{}));
  }

 private:
  std::size_t capacity_;
  std::basic_string<Char> characters_ = std::basic_string<Char>(10, Char{'#'});
};

template <typename Char>
void Check(std::size_t (*format)(std::span<Char> text), std::basic_string_view<Char> start,
           std::basic_string_view<Char> end) {
  const std::basic_string<Char> whole = std::basic_string<Char>(start).append(end);
  for (const std::size_t capacity : {1U, 2U, 3U, 5U, 6U, 8U}) {
    const auto expected = whole.substr(0, capacity - 1);
    Buffer<Char> formatted(capacity);
    const std::size_t length = format(formatted.Text());
    // Wide formatters may take nothing, or anything, of what does not fit.
    if (sizeof(Char) == 1 || capacity > whole.size()) {
      EXPECT_EQ(length, expected.size());
      EXPECT_EQ(formatted.Taken(), expected);
    } else {
      EXPECT_LT(length, capacity);
      EXPECT_TRUE(expected.starts_with(formatted.Taken()));
    }
    Buffer<Char> text(capacity);
    EXPECT_EQ(AppendBounded(text.Text(), start), std::min(start.size(), capacity - 1));
    EXPECT_EQ(AppendBounded(text.Text(), end), expected.size());
    EXPECT_EQ(text.Taken(), expected);
    EXPECT_EQ(CopyBounded(text.Text(), end), std::min(end.size(), capacity - 1));
    EXPECT_EQ(text.Taken(), end.substr(0, capacity - 1));
  }
  EXPECT_EQ(format({}), 0U);
  EXPECT_EQ(AppendBounded(std::span<Char>(), start), 0U);
  EXPECT_EQ(CopyBounded(std::span<Char>(), start), 0U);
}

TEST(Bounded, CutsAndTerminates) {
  Check<char>([](auto text) { return FormatBounded(text, "%s%d", "ab", 123); }, "ab", "123");
  Check<char>(
      [](auto text) {
        return JoinBounded(text, {"ab", Decimal(-3), Decimal(7, 2)});
      },
      "ab", "-307");
  Check<wchar_t>([](auto text) { return FormatBounded(text, L"%ls%d", L"ab", 123); }, L"ab",
                 L"123");
}

}  // namespace
}  // namespace tagsmith::test
