#include "tags/track_opening.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

constexpr unsigned k128 = 9;

bool OpenFromFile(ID3Tag& tag, std::string_view name, std::string_view content, Lines& log,
                  std::string* path = nullptr) {
  const TemporaryFile file(name, content);
  const LogWatch watch;
  const bool result = OpenTrackFromFile(tag, file.Path(), kScanAll, nullptr, true);
  log = LogWatch::Messages();
  EXPECT_EQ(log.empty() ? "" : log.front(),
            log.empty() ? "" : "3 Opening ID3 track: "s + file.Path());
  if (!log.empty()) {
    log.erase(log.begin());
  }
  if (path != nullptr) {
    *path = file.Path();
  }
  return result;
}

bool OpenFromStream(ID3Tag& tag, ProbeSource& source, Lines& log) {
  const LogWatch watch;
  const bool result = OpenTrackFromStream(&source, &tag);
  log = LogWatch::Messages();
  return result;
}

std::string_view Title(const ID3Tag& tag) { return tag.title.text.c_str(); }

TEST(Opening, BothWaysFillTheTag) {
  const std::string v2 = V2Tag(3, Frame(3, "TIT2", "\0Song"s));
  const std::string mp3 = v2 + MpegFrames(k128, 30) + V1Block("Old", 2, 17);
  const std::string aiff = Aiff(
      "AIFF", CommChunk(2, 441000, 16) + Chunk("SSND", std::string(5001, 'x')) + Chunk("id3 ", v2));
  struct Case {
    std::string name;
    const std::string& content;
    std::string version;
  };
  for (const Case& c : {Case{"söng.Mp3", mp3, "V1 and V2.3"}, Case{"a.b.aiff", aiff, "V2.3"},
                        Case{"x.AIF", aiff, "V2.3"}}) {
    for (const bool asStream : {false, true}) {
      SCOPED_TRACE(c.name + (asStream ? " stream" : " file"));
      ID3Tag tag;
      Lines log;
      std::string path;
      if (asStream) {
        ProbeSource source(c.content, c.name);
        EXPECT_TRUE(OpenFromStream(tag, source, log));
        EXPECT_LE(source.calls, 6);
        EXPECT_EQ(source.position, tag.isMpeg ? v2.size() + 412 : c.content.size() - v2.size() % 2);
        EXPECT_FALSE(tag.fileName.has_value());
      } else {
        EXPECT_TRUE(OpenFromFile(tag, c.name, c.content, log, &path));
        EXPECT_FALSE(tag.readOnly);
        EXPECT_EQ(tag.fileName, path);
      }
      EXPECT_EQ(Title(tag), "Song");
      EXPECT_TRUE(tag.v2Present && tag.v2Loaded);
      EXPECT_EQ(tag.isMpeg, &c.content == &mp3);
      EXPECT_EQ(tag.isAiff, &c.content == &aiff);
      EXPECT_EQ(tag.v1Loaded, tag.isMpeg);
      EXPECT_STREQ(tag.v1Title.data(), tag.isMpeg ? "Old" : "");
      EXPECT_STREQ(tag.tagVersionText.data(), c.version.c_str());
      EXPECT_EQ(tag.fileSize, c.content.size());
      EXPECT_EQ(tag.details.duration, tag.isMpeg ? 0U : 10U);
      EXPECT_EQ(tag.details.bitRate, tag.isMpeg ? 128U : 1411U);
      if (tag.isMpeg) {
        EXPECT_EQ(tag.details.audioOffset, v2.size());
        EXPECT_EQ(tag.details.frameCount, asStream ? 1U : 30U);
      }
      EXPECT_EQ(log, tag.isMpeg || asStream ? Lines{} : Lines{"3 AIFF header found"});
    }
  }
}

