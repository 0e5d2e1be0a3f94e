#include "tags/id3v2.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

constexpr std::string_view kMark = "\xFF\xFE";

/// Parses a tag and gives what was logged.
Lines Parse(ID3Tag& tag, std::string_view bytes, bool keepUnicode = true) {
  const LogWatch log;
  EXPECT_TRUE(ParseV2Tag(tag, Bytes(bytes), keepUnicode));
  return LogWatch::Messages();
}

std::string_view Narrow(const TagText& field) { return field.text.c_str(); }

TEST(V2Header, TellsTheTagsSize) {
  struct Case {
    std::string header;
    std::uint32_t size;
    Lines log;
  };
  const Case cases[] = {
      {"ID3\x04\0\0\0\0\x02\x01"s, 257 + 10, {}},
      {"ID3\x03\0\x80\0\0\0\0"s, 10, {}},
      {"ID3\x03\0\x10\x7F\x7F\x7F\x7F"s, 0xFFFFFFF + 10, {}},
      {"ID3\x03\0\x20\0\0\0\1"s, 0, {}},  // none of the flags that exist
      {"ID3\x03\0\x30\0\0\0\1"s, 11, {}},
      {"id3\x03\0\0\0\0\0\1"s, 0, {}},
      {"ID3\x03\0\0\0\0\0"s, 0, {}},
      {"ID3\x05\0\0\0\0\0\1"s, 11, {"1 ID3 tag version 2.5 is incompatible (max 2.4)"}},
      {"ID3\xFF\0\0\0\0\0\1"s, 11, {}},
  };
  for (const Case& c : cases) {
    const LogWatch log;
    EXPECT_EQ(GetV2TagSize(Bytes(c.header)), c.size);
    EXPECT_EQ(LogWatch::Messages(), c.log);
  }
}

TEST(V2Frames, FillTheirFields) {
  struct Case {
    const char* id;
    const char* id22;
    TagText V2Values::*text;
    NarrowText V2Values::*narrow;
  };
  const Case cases[] = {
      {"TIT2", "TT2", &V2Values::title, nullptr},
      {"TPE1", "TP1", &V2Values::artist, nullptr},
      {"TALB", "TAL", &V2Values::album, nullptr},
      {"TCON", "TCO", &V2Values::genre, nullptr},
      {"TCOM", "TCM", &V2Values::composer, nullptr},
      {"TCOP", "TCR", &V2Values::copyright, nullptr},
      {"TOPE", "TOA", &V2Values::originalArtist, nullptr},
      {"TENC", "TEN", nullptr, &V2Values::encodedBy},
      {"TPE3", "TP3", &V2Values::conductor, nullptr},
      {"TEXT", "TXT", &V2Values::lyricist, nullptr},
      {"TPUB", "TPB", &V2Values::publisher, nullptr},
      {"TPE2", "TP2", &V2Values::albumArtist, nullptr},
      {"TIT1", "TT1", &V2Values::contentGroup, nullptr},
      {"TIT3", "TT3", &V2Values::subtitle, nullptr},
      {"TSSE", "TSS", &V2Values::encoderSettings, nullptr},
      {"TSRC", "TRC", nullptr, &V2Values::isrc},
      {"TDRL", "TDR", nullptr, &V2Values::releaseTime},
      {"TDRC", nullptr, nullptr, &V2Values::recordingTime},
      {"TBPM", "TBP", nullptr, &V2Values::bpm},
      {"TKEY", "TKE", nullptr, &V2Values::initialKey},
      {"TPRO", nullptr, nullptr, &V2Values::producedNotice},
      {"TMOO", nullptr, nullptr, &V2Values::mood},
      {"TGID", "TID", &V2Values::podcastId, nullptr},
      {"WFED", "WFD", nullptr, &V2Values::podcastFeedUrl},
      {"WFD ", nullptr, nullptr, &V2Values::podcastFeedUrl},
      {"TDES", "TDS", &V2Values::podcastDescription, nullptr},
      {"TSWC", nullptr, nullptr, &V2Values::iswc},
  };
  for (const Case& c : cases) {
    for (const int version : {2, 3, 4}) {
      const char* id = version == 2 ? c.id22 : c.id;
      if (id == nullptr) {
        continue;
      }
      SCOPED_TRACE(id);
      ID3Tag tag;
      const Lines log = Parse(tag, V2Tag(version, Frame(version, id, "\0text"s)));
      const auto value = [&] {
        return std::string(c.text != nullptr ? Narrow(tag.*c.text) : (tag.*c.narrow).value_or(""));
      };
      EXPECT_EQ(value(), "text");
      EXPECT_TRUE(tag.v2Present);
      EXPECT_EQ(tag.v2Version, version);
      // Frames of 2.4 alone are named as non-standard in 2.3, and taken all the same.
      EXPECT_EQ(log.empty(), version != 3 || std::string_view("TDRL TDRC TPRO TMOO").find(id) ==
                                                 std::string_view::npos);
      // A second frame of the kind changes only the fields that the last one fills.
      Parse(tag, V2Tag(version, Frame(version, id, "\0more"s)));
      const bool isLastOne = std::string_view("TDRL TDR TDRC").find(id) != std::string_view::npos;
      EXPECT_EQ(value(), isLastOne ? "more" : "text");
    }
  }
}

