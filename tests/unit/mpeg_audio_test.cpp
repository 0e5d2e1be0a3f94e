#include "tags/mpeg_audio.h"

#include "tags/mpeg_header.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

constexpr unsigned k112 = 8;  // bit rate indexes of MPEG-1 layer 3
constexpr unsigned k128 = 9;
constexpr unsigned k160 = 10;
constexpr unsigned k320 = 14;

struct Outcome {
  bool found = false;
  Lines log;
};

Outcome Analyse(ID3Tag& tag, std::string_view content, std::uint32_t scanMode) {
  const LogWatch log;
  tag.isMpeg = true;
  MemorySource source(Bytes(content), "");
  SourceReader reader(source, content.size());
  Outcome outcome;
  outcome.found =
      AnalyseMpegFrames(tag, reader, static_cast<std::uint32_t>(content.size()), scanMode, nullptr);
  outcome.log = LogWatch::Messages();
  return outcome;
}

TEST(MpegHeader, RatesAndLengths) {
  struct Case {
    std::uint32_t header;
    std::uint32_t bitRate;
    float sampleRate;
    std::uint32_t length;
  };
  const Case cases[] = {
      {0xFFFB9000, 128, 44100, 417},  {0xFFFB9200, 128, 44100, 418},
      {0xFFFBE800, 320, 32000, 1440}, {0xFFFF1000, 32, 44100, 104},
      {0xFFFDE000, 384, 44100, 1253}, {0xFFF38000, 64, 22050, 417},
      {0xFFE31800, 8, 8000, 144},     {0xFFFB0200, 0, 44100, 1},
      {0xFFFBF000, 0, 44100, 0},       // beyond the last row
      {0xFFFFF000, 0, 44100, 0},       // on into the free entry of layer 2
      {0xFFF9A000, 0, 44100, 0},       // unknown layer of MPEG-1: beyond the table
      {0xFFF1A000, 320, 22050, 2089},  // unknown layer of MPEG-2: on into MPEG-1 layer 1
  };
  for (const Case& c : cases) {
    const MpegHeader header = DecodeMpegHeader(c.header);
    EXPECT_EQ(MpegBitRate(header), c.bitRate) << std::hex << c.header;
    const float sampleRate = MpegSampleRate(header.versionIndex, header.sampleRateIndex);
    EXPECT_EQ(sampleRate, c.sampleRate);
    EXPECT_EQ(MpegFrameLength(c.bitRate, sampleRate, header.padding), c.length);
  }
  EXPECT_EQ(MpegSampleRate(1, 0), 0.0F);
  EXPECT_EQ(MpegSampleRate(3, 3), 0.0F);
  EXPECT_EQ(MpegSampleRate(4, 0), 0.0F);
}

TEST(MpegFrames, ScanModesEndWhereTheyShould) {
  const std::string quick = "3 VBR has not been found in the first 500 frames (assuming CBR)";
  const std::string constant = "3 VBR has not been found in the first 1000 frames (assuming CBR)";
  const std::string cbr = MpegFrames(k128, 1500);
  const std::string vbr = MpegFrames(k128, 700) + MpegFrames(k160, 1) + MpegFrames(k128, 799);
  // The average rises to 127 at frame 334; the walk begins anew behind a frame without sample rate,
  // and 128 is no change that would be noted again. The lengths of both walks count.
  const std::string restarted =
      MpegFrames(k112, 230) + MpegFrames(k160, 105) + "\xFF\xFB\x9C\x04"s + MpegFrames(k128, 900);
  struct Case {
    const std::string& content;
    std::uint32_t mode;
    std::uint64_t frames;
    std::string text;
    Lines log;
  };
  const Case cases[] = {
      {cbr, 0, 1500, "128 kbps (CBR)", {}},
      {cbr, 1, 501, "128 kbps (CBR)", {}},
      {cbr, 2, 1503, "128 kbps (CBR quick)", {constant}},
      {cbr, 7, 1500, "128 kbps (CBR)", {}},
      {vbr, 0, 1500, "128 kbps (VBR average)", {}},
      {vbr, 1, 501, "128 kbps (CBR)", {}},
      {vbr, 2, 1500, "128 kbps (VBR average)", {}},
      {restarted, 1, 542, "128 kbps (CBR quick)", {quick}},
  };
  for (const Case& c : cases) {
    ID3Tag tag;
    const Outcome outcome = Analyse(tag, c.content, c.mode);
    EXPECT_TRUE(outcome.found);
    EXPECT_EQ(outcome.log, c.log);
    EXPECT_STREQ(tag.details.bitRateText.data(), c.text.c_str());
    EXPECT_EQ(tag.details.frameCount, c.frames) << c.mode;
  }
  // An average that keeps rising is noted again and again, until frame 1001 ends the quick scan.
  ID3Tag tag;
  const std::string rising = MpegFrames(k128, 400) + MpegFrames(k320, 900);
  EXPECT_TRUE(Analyse(tag, rising, 1).found);
  EXPECT_TRUE(tag.details.isVbr && tag.details.isEstimated);
  EXPECT_STREQ(tag.details.bitRateText.data(), "243 kbps (VBR quick)");
  // 1001 frames, 600 of them of 1044 bytes: 792 on average, without the first.
  EXPECT_EQ(tag.details.frameCount, rising.size() / ((399U * 417 + 601U * 1044) / 1001));
  // An average that was noted late: steady for 200 frames at frame 557.
  ID3Tag late;
  const std::string lateChange =
      MpegFrames(k128, 350) + MpegFrames(k320, 8) + MpegFrames(k128, 700);
  EXPECT_TRUE(Analyse(late, lateChange, 1).found);
  EXPECT_EQ(late.details.frameCount, 557U);
}