TEST(Opening, FileIsRecognisedByItsContent) {
  const std::string frames = MpegFrames(k128, 2);
  const auto notMp3 = [](const std::string& shown) {
    return Lines{"1 File is not a valid MP3 file (0x" + shown + ")"};
  };
  // Only the very last of the 8192 pairs is a sync word, of a layer that is not taken.
  const std::string lastPair =
      std::string(8191, '\0') + "\xFF\xFC" + std::string(500, '\0') + frames;
  const std::string shortV1 = "1 Failed to load the V1 tag (error: Success)";
  struct Case {
    std::string name;
    std::string content;
    bool opened;
    Lines log;
  };
  const Case cases[] = {
      {"a.flac", frames, false, {}},
      {"noextension", frames, false, {}},
      {"a.mp3", frames, true, {}},
      {"a.mp3", "id3" + frames, true, {}},
      {"a.mp3",
       "\0\0\0\0ftyp"s + frames,
       false,
       {"1 File appears to be an MP4 not a valid MP3 file"}},
      {"a.mp3", "", false, notMp3("00000000")},
      {"a.mp3", "\xFF", false, notMp3("FFFFFFFF000000")},
      {"a.mp3", "\x80\x81zz" + std::string(500, 'z'), false, notMp3("FFFFFF80FFFFFF817A7A")},
      {"a.mp3", std::string(8191, '\0') + frames, true, {}},
      {"a.mp3", std::string(8192, '\0') + frames, false, notMp3("00000000")},
      {"a.mp3", lastPair, true, {}},
      {"a.mp3", '\0' + lastPair, false, notMp3("00000000")},
      {"a.tdf", "\xFF\xFC\0\0"s, false, {}},
      {"a.aif", "FORX", false, {"1 File is not a valid AIFF file (0x464F5258)"}},
      {"a.aif", "FOR", false, {"1 File is not a valid AIFF file (0x464F5200)"}},
      {"a.mp3", "ID3", false, notMp3("49443300")},
      {"a.mp3", "ID3\3", false, {shortV1}},
      {"a.mp3",
       "ID3\3\0\0\x7F\x7F\x7F\x7F"s,
       false,
       {shortV1, "1 Failed to load the tag data (error: Success)"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name + ::testing::PrintToString(c.content.substr(0, 20)));
    ID3Tag tag;
    Lines log;
    EXPECT_EQ(OpenFromFile(tag, c.name, c.content, log), c.opened);
    EXPECT_EQ(log, c.log);
  }
}

TEST(Opening, MissingFile) {
  const LogWatch watch;
  ID3Tag tag;
  EXPECT_FALSE(OpenTrackFromFile(tag, "no/such/file.mp3", kScanAll, nullptr, true));
  EXPECT_EQ(LogWatch::Messages(),
            (Lines{"3 Opening ID3 track: no/such/file.mp3",
                   "1 Open file write check error: No such file or directory (2)",
                   "1 Failed to open the file 'no/such/file.mp3' for reading (error: No such file "
                   "or directory)"}));
  EXPECT_TRUE(tag.readOnly);
}

TEST(Opening, StreamSearchesBehindTheTagOnly) {
  const std::string frame = MpegFrame(k128);
  const std::string v2 = V2Tag(3, Frame(3, "TIT2", "\0Song"s));
  const std::string failed = "1 Failed to create the MP3 details";
  struct Case {
    std::string content;
    bool opened;
    std::uint64_t offset;
    std::uint64_t position;  // of the source afterwards
    Lines log;
  };
  const Case cases[] = {
      {v2 + frame, true, v2.size(), v2.size() + 412, {}},
      {frame, false, 0, frame.size(), {}},
      {std::string(10, 'x') + frame, true, 10, 10 + 412, {}},
      {v2 + "\xFF" + std::string(5000, '\0') + frame.substr(1),
       true,
       v2.size(),
       v2.size() + 1 + 5000 + 411,
       {}},
      {v2 + '\0' + frame, false, 0, v2.size() + 1 + frame.size(), {}},
      {v2 + '\xFF', false, 0, v2.size() + 1, {}},
      {v2 + frame.substr(0, 20), false, v2.size(), v2.size() + 20, {failed}},
      {v2.substr(0, 15), false, 0, 15, {}},
      {"", false, 0, 0, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.content.substr(0, 40)));
    ID3Tag tag;
    Lines log;
    ProbeSource source(c.content, "x.mp3");
    EXPECT_EQ(OpenFromStream(tag, source, log), c.opened);
    EXPECT_EQ(log, c.log);
    EXPECT_EQ(tag.details.audioOffset, c.offset);
    EXPECT_EQ(source.position, c.position);
    EXPECT_EQ(tag.v2Loaded, c.content.size() >= v2.size() && c.content.starts_with("ID3"));
  }
}

