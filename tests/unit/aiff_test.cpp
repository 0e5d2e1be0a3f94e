#include "tags/aiff.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

struct Walked {
  bool goesOn = false;
  ID3Tag tag;
  AiffCommon common;
  std::uint64_t position = 0;
  Lines log;
};

void Walk(Walked& walked, std::string_view file, const AiffWalkRules& rules) {
  const LogWatch log;
  MemorySource source(Bytes(file), "");
  SourceReader reader(source, file.size());
  reader.SeekTo(4);
  walked.goesOn =
      WalkAiff(walked.tag, reader, walked.common, static_cast<std::uint32_t>(file.size()), rules);
  walked.position = reader.Position();
  walked.log = LogWatch::Messages();
}

TEST(AiffWalk, FileAndStreamDiffer) {
  const std::string comm = CommChunk(2, 441005, 16);
  const std::string id3 = Chunk("ID3 ", "tag");
  const std::string good = Aiff("AIFF", Chunk("NAME", "odd") + comm + id3);
  std::string wrongSize = good;
  wrongSize[7] = static_cast<char>(wrongSize[7] + 1);
  const std::string mismatch = "2 Size in header is not consistent with file size (55 <> 62 - 8)";
  struct Case {
    const std::string& file;
    bool ignoreSizeErrors;
    const AiffWalkRules& rules;
    bool goesOn;
    std::uint32_t rate;
    Lines log;
  };
  const std::string compressed = Aiff("AIFC", comm);
  const std::string other = Aiff("8SVX", comm);
  const Case cases[] = {
      {good, false, kAiffFileRules, true, 44100, {"3 AIFF header found"}},
      {good, false, kAiffStreamRules, true, 44100, {}},
      {compressed, false, kAiffFileRules, true, 44100, {"3 Compressed AIFF header found"}},
      {compressed, false, kAiffStreamRules, true, 0, {}},
      {other, false, kAiffFileRules, true, 0, {"1 AIFF error: Expected AIFF but found 8SVX"}},
      {other, false, kAiffStreamRules, true, 0, {}},
      {wrongSize, false, kAiffFileRules, false, 0, {mismatch}},
      {wrongSize,
       true,
       kAiffFileRules,
       true,
       44100,
       {mismatch + " (ignoring...)", "3 AIFF header found"}},
      {wrongSize, true, kAiffStreamRules, true, 44100, {mismatch}},
  };
  for (const Case& c : cases) {
    Walked walked;
    walked.tag.ignoreSizeErrors = c.ignoreSizeErrors;
    Walk(walked, c.file, c.rules);
    EXPECT_EQ(walked.goesOn, c.goesOn);
    EXPECT_EQ(walked.common.sampleRate, c.rate);
    EXPECT_EQ(walked.log, c.log);
    const bool hasTag = c.rate != 0 && &c.file != &compressed;
    EXPECT_EQ(walked.tag.id3AreaSize, hasTag && !c.rules.makesDetails ? 4U : 0U);
    EXPECT_EQ(walked.tag.details.audioOffset, hasTag && c.rules.makesDetails ? 4U : 0U);
    EXPECT_EQ(walked.tag.details.versionIndex, c.rules.makesDetails ? 5 : 0);
    if (hasTag) {
      EXPECT_EQ(walked.position, good.size() - 4);
    }
  }
}

TEST(AiffWalk, EndsWithTheFile) {
  const std::string comm = CommChunk(1, 5, 8);
  struct Case {
    std::string chunks;
    std::uint32_t rate;
    std::uint16_t channels;
  };
  const Case cases[] = {
      {"JUNK\xFF\xFF\xFF\xFF" + comm, 44100, 1},  // wraps to 0: nothing is skipped
      {"JUNK\x7F\xFF\xFF\xFE" + comm, 0, 0},
      {Chunk("comm", std::string(17, '\1')), 0x1010101 >> 29, 0x101},  // 18 with its pad byte
      {Chunk("COMM", std::string(16, '\1')), 0, 0},
      {comm.substr(0, 17), 0, 1},
      {"COM", 0, 0},
      {"COMM\0\0"s, 0, 0},
      {"", 0, 0},
  };
  for (const Case& c : cases) {
    Walked walked;
    Walk(walked, Aiff("AIFF", c.chunks), kAiffFileRules);
    EXPECT_TRUE(walked.goesOn);
    EXPECT_EQ(walked.common.sampleRate, c.rate);
    EXPECT_EQ(walked.common.channels, c.channels);
  }
  Walked unsized;
  Walk(unsized, "FORM\0\0", kAiffFileRules);
  EXPECT_TRUE(unsized.goesOn);
  EXPECT_EQ(unsized.log, Lines{});
}

TEST(AiffCommon, SampleRates) {
  const std::pair<std::string, std::uint32_t> cases[] = {
      {"\x40\x0E\xAC\x44\0\0"s, 44100},   {"\x40\x0B\xFA\0\0\0"s, 8000},
      {"\x40\x0E\xAC\x44\x80\0"s, 44101},  // the last bit shifted out rounds
      {"\x40\x1E\0\0\1\0"s, 256},          // not shifted
      {"\x40\x1D\0\0\1\1"s, 129},         {"\x40\x1F\xFF\xFF\xFF\xFF"s, 0},
      {"\x7F\x0E\xAC\x44\0\0"s, 44100},  // only the low exponent byte counts
      {"\0\0\xFF\xFF\xFF\xFF"s, 4},
  };
  for (const auto& [rate, expected] : cases) {
    Walked walked;
    Walk(walked,
         Aiff("AIFF", Chunk("COMM", Big16(2) + Big32(1) + Big16(16) + rate + "\xFF\xFF\xFF\xFF")),
         kAiffFileRules);
    EXPECT_EQ(walked.common.sampleRate, expected);
  }
}

TEST(AiffDetails, FromTheCommonRecord) {
  struct Case {
    AiffCommon common;
    bool made;
    std::uint32_t bitRate;
    int channelMode;
    std::uint64_t duration;
  };
  const Case cases[] = {
      {{2, 441004, 16, 44100}, true, 1411, 0, 10},
      {{2, 441005, 16, 44100}, true, 1411, 0, 11},
      {{1, 5, 8, 22050}, true, 176, 3, 1},
      {{6, 4, 24, 96000}, true, 13824, 4, 0},
      {{65535, 0xFFFFFFFF, 65535, 3}, true, 0xFFFE0001U * 3 / 1000, 4, 1431655765},
      {{2, 441000, 16, 0}, false, 0, 0, 0},
  };
  for (const Case& c : cases) {
    ID3Tag tag;
    EXPECT_EQ(MakeAiffDetails(tag, c.common), c.made);
    EXPECT_EQ(tag.details.versionIndex, 5);
    EXPECT_EQ(tag.details.layerIndex, 4);
    EXPECT_EQ(tag.details.bitRate, c.bitRate);
    EXPECT_EQ(tag.details.channelMode, c.channelMode);
    EXPECT_EQ(tag.details.duration, c.duration);
    EXPECT_EQ(tag.details.frameCount, c.made ? c.common.sampleFrames : 0U);
    EXPECT_STREQ(tag.details.bitRateText.data(), "");
  }
}

}  // namespace
}  // namespace tagsmith::test