TEST(MpegFrames, TakeTheDetailsOfTheFirstFrame) {
  std::string content = std::string(100, '\0') + "\xFF\xE0\xFF\xFD";  // layers that are not taken
  const std::size_t offset = content.size();
  content += "\xFF\xFA\x90\x6C" + std::string(413, '\0') + MpegFrames(k128, 9);
  ID3Tag tag;
  EXPECT_TRUE(Analyse(tag, content + V1Block("", 0, 0), 0).found);
  const TrackDetails& details = tag.details;
  EXPECT_EQ(details.versionIndex, 3);
  EXPECT_EQ(details.layerIndex, 2);
  EXPECT_EQ(details.protectionBit, 0);
  EXPECT_EQ(details.channelMode, 1);
  EXPECT_EQ(details.copyrightBit, 1);
  EXPECT_EQ(details.originBit, 1);
  EXPECT_EQ(details.audioOffset, offset);
  EXPECT_EQ(tag.id3AreaSize, offset);
  EXPECT_EQ(details.frameCount, 10U);
  EXPECT_FALSE(details.syncLost);
  EXPECT_EQ(details.bitsPerSample, 0);
  EXPECT_EQ(details.duration, (10 * 417U + 128) * 8 / 128000);
  EXPECT_TRUE(Analyse(tag, content + "junk", 0).found);
  EXPECT_TRUE(details.syncLost);
}

TEST(MpegFrames, GoOnToAnotherFirstFrame) {
  const std::string frames = MpegFrames(k128, 3);
  struct Case {
    std::string content;
    bool found;
    std::uint64_t frameCount;
    std::size_t offset;
  };
  const std::string badRate = "\xFF\xFB\x9C\x04"s;
  const std::string freeFormat = "\xFF\xFB\0\x04"s;
  const std::string tiny = "\xFF\xFB\x02\x04"s;  // free format with padding: one byte long
  const Case cases[] = {
      {badRate + frames, true, 3, 4},
      {freeFormat + frames, true, 3, 4},
      {tiny + "\0\0\0\0"s + frames, true, 3, 8},
      {frames + badRate + frames, true, 3, 3 * 417 + 4},
      {frames + badRate, false, 0, 0},
      {"\xFF\xFB\x90", false, 0, 0},
      {"\xFF", false, 0, 0},
      {"", false, 0, 0},
      {"\xFF\xFB\x90\x04", true, 1, 0},
  };
  for (const Case& c : cases) {
    ID3Tag tag;
    EXPECT_EQ(Analyse(tag, c.content, 0).found, c.found);
    if (c.found) {
      EXPECT_EQ(tag.details.frameCount, c.frameCount);
      EXPECT_EQ(tag.details.audioOffset, c.offset);
    }
  }
}

TEST(MpegFrames, Mpeg25EndsAtItsSecondHeader) {
  ID3Tag tag;
  const std::string frame = "\xFF\xE3\x18\x04" + std::string(140, '\0');
  EXPECT_TRUE(Analyse(tag, frame + frame, 0).found);
  EXPECT_EQ(tag.details.frameCount, 1U);
  EXPECT_TRUE(tag.details.syncLost);
}

std::string Place(std::string content, std::size_t offset, std::string_view text) {
  return content.replace(offset, text.size(), text);
}

// What a walk or a header that leads to nothing stores.
TEST(MpegWalk, KeepsWhatItHasSeen) {
  const std::string frame = MpegFrame(k128);
  ID3Tag again;
  EXPECT_FALSE(Analyse(again, frame + frame + Place(frame.substr(0, 40), 2, "\x9C"), 0).found);
  EXPECT_EQ(again.details.frameCount, 3U);
  ID3Tag cut;
  EXPECT_FALSE(Analyse(cut, "xx\xFF\xFB", 0).found);
  EXPECT_EQ(cut.details.versionIndex, 3);
  EXPECT_EQ(cut.details.layerIndex, 2);
  EXPECT_EQ(cut.details.protectionBit, 1);
}