TEST(V2Frames, TakeTheirEncoding) {
  struct Case {
    std::string data;
    std::string expected;
    bool present;
    Lines log;
  };
  const Case cases[] = {
      {"\0Ab"s, "Ab", true, {}},
      {"\1\xFF\xFE" + Utf16Le(u"Ab"), std::string(kMark) + Utf16Le(u"Ab"), true, {}},
      {"\1\xFE\xFF\0A"s, std::string(kMark) + Utf16Le(u"A"), true, {}},
      {"\1" + Utf16Le(u"Ab"), "", false, {}},
      {"\1", "", false, {}},
      {"\2\0A\0b"s, std::string(kMark) + Utf16Le(u"Ab"), true, {}},
      {"\3Ab", std::string(kMark) + Utf16Le(u"Ab"), true, {}},
      {"\4Ab", "", false, {"1 Unknown Unicode type 4 found for frame ID TIT2"}},
      {"\xFF", "", false, {"1 Unknown Unicode type 255 found for frame ID TIT2"}},
      {"\0"s, "", true, {}},  // an empty text is a text
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.data));
    ID3Tag tag;
    EXPECT_EQ(Parse(tag, V2Tag(4, Frame(4, "TIT2", c.data))), c.log);
    EXPECT_EQ(tag.title.IsPresent(), c.present);
    EXPECT_EQ(tag.title.text.substr(0, c.expected.size()), c.expected);
  }
  ID3Tag narrow;
  Parse(narrow, V2Tag(4, Frame(4, "TIT2", "\2\0A\0b\3\xB2"s)), false);
  EXPECT_EQ(Narrow(narrow.title), "Ab");
  EXPECT_EQ(narrow.title.encoding, 0U);
}

TEST(V2Frames, NumbersWithCounts) {
  struct Case {
    std::string text;
    std::uint16_t track, trackCount, disc, discCount;
  };
  constexpr std::uint16_t kNone = 65535;
  const Case cases[] = {
      {"3", 3, kNone, 3, kNone},
      {"3/12", 3, 12, 3, 12},
      {"/12", kNone, 12, 0, 12},
      {"x", 0, kNone, 0, kNone},
      {" 4/ 5x", 4, 5, 4, 5},
      {"-1/", kNone, 0, kNone, 0},
      {"", 0, kNone, 0, kNone},
      {"65537", 1, kNone, 1, kNone},
      {"99999999999", kNone, kNone, kNone, kNone},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    ID3Tag tag;
    Parse(tag, V2Tag(3, Frame(3, "TRCK", '\0' + c.text) + Frame(3, "TPOS", '\0' + c.text)));
    EXPECT_EQ(tag.track, c.track);
    EXPECT_EQ(tag.trackCount, c.trackCount);
    EXPECT_EQ(tag.disc, c.disc);
    EXPECT_EQ(tag.discCount, c.discCount);
  }
}

