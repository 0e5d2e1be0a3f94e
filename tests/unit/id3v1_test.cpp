#include "tags/id3v1.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

TEST(V1, TakesEachField) {
  const std::string block = "TAG" + std::string(30, 't') + std::string("artist  \0junk", 13) +
                            std::string(17, 'x') + std::string(30, 'b') + "2024" +
                            std::string(29, 'c') + "\x07\x4F";
  ASSERT_EQ(block.size(), kV1BlockSize);
  ID3Tag tag;
  ParseV1Block(tag, Bytes(block).first<kV1BlockSize>());
  EXPECT_TRUE(tag.v1Present);
  EXPECT_EQ(tag.v1Title.data(), std::string(30, 't'));
  EXPECT_STREQ(tag.v1Artist.data(), "artist  ");
  EXPECT_EQ(tag.v1Album.data(), std::string(30, 'b'));
  EXPECT_STREQ(tag.v1Year.data(), "2024");
  EXPECT_EQ(tag.v1Comment.data(), std::string(29, 'c'));
  EXPECT_EQ(tag.v1Track, 7);
  EXPECT_EQ(tag.v1Genre, 79);
}

TEST(V1, NumbersAndMagic) {
  struct Case {
    std::string content;
    bool read;
    bool present;
    int track;
    int genre;
  };
  const Case cases[] = {
      {V1Block("t", 0, 80), true, true, 255, 12},
      {"audio" + V1Block("t", 1, 255), true, true, 1, 12},
      {"tag" + V1Block("t", 1, 1).substr(3), true, false, 255, 255},
      {V1Block("t", 1, 1).substr(1), false, false, 255, 255},
      {"", false, false, 255, 255},
  };
  for (const Case& c : cases) {
    ID3Tag tag;
    MemorySource source(Bytes(c.content), "");
    SourceReader reader(source, c.content.size());
    EXPECT_EQ(LoadV1Tag(tag, reader), c.read);
    EXPECT_EQ(tag.v1Present, c.present);
    EXPECT_EQ(tag.v1Loaded, c.present);
    EXPECT_EQ(tag.v1Track, c.track);
    EXPECT_EQ(tag.v1Genre, c.genre);
  }
}

}  // namespace
}  // namespace tagsmith::test