TEST(MpegEncoder, IsFoundInItsPlaces) {
  const std::string frames = MpegFrames(k128, 3);
  const std::string xing = Place(frames, 36, "Xing");
  const std::string info = Place(frames, 36, "iNFO");
  struct Case {
    std::string content;
    std::string byFrames;
    std::string byBuffer;
  };
  const Case cases[] = {
      {frames, "", ""},
      {Place(xing, 156, "LAME3.99r rest"), "LAME3.99r", "LAME3.99r"},
      {Place(info, 156, "LAME3.90.3 rest"), "LAME3.90", "LAME3.90"},
      {Place(info, 156, "lame3.100 and quite some more"), "lame3.100 and quite ",
       "lame3.100 and quite "},
      {Place(info, 156, "Lavc58.91"), "", ""},
      {Place(frames, 36, "LAME3.97beta"), "LAME3.97", "LAME3.97"},
      {Place(frames, 2 * 417 - 20, "LAME3.93\0\0\0"s), "LAME3.93", ""},
      {Place(frames, 2 * 417 - 20, "LAME3.93\1\0\0"s), "", ""},
      {Place(Place(frames, 2 * 417 - 20, "LAME3.93\0\0\0"s), 417 + 300, "L"), "LAME3.93", ""},
      {Place(Place(info, 156, "\0ZZZZZZZZZZZZ"sv), 2 * 417 - 20, "LAME3.93\0\0\0"s), "LAME3.93",
       ""},
      {Place(Place(info, 156, "Lavc"), 2 * 417 - 20, "LAME3.93\0\0\0"s), "", ""},
  };
  for (const Case& c : cases) {
    ID3Tag tag;
    EXPECT_TRUE(Analyse(tag, c.content, 0).found);
    EXPECT_STREQ(tag.details.encoderText.data(), c.byFrames.c_str());
    ID3Tag buffered;
    EXPECT_TRUE(AnalyseMpegBuffer(buffered, Bytes(c.content).first(411), 0, 5000));
    EXPECT_STREQ(buffered.details.encoderText.data(), c.byBuffer.c_str());
  }
  ID3Tag full;
  EXPECT_TRUE(AnalyseMpegBuffer(full, Bytes(cases[1].content).first(412), 0, 5000));
  EXPECT_STREQ(full.details.encoderText.data(), "");
}

TEST(MpegBuffer, ChecksAndFills) {
  const std::string frame = MpegFrame(k128);
  const std::pair<std::string, bool> cases[] = {
      {frame, true},
      {frame.substr(0, 36), true},
      {frame.substr(0, 35), false},
      {frame.substr(0, 3), false},
      {"", false},
      {'\xFE' + frame.substr(1), false},
      {Place(frame, 1, "\xFD"), false},  // layer 2
      {Place(frame, 1, "\xE3"), true},   // MPEG-2.5
      {Place(frame, 2, "\x9C"), false},  // no sample rate
      {Place(frame, 2, "\0"sv), false},  // no length
      {Place(frame, 2, "\x02"), false},  // no bit rate
  };
  for (const auto& [content, expected] : cases) {
    ID3Tag tag;
    EXPECT_EQ(AnalyseMpegBuffer(tag, Bytes(content), 7, 100), expected)
        << ::testing::PrintToString(content.substr(0, 4));
  }
  struct SizeCase {
    std::uint32_t fileSize;
    std::uint64_t duration;
  };
  const SizeCase sizes[] = {
      {1000 + 160000, 10},
      {1000 + 268435455, 16777},
      {1000 + 268435456, 0xFFFFFFFF80000000U / 128000},  // the bit count wraps
      {1000 + 536870912, 0},
  };
  for (const SizeCase& c : sizes) {
    ID3Tag tag;
    EXPECT_TRUE(AnalyseMpegBuffer(tag, Bytes(frame), 1000, c.fileSize));
    EXPECT_EQ(tag.details.duration, c.duration);
    EXPECT_EQ(tag.details.audioOffset, 1000U);
    EXPECT_EQ(tag.id3AreaSize, 1000U);
    EXPECT_EQ(tag.details.bitsPerSample, 16);
    EXPECT_EQ(tag.details.bitRate, 128U);
    EXPECT_STREQ(tag.details.bitRateText.data(), "");
  }
}

}  // namespace
}  // namespace tagsmith::test
