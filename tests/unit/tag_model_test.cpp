#include "tags/tag_model.h"

#include "tags/picture_size.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

TEST(TagModel, SetTextTellsTheSize) {
  TagText field;
  EXPECT_EQ(Tag::SetText(Bytes("ab"), kLatin1, TextReduction::kKeepUnicode, &field), 3U);
  EXPECT_EQ(Tag::SetText(Bytes("a\0b\0"s), kUtf16, TextReduction::kLatin1, &field), 6U);
  EXPECT_EQ(Tag::SetText(Bytes("ab"), kLatin1, TextReduction::kKeepUnicode, nullptr), 0U);
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

/// A text that is cut begins as the whole one does, whatever its encoding and faults.
TEST(TagModel, CutTextsBeginAsWholeOnes) {
  const std::string sources[] = {
      "plain \r one\nand\r\n\ntwo",    "gr\xC3\xBC\xC3\x9F \xF0\x9F\x8E\xB5\n\n x",
      "good\xC3\xBC bad \xFF\xFE",     "\xFF\xFEw\0i\0\n\0d\0\r\0\n\0e\0"s,
      "\xFE\xFF\0w\0i\x01\x02\0d\0e"s, "\0b\0\n\0e\0)\0x"s};
  for (const std::string& source : sources) {
    for (const std::uint32_t encoding : {kLatin1, kUtf16, kUtf16Be, kUtf8}) {
      for (const TextReduction mode :
           {TextReduction::kKeepUnicode, TextReduction::kAscii, TextReduction::kLatin1}) {
        const ConvertedText whole = ConvertText(Bytes(source), encoding, mode);
        const std::size_t unit = encoding != kLatin1 && mode == TextReduction::kKeepUnicode ? 2 : 1;
        for (std::size_t longest = 1; longest < 12; ++longest) {
          const ConvertedText cut = ConvertText(Bytes(source), encoding, mode, longest);
          ASSERT_EQ(cut.length, std::min<std::uint64_t>(whole.length, longest));
          const std::size_t same = static_cast<std::size_t>(cut.length) * unit;
          EXPECT_EQ(cut.bytes.substr(0, same), whole.bytes.substr(0, same));
          const std::size_t beside = encoding == kUtf8 ? 3 : 2;  // mark, and zeros after it
          EXPECT_TRUE(cut.length == whole.length || cut.bytes.size() <= same + beside * unit);
        }
      }
    }
  }
}

}  // namespace
}  // namespace tagsmith::test
