#include "tags/own/track_opening.h"

#include "tags/reading.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

constexpr unsigned k128 = 9;

/// As the column handler opens a track, or as the property handler does.
bool Open(ProbeSource& source, const char* name, bool asFile, ID3Tag& tag) {
  CheckExtension(name, &tag);
  return asFile ? ReadTrackFile(tag, source, name, kScanAll, nullptr)
                : OpenTrackFromStream(&source, &tag);
}

/// A tag with a title and a large picture, 30 frames, an ID3v1 tag.
std::string LongTrack() {
  const std::string art = "\0image/jpeg\0\0\0\xFF\xD8\xFF"s + std::string(299'999, 'j');
  return V2Tag(3, Frame(3, "APIC", art) + Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 30) +
         V1Block("Old", 2, 17);
}

TEST(Opening, StreamsOfAllHabits) {
  const std::string content = LongTrack();
  struct Case {
    std::string what;
    void (*spoil)(ProbeSource& source);
    bool opened;
    bool title;
    bool v1;
    int calls;  // at the most
    std::string size = "305.00 KB (312689 bytes)";
  };
  const std::uint64_t end = content.size() - 128 - std::size_t{30} * 417 + 412;
  const Case cases[] = {
      {"good", [](ProbeSource&) {}, true, true, true, 6},
      {"tells no size", [](ProbeSource& s) { s.size = 0; }, true, true, true, 20, "0 bytes"},
      {"tells too much", [](ProbeSource& s) { s.size = ~std::uint64_t{0}; }, true, true, true, 6,
       "17592186044416.00 MB (-1 bytes)"},
      {"tells 6 GB", [](ProbeSource& s) { s.size = 0x1'8000'0000; }, true, true, true, 6,
       "17592186044416.00 MB (-2147483648 bytes)"},
      {"fails half-way", [](ProbeSource& s) { s.failsFrom = 150'000; }, false, false, false, 20},
      {"cannot seek", [](ProbeSource& s) { s.failsSeeks = true; }, true, true, false, 20},
  };
  for (const Case& c : cases) {
    for (const auto& [reading, keepsPictures] :
         {std::pair(&kOwnReading, true), {&kOwnReading, false}, {&kStandardReading, true}}) {
      SCOPED_TRACE(c.what + " " + reading->name);
      ProbeSource source(content, "folder.x/s.mp3");
      c.spoil(source);
      ID3Tag tag;
      tag.mostPictures = keepsPictures ? 1 : 0;
      tag.longestText = 100;  // which does not cut pictures
      const LogWatch watch;
      const bool opened = reading->openStream(&source, &tag);
      EXPECT_EQ(opened, c.opened || (reading == &kStandardReading && tag.v2Present));
      EXPECT_EQ(LogWatch::Messages(), Lines{});
      EXPECT_EQ(tag.title.length, c.title ? 4U : 0U);
      EXPECT_EQ(tag.v1Present, c.v1);
      EXPECT_LE(source.calls, c.calls);
      EXPECT_FALSE(tag.fileName.has_value());
      if (c.title) {
        const std::size_t picture = tag.pictures.IsEmpty() ? 0 : tag.pictures[0].data.size();
        EXPECT_EQ(picture, keepsPictures ? 300'002U : 0U);
      }
      if (reading == &kOwnReading) {
        EXPECT_EQ(c.opened ? source.position : end, end);
        EXPECT_EQ(tag.fileSizeText.data(), c.size);
      }
    }
  }
}

TEST(Opening, TellsByTheContentWhatStreamsWithoutANameAre) {
  for (const auto& [content, isAiff] :
       {std::pair(LongTrack(), false),
        {Aiff("AIFF", CommChunk(2, 441000, 16)), true},
        {Repeated(MpegFrame(k128) + MpegFrame(k128 + 1), 900'000), false},
        {std::string(100'000, '\0') + MpegFrames(k128, 3), false}}) {
    ProbeSource source(content, "");
    source.Seek(5, SeekOrigin::kBegin);  // it may stand anywhere
    source.calls = 0;
    ID3Tag tag;
    EXPECT_TRUE(standard::OpenStream(&source, &tag));
    EXPECT_EQ(tag.isAiff, isAiff);
    EXPECT_LE(source.calls, 5 + 8);  // eight at the most for a rate that varies without a header
    EXPECT_FALSE(standard::OpenStream(&source, nullptr) || standard::OpenStream(nullptr, &tag));
  }
}

/// A 32-bit seek forward over a chunk of almost 4 GB lands before the chunk.
TEST(Opening, DoesNotBelieveThatAMoveWentWhereItWasSent) {
  const std::string content =
      "FORM\0\0\0\x2E"s + "AIFF" + CommChunk(2, 441000, 16) + "SSND\xFF\xFF\xFF\xF8"s + "12345678";
  for (const bool asFile : {false, true}) {
    ProbeSource source(content, "s.aif");
    source.seekModulus = std::uint64_t{1} << 32U;
    ID3Tag tag;
    EXPECT_TRUE(Open(source, "s.aif", asFile, tag));
    EXPECT_EQ(tag.details.duration, 10U);
    EXPECT_LE(source.calls, 10);
  }
}

/// Whatever is searched for, and whatever size the source claims, a search ends.
TEST(Opening, EndsWithSourcesThatDoNot) {
  const std::pair<const char*, std::string> contents[] = {
      {"s.mp3", "ID3\3\0\0\0\0\0\0\xFF"s + std::string(100'000, '\0')},
      {"s.aif", "FORM\0\0\0\0AIFF"s + std::string(100'000, '\0')},
  };
  struct Habit {
    std::uint64_t claimed;
    std::size_t largestRead;
    bool asFile;
    const Reading* reading = &kOwnReading;
  };
  const Habit habits[] = {{0, 1, false},
                          {100'000, 1, true},
                          {0, SIZE_MAX, true},
                          {std::uint64_t{1} << 63U, 1, false, &kStandardReading}};
  for (const auto& [name, content] : contents) {
    for (const Habit& habit : habits) {
      SCOPED_TRACE(::testing::PrintToString(content.substr(0, 24)));
      ProbeSource source(content, name);
      source.repeats = true;
      source.size = habit.claimed;
      source.largestRead = habit.largestRead;
      ID3Tag tag;
      CheckExtension(name, &tag);
      tag.ignoreSizeErrors = true;
      habit.asFile ? ReadTrackFile(tag, source, name, kScanAll, nullptr)
                   : habit.reading->openStream(&source, &tag);
      // In the standard reading a search ends long before a size that is only claimed.
      const std::uint64_t believed = habit.reading == &kOwnReading ? habit.claimed : 0;
      const std::uint64_t most = CallBudget::kFreeBytes + 2 * believed;
      EXPECT_LE(source.bytesRead, most + SourceReader::kLargestBlock);
      EXPECT_LE(static_cast<std::uint64_t>(source.calls),
                CallBudget::kFreeCalls + (believed + most) / CallBudget::kBytesPerCall + 3);
    }
  }
}

/// Files of 8 MB that are searched to the end: the calls are those of the largest blocks, in the
/// standard reading those of 4,096 chunks or of 128 KB; no byte is read much more than once.
TEST(Opening, SearchesInBlocksThatGrow) {
  const std::size_t size = std::size_t{8} << 20U;
  const auto chain = [&](std::uint32_t chunkSize) {
    return Aiff("AIFF", Repeated(Chunk("abcd", std::string(chunkSize, '\0')), size));
  };
  const std::pair<const char*, std::string> contents[] = {
      {"s.mp3", V2Tag(3, "") + '\xFF' + std::string(size, '\0')},
      {"s.mp3", V2Tag(3, "") + std::string(size, '\0')},
      {"s.mp3", MpegFrames(k128, size / 417)},
      {"s.mp3", MpegFrame(k128) + Repeated("\xFF\xFB\xFF\0\0"s, size)},
      {"s.aif", chain(0)},
      {"s.aif", chain(3000)},
      {"s.aif", chain(5000)},
      {"s.aif", chain(70'000)},
      {"s.aif", chain(300'000)},
  };
  for (const auto& [name, content] : contents) {
    for (const bool asFile : {false, true}) {
      SCOPED_TRACE(name + ::testing::PrintToString(content.substr(0, 24)));
      ProbeSource source(content, name);
      ID3Tag tag;
      Open(source, name, asFile, tag);
      EXPECT_LE(static_cast<std::size_t>(source.calls),
                128 + 2 * content.size() / SourceReader::kLargestBlock);
      EXPECT_LE(source.bytesRead, content.size() + (std::size_t{64} << 10U));
    }
    ProbeSource source(content, name);
    ID3Tag tag;
    kStandardReading.openStream(&source, &tag);
    EXPECT_LE(source.calls, name == "s.aif"sv ? 2 * 4096 + 8 : 60) << content.substr(0, 12);
    EXPECT_LE(source.bytesRead, content.size() + (std::size_t{64} << 10U));
  }
  // Not much is read after what is looked for.
  const std::string zeros(size, '\0');
  const std::string early = V2Tag(3, "") + '\xFF' + zeros.substr(0, 400'000) + "\xFB\x90" + zeros;
  ProbeSource source(early, "s.mp3");
  ID3Tag tag;
  EXPECT_TRUE(OpenTrackFromStream(&source, &tag));
  EXPECT_LE(source.bytesRead, 400'000U / 8 * 9);
  // A walk begins with large blocks.
  const std::string walked = MpegFrames(k128, 1000);
  ProbeSource frames(walked, "s.mp3");
  EXPECT_TRUE(Open(frames, "s.mp3", true, tag));
  EXPECT_LE(frames.calls, 16);
}

/// A seek to the beginning that fails after the ID3v1 step leaves the source after the last 128
/// bytes. A file that cannot be moved is looked at where it stands, and goes on after that.
TEST(Opening, GoesOnWhereAFailedSeekLeavesIt) {
  const std::string v2 = V2Tag(3, Frame(3, "TIT2", "\0Song"s));
  {
    const std::string content = v2 + MpegFrame(k128) + V1Block("Old", 2, 17);
    ProbeSource source(content, "s.mp3");
    source.firstSeekable = 1;
    ID3Tag tag;
    EXPECT_FALSE(OpenTrackFromStream(&source, &tag));
    EXPECT_TRUE(tag.v1Present);
    EXPECT_FALSE(tag.v2Present);
    EXPECT_EQ(source.position, content.size());
  }
  const std::string content = "ID3" + std::string(125, '\0') + v2 + MpegFrame(k128);
  ProbeSource source(content, "");
  source.failsSeeks = true;
  ID3Tag tag;
  EXPECT_TRUE(Open(source, "s.mp3", true, tag));
  EXPECT_STREQ(tag.title.text.c_str(), "Song");
}

/// Of a longer text the first four units are kept; only the standard reading keeps surrogates
/// together.
TEST(Opening, CutsTextsThatAreTooLong) {
  struct Case {
    std::string data;
    std::u16string own;
    std::u16string standard;
    std::size_t longest = 4;
  };
  const Case cases[] = {
      {"\0abcd"s, u"abcd", u"abcd"},
      {"\0abcdefghijklmnop"s, u"abcd", u"abcd"},
      {"\0\xFF\xFEwxyz"s, u"\xFF\xFEwx", u"\xFF\xFEwx"},
      {"\0a\rb\rcd"s, u"a\r\nb", u"a\rb\r"},
      {"\1\xFF\xFE" + Utf16Le(u"abcdef"), u"abcd", u"abcd"},
      {"\1\xFF\xFE" + Utf16Le(u"abc\xD800\xDC00z"), u"abc\xD800", u"abc"},
      {"\1\xFF\xFE" + Utf16Le(u"ab\xDBFF\xDFFFz"), u"ab\xDBFF\xDFFF", u"ab\xDBFF\xDFFF"},
      {"\1\xFF\xFE" + Utf16Le(u"abcd\xD800"), u"abcd", u"abcd"},
      {"\1\xFF\xFE" + Utf16Le(u"\xD800\xDC00z"), u"\xD800", u"", 1},
      {"\1\xFF\xFE" + Utf16Le(u"\xDC00z"), u"", u"", 0},
      {"\3\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\xC3\xA4", u"\xE4\xF6\xFC\xDF", u"\xE4\xF6\xFC\xDF"},
  };
  for (const Case& c : cases) {
    for (const Reading* reading : {&kOwnReading, &kStandardReading}) {
      SCOPED_TRACE(::testing::PrintToString(c.data) + reading->name);
      const std::string comment = "\0eng"s + std::string(65'531, 'd') + "\0abcde"s;
      const std::string genre =
          "\1\xFF\xFE" + Utf16Le(u"before)" + std::u16string(100'000, u'\x141') + u" after");
      const std::string content =
          V2Tag(4, Frame(4, "TIT2", c.data) + Frame(4, "COMM", comment) + Frame(4, "TCON", genre)) +
          MpegFrames(k128, 3);
      ProbeSource source(content, "s.mp3");
      ID3Tag tag;
      tag.longestText = c.longest;
      reading->openStream(&source, &tag);
      const std::u16string& kept = reading == &kOwnReading ? c.own : c.standard;
      const std::string& text = tag.title.text;
      EXPECT_EQ(tag.title.encoding == kLatin1 ? WidenLatin1(UpToZero(text)) : DecodeUtf16(text),
                kept);
      EXPECT_EQ(tag.title.length, kept.size());
      EXPECT_TRUE(text.ends_with(tag.title.encoding == kLatin1 ? "\0"sv : "\0\0"sv));
      EXPECT_EQ(tag.comment.length, c.longest);
      if (reading == &kOwnReading) {  // where a genre begins after a parenthesis, and is narrow
        EXPECT_EQ(UpToZero(tag.genre.text), " after"s.substr(0, c.longest));
      }
    }
  }
}

TEST(Opening, ListsNamesInTheStandardReading) {
  const std::string content =
      V2Tag(4, Frame(4, "TPE1", "\3A\0B"s) + Frame(4, "TPE3", "\3only\0\0"s) +
                   Frame(4, "TCOM", "\3C\0D"s) + Frame(4, "TCON", "\0(17)x"s) +
                   Frame(4, "TPOS", "\0002/3"s)) +
      MpegFrames(k128, 3);
  const TemporaryFile file("s.mp3", content);
  ID3Tag tag;
  EXPECT_TRUE(standard::OpenPath(tag, file.Path(), kScanAll, nullptr, true));
  EXPECT_EQ(tag.fileName, file.Path());
  EXPECT_FALSE(tag.readOnly);
  const auto names = [](const std::vector<TagText>& texts) {
    std::u16string all;
    for (const TagText& text : texts) {
      all += DecodeUtf16(text.text) + u'|';
    }
    return all;
  };
  EXPECT_EQ(names(tag.artists) + names(tag.conductors), u"A|B|");
  EXPECT_EQ(names(tag.composers) + names(tag.genres), u"C|D|Rock|x|");
  EXPECT_EQ(tag.partOfSet, "2/3");
}

/// The bits of the audio are counted in 32 bits with a sign.
TEST(Opening, DurationsWrap) {
  const std::pair<std::uint64_t, std::uint64_t> cases[] = {
      {160'000, 10},
      {268'435'455, 16'777},
      {268'435'456, 0xFFFF'FFFF'8000'0000U / 128'000},
      {536'870'912, 0},
  };
  const std::string content = "ID3\3\0\0\0\0\0\0"s + MpegFrame(k128);
  for (const auto& [audio, duration] : cases) {
    ProbeSource source(content, "s.mp3");
    source.size = 10 + audio;
    ID3Tag tag;
    tag.details.syncLost = true;  // of an earlier track
    EXPECT_TRUE(OpenTrackFromStream(&source, &tag));
    EXPECT_EQ(tag.details.duration, duration);
    EXPECT_FALSE(tag.details.syncLost);
  }
}

TEST(Opening, ClaimsBeyondATerabyteCountAsOne) {
  const std::string content = MpegFrames(k128, 3);
  ProbeSource source(content, "s.mp3");
  source.failsSeeks = true;
  source.size = ~std::uint64_t{0};
  ID3Tag tag;
  EXPECT_TRUE(standard::OpenStream(&source, &tag));
  EXPECT_EQ(tag.details.duration, (std::uint64_t{1} << 40U) * 8 / 128'000);
}

TEST(Opening, LeavesStreamsWhereTheLastReadEnded) {
  const std::string v2 = V2Tag(3, Frame(3, "TIT2", "\0Song"s));
  const std::string frame = MpegFrame(k128);
  const std::string comm = CommChunk(2, 441000, 16);
  const std::string sound = Chunk("SSND", std::string(5001, 'x'));
  struct Case {
    std::string name;
    std::string content;
    std::uint64_t position;
    int calls;  // at the most
  };
  const Case cases[] = {
      {"s.mp3", v2 + frame, v2.size() + 412, 6},
      {"s.mp3", frame, 417, 6},
      {"s.mp3", std::string(10, 'x') + frame, 10 + 412, 6},
      {"s.mp3", v2 + "\xFF" + std::string(5000, '\0') + "\xFB", v2.size() + 5002, 7},
      {"s.mp3", v2 + "\xFF" + std::string(5000, '\0'), v2.size() + 5001, 7},
      {"s.mp3", v2.substr(0, 15), 15, 6},
      {"s.mp3", "", 0, 4},
      {"s.aif", Aiff("AIFF", comm + sound + Chunk("ID3 ", v2)), 12 + 26 + 5010 + 8 + v2.size(), 4},
      {"s.aif", Aiff("AIFF", comm + sound), 12 + 26 + 5010, 4},
      {"s.aif", "FORX", 4, 3},
      {"s.flac", frame, 10, 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name + ::testing::PrintToString(c.content.substr(0, 20)));
    ProbeSource source(c.content, c.name);
    ID3Tag tag;
    OpenTrackFromStream(&source, &tag);
    EXPECT_EQ(source.position, c.position);
    EXPECT_LE(source.calls, c.calls);
    ProbeSource again(c.content, c.name);
    ID3Tag standard;
    EXPECT_LE(kStandardReading.openStream(&again, &standard) ? again.calls : 0, c.calls);
  }
}

TEST(Opening, ProgressIsReported) {
  static Lines reports;
  const std::string content = LongTrack();
  const TemporaryFile file("p.mp3", std::string_view(content).substr(0, content.size() - 128));
  ID3Tag tag;
  tag.v1Track = 9;
  tag.rating = 9;
  tag.details.bitsPerSample = 9;
  tag.readOnly = false;
  EXPECT_TRUE(OpenTrackFromFile(
      tag, file.Path(), kScanAll,
      [](const char* text, int percent) {
        reports.push_back(text + (" " + std::to_string(percent)));
      },
      false));
  EXPECT_EQ(reports, (Lines{"Starting... 0", "Loading V1... 20", "Loading V2... 40",
                            "Parsing... 70", "Loading "s + file.Path() + " 100", "Finished 90"}));
  EXPECT_EQ(tag.fileName, file.Path());
  EXPECT_TRUE(tag.readOnly);
  // What an earlier track left is gone.
  EXPECT_EQ(tag.v1Track, kUnknownV1Number);
  EXPECT_EQ(tag.rating, 0);
  EXPECT_EQ(tag.details.bitsPerSample, 0);
}

/// What was reached before a failure counts.
TEST(Opening, CallbacksThatThrow) {
  static std::string thrownAt;
  const TemporaryFile file("p.mp3", LongTrack());
  const std::string failed = "1 Failed to open the ID3 data in the file '"s + file.Path() + "'";
  struct Case {
    std::string thrownAt;
    bool opened;
    std::string message;
  };
  for (const Case& c : {Case{"Starting...", false, failed}, Case{"Finished", true, failed},
                        Case{"Loading "s + file.Path(), true, "1 Failed to parse the MPEG data"}}) {
    thrownAt = c.thrownAt;
    const LogWatch watch;
    ID3Tag tag;
    const auto throwing = [](const char* text, int /*percent*/) {
      if (text == thrownAt) {
        throw std::runtime_error(text);
      }
    };
    EXPECT_EQ(OpenTrackFromFile(tag, file.Path(), kScanAll, throwing, false), c.opened);
    EXPECT_EQ(LogWatch::Messages(), (Lines{"3 Opening ID3 track: "s + file.Path(), c.message}));
  }
}

}  // namespace
}  // namespace tagsmith::test
