#include "tags/tag_model.h"

#include "tags/genre_table.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

TEST(TagModel, SetTextReportsSizeAndEncoding) {
  struct Case {
    std::uint32_t encoding;
    TextReduction mode;
    std::uint64_t result;
    std::uint32_t stored;
  };
  const Case cases[] = {
      {0, TextReduction::kKeepUnicode, 2, 0}, {1, TextReduction::kKeepUnicode, 6, 1},
      {2, TextReduction::kKeepUnicode, 6, 1}, {3, TextReduction::kKeepUnicode, 4, 1},
      {1, TextReduction::kLatin1, 6, 0},
  };
  for (const Case& c : cases) {
    TagText field;
    EXPECT_EQ(Tag::SetText(Bytes("a\0b\0"s), c.encoding, c.mode, &field), c.result);
    EXPECT_EQ(field.encoding, c.stored);
    EXPECT_TRUE(field.IsPresent());
  }
  EXPECT_EQ(Tag::SetText(Bytes("a"), 0, TextReduction::kKeepUnicode, nullptr), 0U);
}

TEST(TagModel, RatingStars) {
  const std::pair<std::uint8_t, std::uint32_t> cases[] = {
      {0, 0},   {1, 1},   {51, 1},  {52, 2},  {102, 2}, {103, 3},
      {153, 3}, {154, 4}, {204, 4}, {205, 5}, {255, 5},
  };
  ID3Tag tag;
  for (const auto& [rating, stars] : cases) {
    tag.rating = rating;
    EXPECT_EQ(tag.GetRatingStars(), stars) << int{rating};
  }
}

TEST(TagModel, Pictures) {
  ID3Tag tag;
  EXPECT_EQ(tag.GetPicture(0), nullptr);
  tag.AddPicture(Bytes("one"), "jpeg");
  tag.AddPicture(Bytes("two"), "pngpng", PicturePlace::kFirst);
  ASSERT_NE(tag.GetPicture(1), nullptr);
  EXPECT_STREQ(tag.GetPicture(0)->format.data(), "pngp");
  EXPECT_STREQ(tag.GetPicture(1)->format.data(), "jpeg");
  EXPECT_EQ(tag.GetPicture(2), nullptr);
}

TEST(TagModel, ClearsValuesAndKeepsSettings) {
  ID3Tag tag;
  EXPECT_STREQ(tag.details.durationText.data(), "0 seconds");
  EXPECT_STREQ(tag.fileSizeText.data(), "0 bytes");
  tag.SetYear("20245");
  EXPECT_STREQ(tag.year.data(), "2024");
  tag.track = 3;
  tag.v1Track = 4;
  tag.v1Present = tag.v2Present = true;
  tag.keepUnicode = false;
  tag.extraFramesMode = ExtraFramesMode::kKeepAll;
  tag.SetFileName("name");
  tag.SetTagVersion(4);
  tag.SetDuration(100, 0);
  EXPECT_EQ(tag.details.duration, 0U);
  EXPECT_STREQ(tag.details.durationText.data(), "1:40 (100 seconds)");
  tag.Clear(false);
  EXPECT_EQ(tag.track, kUnknownNumber);
  EXPECT_EQ(tag.v1Track, kUnknownV1Number);
  EXPECT_STREQ(tag.year.data(), "");
  EXPECT_FALSE(tag.v1Present || tag.v2Present);
  EXPECT_STREQ(tag.tagVersionText.data(), "V1 and V2.4");
  tag.Clear(true);
  EXPECT_STREQ(tag.tagVersionText.data(), "");
  EXPECT_EQ(tag.v2Version, 0);
  EXPECT_STREQ(tag.details.durationText.data(), "0 seconds");
  EXPECT_FALSE(tag.keepUnicode);
  EXPECT_EQ(tag.extraFramesMode, ExtraFramesMode::kKeepAll);
  EXPECT_EQ(tag.fileName, "name");
}

TEST(TagModel, SampleRates) {
  ID3Tag tag;
  tag.details.versionIndex = 0;
  tag.details.sampleRateField = 2;
  EXPECT_EQ(tag.GetSampleRate(), 8000.0F);
  tag.details.versionIndex = 3;
  tag.details.sampleRateField = 0;
  EXPECT_EQ(tag.GetSampleRateKHz(), 44.1F);
  tag.details.versionIndex = 5;
  EXPECT_EQ(tag.GetSampleRate(), 0.0F);
  tag.isAiff = true;
  tag.details.sampleRateField = 96000;
  EXPECT_EQ(tag.GetSampleRate(), 96000.0F);
}

TEST(Genres, Names) {
  EXPECT_STREQ(GetGenreName(0), "Blues");
  EXPECT_STREQ(GetGenreName(67), "Psychadelic");
  EXPECT_STREQ(GetGenreName(79), "Hard Rock");
  EXPECT_STREQ(GetGenreName(80), "Other");
  EXPECT_STREQ(GetGenreName(255), "Other");
  EXPECT_STREQ(GetReferencedGenreName(93), "Psychedelic Rock");
  EXPECT_STREQ(GetReferencedGenreName(125), "Dance Hall");
}

}  // namespace
}  // namespace tagsmith::test
