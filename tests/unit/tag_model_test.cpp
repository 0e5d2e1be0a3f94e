#include "tags/tag_model.h"

#include "tags/picture_size.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

TEST(TagModel, SetTextTellsTheSize) {
  TagText field;
  EXPECT_EQ(Tag::SetText(Bytes("ab"), kLatin1, TextReduction::kKeepUnicode, &field), 3U);
  EXPECT_EQ(Tag::SetText(Bytes("a\0b\0"s), kUtf16, TextReduction::kLatin1, &field), 6U);
  EXPECT_EQ(Tag::SetText(Bytes("w"), kUtf8, TextReduction::kKeepUnicode, &field), 4U);
  EXPECT_EQ(field.text, "\xFF\xFEw\0\0\0\0\0"s);
  EXPECT_EQ(Tag::SetText(Bytes("ab"), kLatin1, TextReduction::kKeepUnicode, nullptr), 0U);
}

TEST(TagModel, Pictures) {
  ID3Tag tag;
  EXPECT_EQ(tag.GetPicture(0), nullptr);
  tag.mostPictures = 2;
  tag.AddPicture(Bytes("one"), "jpeg");
  tag.AddPicture(Bytes("two"), "gif");
  tag.AddPicture(Bytes("three"), "pngpng", 3, PicturePlace::kFirst);
  tag.AddPicture(Bytes("four"), "tiff");
  ASSERT_NE(tag.GetPicture(1), nullptr);
  EXPECT_STREQ(tag.GetPicture(0)->format.data(), "pngp");
  EXPECT_STREQ(tag.GetPicture(1)->format.data(), "jpeg");
  EXPECT_EQ(tag.GetPicture(2), nullptr);
}

TEST(TagModel, ClearsValuesAndKeepsSettings) {
  ID3Tag tag;
  tag.track = 3;
  tag.v1Track = 4;
  tag.v1Present = tag.v2Present = true;
  tag.keepUnicode = false;
  tag.extraFramesMode = ExtraFramesMode::kKeepAll;
  tag.SetFileName("name");
  tag.SetTagVersion(4);
  tag.SetDuration(100, 0);
  EXPECT_EQ(tag.v2Version, 4);
  EXPECT_EQ(tag.details.duration, 0U);
  EXPECT_STREQ(tag.details.durationText.data(), "1:40 (100 seconds)");
  tag.Clear(false);
  EXPECT_EQ(tag.track, kUnknownNumber);
  EXPECT_EQ(tag.v1Track, kUnknownV1Number);
  EXPECT_FALSE(tag.v1Present || tag.v2Present);
  EXPECT_STREQ(tag.tagVersionText.data(), "V1 and V2.4");
  tag.Clear(true);
  EXPECT_STREQ(tag.tagVersionText.data(), "");
  EXPECT_EQ(tag.v2Version, 0);
  EXPECT_STREQ(tag.details.durationText.data(), "0 seconds");
  EXPECT_STREQ(tag.fileSizeText.data(), "0 bytes");
  EXPECT_FALSE(tag.keepUnicode);
  EXPECT_EQ(tag.extraFramesMode, ExtraFramesMode::kKeepAll);
  EXPECT_EQ(tag.fileName, "name");
  tag.SetFileName(nullptr);
  EXPECT_FALSE(tag.fileName.has_value());
}

TEST(PictureSizes, TellTheDecodedBytes) {
  EXPECT_EQ((PictureSize{3, 2}.DecodedBytes()), 24U);
  EXPECT_EQ((PictureSize{0, 5}.DecodedBytes()), 0U);
  EXPECT_EQ((PictureSize{0x40000000, 0xFFFFFFFF}.DecodedBytes()), 0xFFFFFFFF00000000U);
  EXPECT_EQ((PictureSize{0x40000001, 0xFFFFFFFF}.DecodedBytes()), UINT64_MAX);
}

TEST(TagModel, SampleRates) {
  ID3Tag tag;
  tag.details.versionIndex = 3;
  EXPECT_EQ(tag.GetSampleRateKHz(), 44.1F);
  tag.details.sampleRateField = 4;
  EXPECT_EQ(tag.GetSampleRate(), 0.0F);
  tag.details = {.versionIndex = 4};
  EXPECT_EQ(tag.GetSampleRate(), 0.0F);
}

}  // namespace
}  // namespace tagsmith::test