TEST(V2Frames, GenreReferences) {
  const std::pair<std::string, std::string> cases[] = {
      {"\0(17)"s, "Rock"},
      {"\0(17)Rock"s, "Rock"},
      {"\0(12)"s, "Other"},
      {"\0(125)x"s, "Dance Hall"},
      {"\0(126)x"s, "x"},
      {"\0(200)Trance"s, "Trance"},
      {"\0Trance"s, "Trance"},
      {"\0Drum (live)"s, ""},
      {"\0(RX)"s, "Blues"},
      {"\0()"s, "Blues"},
      {"\0(-1)x"s, "x"},
      {"\0Drum (live"s, "Drum (live"},
      {"\3(17)"s, "Rock"},
      {"\0(99999999999)x"s, "x"},
      {"\1\xFF\xFE" + Utf16Le(u"(17)"), ""},
      // Behind the parenthesis the narrow text is read by the frame's encoding once more.
      {"\1\xFF\xFE" + Utf16Le(u"(200)abc"), "c"},
  };
  for (const auto& [data, expected] : cases) {
    SCOPED_TRACE(::testing::PrintToString(data));
    ID3Tag tag;
    Parse(tag, V2Tag(4, Frame(4, "TCON", data)));
    EXPECT_TRUE(tag.genre.IsPresent());
    EXPECT_EQ(Narrow(tag.genre), expected);
    EXPECT_EQ(tag.genre.encoding, 0U);
  }
}

TEST(V2Frames, CommentsAndLyrics) {
  struct Case {
    std::string data;
    std::string comment;  // "-": none
    std::string lyrics;
  };
  const std::string wide = std::string(kMark) + Utf16Le(u"ab");
  const Case cases[] = {
      {"\0engdesc\0ab"s, "ab", "ab"},
      {"\0eng\0"s, "", ""},
      {"\0engdesc"s, "-", "-"},
      {"\0en"s, "-", "-"},
      {"\0engiTunNORM\0ab"s, "-", "ab"},
      {"\x09"
       "eng\0ab"s,
       "ab", "ab"},
      {"\1eng\xFF\xFE\0\0"s + wide, wide, wide},
      {"\1eng\xFF\xFE"s + Utf16Le(u"iTunX") + "\0\0"s + wide, "-", wide},
      {"\1eng\xFE\xFF\0i\0T\0u\0n\0\0"s + wide, "-", wide},
      {"\1eng\xFF\xFE"s + Utf16Le(u"中iTun") + "\0\0"s + wide, wide, wide},
      {"\1eng\xFF\xFE"s + Utf16Le(u"iTu") + "\0\0"s + wide, wide, wide},
      {"\1eng\0\0"s + Utf16Le(u"ab"), Utf16Le(u"ab"), Utf16Le(u"ab")},
      {"\1eng\0\0\0a\0b"s, "-", "-"},
      {"\1eng\xFF\xFEx\0\0"s, "-", "-"},  // no terminator at an even distance
      {"\2eng\0\0\xFE\xFF\0a\0b"s, wide, wide},
      {"\3eng\0ab"s, "-", "-"},
      {"\3eng\0abc"s, std::string(kMark) + Utf16Le(u"abc"), std::string(kMark) + Utf16Le(u"abc")},
      {"\3eng\0abc\0"s, std::string(kMark) + Utf16Le(u"abc"), std::string(kMark) + Utf16Le(u"abc")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.data));
    ID3Tag tag;
    Parse(tag, V2Tag(3, Frame(3, "COMM", c.data) + Frame(3, "USLT", c.data)));
    EXPECT_EQ(tag.comment.IsPresent() ? tag.comment.text.substr(0, c.comment.size()) : "-",
              c.comment);
    EXPECT_EQ(tag.lyrics.IsPresent() ? tag.lyrics.text.substr(0, c.lyrics.size()) : "-", c.lyrics);
    EXPECT_TRUE(tag.rawFrames.empty());
  }
}

