#include "tags/source_reader.h"

#include <random>

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

std::string Pattern(std::size_t size) {
  std::mt19937 random(1);
  std::string text(size, '\0');
  for (char& c : text) {
    c = static_cast<char>(random());
  }
  return text;
}

std::string ReadText(SourceReader& reader, std::size_t count) {
  std::string text(count, '\0');
  text.resize(reader.Read(std::as_writable_bytes(std::span(text))));
  return text;
}

std::string Text(ByteView view) {
  return {reinterpret_cast<const char*>(view.data()), view.size()};
}

/// Reads and seeks at random, and compares.
void ExpectPlainReads(const std::string& content, std::size_t largestRead, bool large) {
  std::mt19937 random(static_cast<unsigned>(largestRead + (large ? 1 : 0)));
  const auto below = [&](std::size_t limit) { return random() % limit; };
  ProbeSource source(content, "");
  source.largestRead = largestRead;
  SourceReader reader(source, std::uint64_t{1} << 40U);  // claims enough for its small reads
  if (large) {
    reader.UseLargeBlocks();
  }
  ASSERT_TRUE(reader.SeekTo(0));
  std::uint64_t position = 0;
  const auto expected = [&](std::size_t count) {
    return position >= content.size() ? "" : content.substr(position, count);
  };
  for (int i = 0; i < 2000; ++i) {
    std::string got;
    const std::size_t count = below(i % 10 == 0 ? 70'000 : 3000);
    switch (below(6)) {
      case 0:
        position = below(content.size() + 5000);
        ASSERT_TRUE(reader.SeekTo(position));
        break;
      case 1: {
        const auto distance = static_cast<std::int64_t>(count) - 1500;
        reader.Skip(distance);
        position = static_cast<std::uint64_t>(
            std::max<std::int64_t>(0, static_cast<std::int64_t>(position) + distance));
        break;
      }
      case 2:
        got = Text(reader.Peek(count % 4000));
        ASSERT_EQ(got, expected(count % 4000));
        break;
      case 3:
        got = Text(reader.Take(count, 412));
        ASSERT_EQ(got, expected(count));
        position += got.size();
        break;
      case 4:
        ASSERT_TRUE(reader.SeekFromEnd(count));
        position = content.size() - count;
        break;
      default:
        got = ReadText(reader, count);
        ASSERT_EQ(got, expected(count));
        position += got.size();
    }
    ASSERT_EQ(reader.Position(), position);
    if (i % 16 == 0) {
      reader.Settle();
      ASSERT_EQ(source.position, position);
    }
  }
}

/// Whatever the source's habits, the reader gives what plain reads and seeks give.
TEST(SourceReader, AgreesWithThePlainSource) {
  const std::string content = Pattern(300'000);
  for (const std::size_t largestRead : {std::size_t{1} << 30U, std::size_t{1000}, std::size_t{7}}) {
    ExpectPlainReads(content, largestRead, false);
    ExpectPlainReads(content, largestRead, true);
  }
}

TEST(SourceReader, ReadsWhatIsNeededWhenReadingAheadFails) {
  const std::string content = Pattern(10'000);
  ProbeSource source(content, "");
  source.failsFrom = 5000;
  SourceReader reader(source, content.size());
  std::string all;
  for (std::string part = "x"; !part.empty(); all += part) {
    part = ReadText(reader, 10);
  }
  EXPECT_EQ(all, content.substr(0, 5000));
  EXPECT_EQ(reader.LastError(), EIO);
  reader.SeekTo(4999);
  EXPECT_EQ(ReadText(reader, 1), content.substr(4999, 1));
  EXPECT_EQ(reader.LastError(), 0);
}

TEST(SourceReader, MovesASourceThatDidNotStandAtItsBeginning) {
  const std::string content = Pattern(30'000);
  ProbeSource source(content, "");
  source.Seek(5000, SeekOrigin::kBegin);
  SourceReader reader(source, content.size());
  EXPECT_EQ(ReadText(reader, 8), content.substr(5000, 8));
  reader.Skip(10'000);
  EXPECT_EQ(ReadText(reader, 8), content.substr(15'008, 8));
  EXPECT_TRUE(reader.SeekFromEnd(128));
  EXPECT_EQ(ReadText(reader, 8), content.substr(29'872, 8));
  EXPECT_TRUE(reader.SeekTo(8));
  EXPECT_EQ(ReadText(reader, 8), content.substr(8, 8));
  reader.Skip(10'000);
  EXPECT_EQ(ReadText(reader, 8), content.substr(10'016, 8));
  // Over a gap that would leave too little room in the block.
  reader.Skip(7'000);
  EXPECT_EQ(Text(reader.Peek(2'000)), content.substr(17'024, 2'000));
}

TEST(SourceReader, StaysWhereAFailingSeekWasMade) {
  const std::string content = Pattern(10'000);
  ProbeSource source(content, "");
  source.lastSeekable = content.size();
  SourceReader reader(source, content.size());
  ReadText(reader, 8);
  reader.Skip(1'000'000);
  EXPECT_EQ(ReadText(reader, 4), "");
  EXPECT_EQ(ReadText(reader, 4), content.substr(8, 4));
  // Over a gap that is read instead of skipped, too.
  reader.SeekTo(9'000);
  ReadText(reader, 900);
  reader.Skip(200);
  EXPECT_EQ(ReadText(reader, 4), "");
  EXPECT_EQ(ReadText(reader, 4), content.substr(9'900, 4));
  EXPECT_TRUE(reader.SeekTo(8));
  EXPECT_EQ(ReadText(reader, 4), content.substr(8, 4));
  reader.Settle();
  EXPECT_EQ(source.position, 12U);
  EXPECT_FALSE(reader.SeekFromEnd(20'000));
  EXPECT_EQ(ReadText(reader, 4), content.substr(12, 4));
  ProbeSource wrapping(content, "");
  wrapping.seekModulus = 4'000;
  SourceReader lost(wrapping, content.size());
  EXPECT_FALSE(lost.SeekTo(5'000));
  EXPECT_EQ(ReadText(lost, 4), content.substr(0, 4));
}

}  // namespace
}  // namespace tagsmith::test