TEST(Opening, StreamsOfAllHabits) {
  std::string art = "\0image/jpeg\0\0\0\xFF\xD8"s + std::string(300'000, 'j');
  const std::string v2 = V2Tag(3, Frame(3, "APIC", art) + Frame(3, "TIT2", "\0Song"s));
  const std::string content = v2 + MpegFrames(k128, 30) + V1Block("Old", 2, 17);
  struct Case {
    std::string what;
    void (*spoil)(ProbeSource& source);
    bool opened;
    bool title;
    bool v1;
    int calls;
  };
  const Case cases[] = {
      {"good", [](ProbeSource&) {}, true, true, true, 6},
      {"short reads", [](ProbeSource& s) { s.largestRead = 5000; }, true, true, true, 70},
      {"tells no size", [](ProbeSource& s) { s.size = 0; }, true, true, true, 20},
      {"tells too much", [](ProbeSource& s) { s.size = ~std::uint64_t{0}; }, true, true, true, 6},
      {"fails half-way", [](ProbeSource& s) { s.failsFrom = 150'000; }, false, false, false, 20},
      {"cannot seek", [](ProbeSource& s) { s.failsSeeks = true; }, true, true, false, 20},
      {"throws", [](ProbeSource& s) { s.throwsOnRead = true; }, false, false, false, 6},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ProbeSource source(content, "folder.x/s.mp3");
    c.spoil(source);
    ID3Tag tag;
    Lines log;
    EXPECT_EQ(OpenFromStream(tag, source, log), c.opened);
    EXPECT_EQ(tag.title.IsPresent(), c.title);
    EXPECT_EQ(tag.v1Present, c.v1);
    EXPECT_EQ(tag.pictures.size(), c.title ? 1U : 0U);
    EXPECT_LE(source.calls, c.calls);
    EXPECT_EQ(log, source.throwsOnRead
                       ? Lines{"1 Failed to create the tag data for the stream 'folder.x/s.mp3'"}
                       : Lines{});
  }
}

TEST(Opening, SizesOfTwoGigabytesAndMore) {
  const std::string v2 = V2Tag(3, Frame(3, "TIT2", "\0Song"s));
  const std::string content = v2 + MpegFrames(k128, 30);
  ProbeSource source(content, "s.mp3");
  source.size = 0x1'8000'0000;
  ID3Tag tag;
  Lines log;
  EXPECT_TRUE(OpenFromStream(tag, source, log));
  EXPECT_EQ(tag.fileSize, 0xFFFF'FFFF'8000'0000U);
  EXPECT_EQ(log, Lines{});
}

TEST(Opening, InvalidArguments) {
  const LogWatch watch;
  ID3Tag tag;
  ProbeSource source("", "");
  EXPECT_FALSE(OpenTrackFromStream(nullptr, &tag));
  EXPECT_FALSE(OpenTrackFromStream(&source, nullptr));
  EXPECT_EQ(LogWatch::Messages(),
            (Lines{"1 Invalid MP3 data stream (0)", "1 Invalid MP3 data stream (1)"}));
}

TEST(Opening, ProgressIsReported) {
  static Lines reports;
  const TemporaryFile file(
      "p.mp3", V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 30) + V1Block("", 0, 0));
  ID3Tag tag;
  EXPECT_TRUE(OpenTrackFromFile(
      tag, file.Path(), kScanAll,
      [](const char* text, int percent) {
        reports.push_back(text + (" " + std::to_string(percent)));
      },
      false));
  EXPECT_TRUE(tag.readOnly);
  EXPECT_EQ(reports, (Lines{"Starting... 0", "Loading V1... 20", "Loading V2... 40",
                            "Parsing... 70", "Loading "s + file.Path() + " 100", "Finished 90"}));
}

}  // namespace
}  // namespace tagsmith::test