TEST(V2Frames, Pictures) {
  const std::string jpeg = "\xFF\xD8\xFF\xE0";
  struct Case {
    std::string id;
    std::string data;
    std::string format;  // empty: no picture
    Lines log;
  };
  const Case cases[] = {
      {"APIC", "\0image/jpeg\0\3d\0"s + jpeg, "jpeg", {}},
      {"APIC", "\0IMAGE/JPG\0\3\0"s + jpeg, "jpeg", {}},
      {"APIC", "\1image/png\0\3d\0\0\0\x89PNG"s, "png", {}},
      {"APIC", "\0image/gif\0\3\0GIF8"s, "gif", {}},
      {"APIC", "\0image/bmp\0\3\0BM\0\0"s, "bmp", {}},
      {"APIC", "\0image/tiff\0\3\0MM\0\x2A"s, "tiff", {}},
      {"APIC", "\0image/tif\0\3\0II\x2A\0"s, "", {}},
      {"APIC", "\0image/png\0\3\0"s + jpeg, "", {}},
      {"APIC", "\0image/jpegx\0\3\0"s + jpeg, "", {}},
      {"APIC", "\0image/jpeg\0\3\0\xFF\xD8\xFF"s, "", {}},
      {"APIC", "\0image/jpeg\0\3desc"s, "", {}},
      {"APIC", "\0\0\3\0"s + jpeg, "", {"1 Invalid picture MIME "}},
      {"APIC", "\0"s, "", {"1 Invalid picture MIME "}},
      {"PIC", "\0png\3d\0\x89PNG"s, "png", {}},
      {"PIC", "\0JPG\3\0"s + jpeg, "jpeg", {}},
      {"PIC", "\0GIF\3\0GIF8"s, "", {}},
      {"PIC", "\0JP"s, "", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.data));
    const int version = c.id.size() == 3 ? 2 : 3;
    ID3Tag tag;
    EXPECT_EQ(Parse(tag, V2Tag(version, Frame(version, c.id, c.data))), c.log);
    ASSERT_EQ(tag.pictures.size(), c.format.empty() ? 0U : 1U);
    if (!c.format.empty()) {
      EXPECT_EQ(tag.pictures[0].format.data(), c.format);
      EXPECT_GE(tag.pictures[0].data.size(), 4U);
    }
    ID3Tag without;
    without.keepPictures = false;
    EXPECT_EQ(Parse(without, V2Tag(version, Frame(version, c.id, c.data))), c.log);
    EXPECT_TRUE(without.v2Present && without.pictures.empty());
  }
}

TEST(V2Frames, OtherValues) {
  ID3Tag tag;
  const std::string wideUrl = "\1\xFF\xFE"s + Utf16Le(u"d") + "\0\0http://u/\xE4"s;
  Parse(tag, V2Tag(4, Frame(4, "WXXX", wideUrl) + Frame(4, "WOAR", "http://a/") +
                          Frame(4, "UFID", "own\0"s + std::string(70, 'i')) +
                          Frame(4, "POPM", "e@x\0\x80\0\0"s) + Frame(4, "TCMP", "\0001"s) +
                          Frame(4, "PCST", "\0\0\0\0"s) + Frame(4, "TRTG", "\0004"s) +
                          Frame(4, "TXXX", "\0d\0v"s) + Frame(4, "TXXX", "\1d"s) +
                          Frame(4, "MCDI", "cd"s) + Frame(4, "TYER", "\00020245"s)));
  EXPECT_EQ(tag.userUrl, "http://u/\xE4");
  EXPECT_EQ(tag.artistUrl, "http://a/");
  EXPECT_EQ(tag.ufidOwner, "own");
  EXPECT_EQ(tag.ufidSize, 64U);
  EXPECT_EQ(tag.ufidData[63], std::byte{'i'});
  EXPECT_EQ(tag.ratingEmail, "e@x");
  EXPECT_EQ(tag.rating, 0x80);
  EXPECT_TRUE(tag.compilation);
  EXPECT_TRUE(tag.podcast);
  EXPECT_EQ(tag.advisory, 4U);
  EXPECT_EQ(tag.musicCdId, "cd");
  EXPECT_STREQ(tag.year.data(), "2024");
  ASSERT_EQ(tag.userTexts.size(), 1U);
  EXPECT_EQ(Narrow(tag.userTexts[0].description), "d");
  EXPECT_EQ(Narrow(tag.userTexts[0].value), "v");

  ID3Tag edge;
  Parse(edge,
        V2Tag(3, Frame(3, "TRTG", "\0\2"s) + Frame(3, "UFID", "own") + Frame(3, "POPM", "e@x") +
                     Frame(3, "TCMP", "\0002"s) + Frame(3, "TCMP", "\0001"s)));
  EXPECT_EQ(edge.advisory, 2U);
  EXPECT_EQ(edge.ufidOwner, "own");
  EXPECT_EQ(edge.ufidSize, 0U);
  EXPECT_EQ(edge.rating, 0);
  EXPECT_TRUE(edge.compilation);
}

