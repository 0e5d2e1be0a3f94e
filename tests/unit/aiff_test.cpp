#include "tags/aiff.h"

#include "tags/track_opening.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

/// The chunks of a file; "FORM" and the eight bytes after it are only skipped.
AiffCommon Walk(std::string_view file) {
  MemorySource source(Bytes(file), "");
  SourceReader reader(source, file.size());
  reader.SeekTo(12);
  return WalkAiffChunks(reader).common;
}

TEST(Aiff, FileAndStreamDiffer) {
  const std::string comm = CommChunk(2, 441005, 16);
  const std::string good = Aiff("AIFF", Chunk("NAME", "odd") + comm + Chunk("ID3 ", "tag"));
  const std::string compressed = Aiff("AIFC", comm);
  const std::string other = Aiff("8SVX", comm);
  const std::string unsized = "FORM\0\0"s;
  std::string wrongSize = good;
  wrongSize[7] = static_cast<char>(wrongSize[7] + 1);
  const std::string mismatch = "2 Size in header is not consistent with file size (55 <> 62 - 8)";
  struct Case {
    const std::string& file;
    bool asStream;
    bool ignoreSizeErrors;
    std::uint32_t rate;
    int version;
    Lines log;
  };
  const Case cases[] = {
      {good, false, false, 44100, 5, {"3 AIFF header found"}},
      {good, true, false, 44100, 5, {}},
      {compressed, false, false, 44100, 5, {"3 Compressed AIFF header found"}},
      {compressed, true, false, 0, 5, {}},
      {other, false, false, 0, 5, {"1 AIFF error: Expected AIFF but found 8SVX"}},
      {other, true, false, 0, 5, {}},
      {wrongSize, false, false, 0, 0, {mismatch}},
      {wrongSize, false, true, 44100, 5, {mismatch + " (ignoring...)", "3 AIFF header found"}},
      {wrongSize, true, true, 44100, 5, {mismatch}},
      {unsized, false, false, 0, 5, {}},
  };
  for (const Case& c : cases) {
    ID3Tag tag;
    tag.ignoreSizeErrors = c.ignoreSizeErrors;
    const TemporaryFile file("a.aif", c.file);
    MemorySource source(Bytes(c.file), "a.aif");
    const LogWatch watch;
    const bool isOpened = c.asStream ? OpenTrackFromStream(&source, &tag)
                                     : OpenTrackFromFile(tag, file.Path(), 0, nullptr, false);
    Lines log = LogWatch::Messages();
    if (!c.asStream) {
      log.erase(log.begin());  // names the file
    }
    EXPECT_EQ(log, c.log);
    EXPECT_EQ(isOpened, c.rate != 0);
    EXPECT_EQ(tag.details.sampleRateField, c.rate);
    EXPECT_EQ(tag.details.versionIndex, c.version);
    const std::uint32_t tagSize = c.rate != 0 && &c.file != &compressed ? 4 : 0;
    EXPECT_EQ(tag.id3AreaSize, c.asStream ? 0 : tagSize);
    EXPECT_EQ(tag.details.audioOffset, c.asStream ? tagSize : 0);
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
    const AiffCommon common = Walk(Aiff("AIFF", c.chunks));
    EXPECT_EQ(common.sampleRate, c.rate);
    EXPECT_EQ(common.channels, c.channels);
  }
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
    const std::string fields = Big16(2) + Big32(1) + Big16(16) + rate + "\xFF\xFF\xFF\xFF";
    EXPECT_EQ(Walk(Aiff("AIFF", Chunk("COMM", fields))).sampleRate, expected);
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