TEST(V2Frames, WithoutAField) {
  const std::string frames = Frame(3, "TIT2", "\0one"s) + Frame(3, "TIT2", "\0two"s) +
                             Frame(3, "XYZW", "data") + Frame(3, "TXXX", "\0d\0v"s) +
                             Frame(3, "TDR", "\0002024"s).insert(3, 1, '\0');
  struct Case {
    ExtraFramesMode mode;
    Lines log;
    std::vector<std::string> raw;
  };
  const std::string xyzw = "1 Non-standard 2.3 tag ID found 'XYZW' (size 4)";
  const std::string tdr = "1 Non-standard 2.3 tag ID found 'TDR' (size 5)";
  const Case cases[] = {
      {ExtraFramesMode::kIgnore, {xyzw, tdr}, {}},
      {ExtraFramesMode::kKeepKnown,
       {"3 Adding non-standard tag field 'TIT2'", xyzw, tdr},
       {"TIT2"}},
      {ExtraFramesMode::kKeepAll,
       {"3 Adding unsupported but valid tag field 'TIT2'", xyzw,
        "3 Adding unsupported but valid tag field 'XYZW'", tdr},
       {"TIT2", "XYZW"}},
  };
  for (const Case& c : cases) {
    ID3Tag tag;
    tag.extraFramesMode = c.mode;
    EXPECT_EQ(Parse(tag, V2Tag(3, frames)), c.log);
    EXPECT_EQ(Narrow(tag.title), "one");
    EXPECT_EQ(tag.userTexts.size(), c.mode == ExtraFramesMode::kIgnore ? 0U : 1U);
    EXPECT_EQ(tag.releaseTime.has_value(), c.mode != ExtraFramesMode::kIgnore);
    std::vector<std::string> raw;
    for (const TagRawFrame& frame : tag.rawFrames) {
      raw.emplace_back(frame.id.data());
    }
    EXPECT_EQ(raw, c.raw);
    if (!raw.empty()) {
      EXPECT_EQ(tag.rawFrames[0].data.size(), 4U);
    }
  }
  ID3Tag old;
  EXPECT_EQ(Parse(old, V2Tag(2, Frame(2, "BUF", "data") + Frame(2, "XYZ", "data"))),
            (Lines{"3 Adding non-standard tag field 'BUF'",
                   "2 Copying all tag data is not supported for frame ID BUF in version 2.2",
                   "1 Non-standard 2.2 tag ID found 'XYZ' (size 4)"}));
  EXPECT_TRUE(old.rawFrames.empty());
}

TEST(V2Walk, EndsWhereTheTagIsFaulty) {
  struct Case {
    std::string tag;
    bool present;
    std::string title;
    Lines log;
  };
  const std::string title = Frame(3, "TIT2", "\0t"s);
  const auto extended = [](int version, const std::string& size, const std::string& rest) {
    return V2Tag(version, size + rest, 0x40);
  };
  const Case cases[] = {
      {V2Tag(3, "\0\0\0\0"s + title), true, "", {}},
      {V2Tag(3, title, 0x80),
       true,
       "",
       {"2 Warning: Unsynchronisation is not supported in version 2.3"}},
      {V2Tag(4, Frame(4, "TIT2", "\0t"s), 0x80), true, "t", {}},
      {V2Tag(5, Frame(4, "TIT2", "\0t"s)),
       true,
       "t",
       {"2 Warning: Tag version 2.5 found (max allowed is 2.4)"}},
      {V2Tag(0x80, Frame(2, "TT2", "\0t"s)), true, "t", {}},
      {V2Tag(3, title + "TI"), true, "t", {"1 Failed to get the 2.3 frame ID (24:26)"}},
      {V2Tag(3, title + "TPE1\0\0"s), true, "t", {"1 Failed to get the frame size (28:32)"}},
      {V2Tag(2, Frame(2, "TT2", "\0t"s) + "TP"),
       true,
       "t",
       {"1 Failed to read the 2.2 frame ID (20:22)"}},
      {V2Tag(2, Frame(2, "TT2", "\0t"s) + "TP1\0\0"s),
       false,
       "t",
       {"1 Failed to read the version 2 tag data (pos: 18)"}},
      {V2Tag(3, title + Frame(3, "TPE1", "")),
       true,
       "t",
       {"1 Tag 2.3 frame TPE1 size error (0, max 32)"}},
      {V2Tag(3, title + "TPE1\0\0\1\0\0\0"s),
       true,
       "t",
       {"1 Tag 2.3 frame TPE1 size error (256, max 32)"}},
      {V2Tag(3, title + "TPE1\0\0\0\x14\0\0abc"s),
       true,
       "t",
       {"1 Frame buffer size mismatch (20:256 3)"}},
      {V2Tag(4, "TIT2\0\0\0\3\0\1\0\0\0x"s), true, "", {"1 Frame buffer size mismatch (-1:256 0)"}},
      {V2Tag(4, "TIT2\0\0\0\4\0\1\0\0\0\1"s), true, "", {}},
      {V2Tag(4, "TIT2\0\0\0\6\0\1\0\0\0\1\0t"s), true, "t", {}},
      {V2Tag(4, "TIT2\0\0\0\5\0\2\0\xFF\0t\0"s), true, "\xFFt", {}},
      {extended(3, Big32(6), std::string(6, 'x') + title), true, "t", {}},
      {extended(4, Syncsafe(6), std::string(6, 'x') + Frame(4, "TIT2", "\0t"s)), true, "t", {}},
      {extended(3, "\xFF\xFF\xFF\xFF", title), true, "", {}},
      {extended(3, "\0"s, ""), false, "", {"1 Failed to read the version 2 tag data (pos: 10)"}},
      {"ID3\3", false, "", {"1 Failed to read the version 2 tag data (pos: 0)"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.tag));
    ID3Tag tag;
    EXPECT_EQ(Parse(tag, c.tag), c.log);
    EXPECT_EQ(tag.v2Present, c.present);
    EXPECT_EQ(Narrow(tag.title), c.title);
  }
}

TEST(V2Walk, FindsPlainSizesIn24) {
  const std::string text = '\0' + std::string(255, 'x');
  const std::string plain = "TIT2\0\0\1\0\0\0"s + text;  // 256 bytes; 128 when read as syncsafe
  struct Case {
    std::string frames;
    std::size_t titleLength;
    bool present;
    Lines log;
  };
  const std::string next = Frame(4, "TPE1", "\0a"s);
  const Case cases[] = {
      {plain + next, 255, true, {}},
      // 128 bytes from the text's start stand letters: the syncsafe reading holds.
      {"TIT2\0\0\1\0\0\0"s + '\0' + std::string(127, 'x') + next, 127, true, {}},
      {"TIT2\0\0\1\0\0\0"s + '\0' + std::string(127, 'x') + "\0pad"s, 127, true, {}},
      {"TIT2\0\0\1\0\0\0"s + '\0' + std::string(127, 'x') + "?*",
       0,
       true,
       {"1 Failed to read the 2.4 non-syncsafe frame (150:276)"}},
      {"TIT2\0\0\1\0\0\0"s + '\0' + std::string(127, 'x') + "?" + std::string(127, 'x') + "??",
       0,
       false,
       {"1 Failed to validate the tag position after a non-syncsafe frame"}},
      {"TIT2\0\0\1\0\0\0"s + '\0' + std::string(127, 'x') + "?" + std::string(127, 'x') + "Ab",
       255,
       true,
       {"1 Failed to get the 2.4 frame ID (278:280)"}},
  };
  for (const Case& c : cases) {
    ID3Tag tag;
    std::string frames = c.frames;
    if (c.titleLength == 255) {
      frames[10 + 128] = '?';  // no frame begins where the syncsafe reading ends
    }
    EXPECT_EQ(Parse(tag, V2Tag(4, frames)), c.log);
    EXPECT_EQ(tag.title.length, c.titleLength);
    EXPECT_EQ(tag.v2Present, c.present);
  }
}

}  // namespace
}  // namespace tagsmith::test
