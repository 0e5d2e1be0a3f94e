#include "tools/track_report.h"

#include <concepts>
#include <span>
#include <string_view>

#include "format/bounded.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

// ---- Values as JSON ---------------------------------------------------------------------------

/// The text before its terminator, without the byte-order mark.
std::u16string Decode(const TagText& field) {
  return field.encoding == kLatin1 ? WidenLatin1(UpToZero(field.text)) : DecodeUtf16(field.text);
}

// Narrow texts of tags are ISO-8859-1.
template <std::size_t Size>
std::u16string Widened(const std::array<char, Size>& text) {
  return WidenLatin1(text.data());
}
std::u16string Widened(const NarrowText& text) { return WidenLatin1(text.value_or("")); }

void Write(JsonWriter& json, std::integral auto value) { json.Value(value); }

template <std::size_t Size>
void Write(JsonWriter& json, const std::array<char, Size>& text) {
  json.Value(Widened(text));
}

void Write(JsonWriter& json, const NarrowText& text) {
  text ? json.Value(Widened(text)) : json.Value(nullptr);
}

void Write(JsonWriter& json, const TagText& field) {
  if (!field.IsPresent()) {
    json.Value(nullptr);
    return;
  }
  json.Object([&] {
    json.Member("value", Decode(field));
    json.Member("byteSize", field.ByteSize());
    json.Member("length", field.length);
    json.Member("encoding", field.encoding);
  });
}

void Write(JsonWriter& json, const TagUserText& entry) {
  json.Object([&] {
    json.Member("description", [&] { Write(json, entry.description); });
    json.Member("value", [&] { Write(json, entry.value); });
  });
}

void Write(JsonWriter& json, const TagPicture& picture) {
  json.Object([&] {
    json.Member("format", [&] { Write(json, picture.format); });
    json.Member("size", picture.data.size());
    json.Member("kind", picture.kind);
    json.Member("fnv1a64", HashText(picture.data));
  });
}

void Write(JsonWriter& json, const TagRawFrame& frame) {
  json.Object([&] {
    json.Member("id", [&] { Write(json, frame.id.Text()); });
    json.Member("size", frame.size);
    json.Member("fnv1a64", HashText(frame.Data()));
  });
}

template <typename Entry>
void Write(JsonWriter& json, const BlockList<Entry>& entries) {
  json.Array(entries, [&](const Entry& entry) { Write(json, entry); });
}

void Write(JsonWriter& json, const TagUserTexts& texts) {
  json.Array(texts.Frames(), [&](ByteView frame) { Write(json, texts.Decode(frame)); });
}

// ---- Values for people ------------------------------------------------------------------------

std::string Show(const TagText& field) { return Utf16ToUtf8(Decode(field)); }
std::string Show(const NarrowText& text) { return Utf16ToUtf8(Widened(text)); }
std::string Show(std::uint32_t number) { return number == 0 ? "" : std::to_string(number); }

template <std::size_t Size>
std::string Show(const std::array<char, Size>& text) {
  return Utf16ToUtf8(Widened(text));
}

// ---- The members, in the order of the output --------------------------------------------------

template <auto Member>
const auto& Get(const ID3Tag& tag) {
  if constexpr (requires { tag.*Member; }) {
    return tag.*Member;
  } else {
    return tag.details.*Member;
  }
}

/// A member of the tag: its key in JSON and, where people see it too, its label.
struct MemberRow {
  std::string_view key;
  std::string_view label;
  void (*write)(JsonWriter& json, const ID3Tag& tag);
  std::string (*show)(const ID3Tag& tag);
};

template <auto Member>
constexpr MemberRow Row(std::string_view key) {
  return {
      key, {}, [](JsonWriter& json, const ID3Tag& tag) { Write(json, Get<Member>(tag)); }, nullptr};
}

template <auto Member>
constexpr MemberRow Row(std::string_view key, std::string_view label) {
  MemberRow row = Row<Member>(key);
  row.label = label;
  row.show = [](const ID3Tag& tag) { return Show(Get<Member>(tag)); };
  return row;
}

void WriteUfidData(JsonWriter& json, const ID3Tag& tag) {
  std::string digits;
  for (std::size_t i = 0; i < tag.ufidSize; ++i) {
    std::array<char, 3> pair{};
    FormatBounded(pair, "%02x", std::to_integer<unsigned>(tag.ufidData[i]));
    digits += pair.data();
  }
  json.Value(digits);
}

void WriteRatingStars(JsonWriter& json, const ID3Tag& tag) { Write(json, tag.GetRatingStars()); }

void WriteV1GenreName(JsonWriter& json, const ID3Tag& tag) { json.Value(tag.v1GenreName); }

void WriteSampleRate(JsonWriter& json, const ID3Tag& tag) {
  Write(json, static_cast<std::int64_t>(tag.GetSampleRate()));
}

std::string ShowRatingStars(const ID3Tag& tag) { return Show(tag.GetRatingStars()); }

// clang-format off
constexpr MemberRow kRows[] = {
    Row<&ID3Tag::isMpeg>("isMpeg"),
    Row<&ID3Tag::isAiff>("isAiff"),
    Row<&ID3Tag::isTdf>("isTdf"),
    Row<&ID3Tag::readOnly>("readOnly"),
    Row<&ID3Tag::v1Present>("v1Present"),
    Row<&ID3Tag::v1Loaded>("v1Loaded"),
    Row<&ID3Tag::v2Present>("v2Present"),
    Row<&ID3Tag::v2Loaded>("v2Loaded"),
    Row<&ID3Tag::v2Version>("v2Version"),
    Row<&ID3Tag::title>("title", "Title"),
    Row<&ID3Tag::artist>("artist", "Artist"),
    Row<&ID3Tag::album>("album", "Album"),
    Row<&ID3Tag::comment>("comment", "Comment"),
    Row<&ID3Tag::composer>("composer", "Composer"),
    Row<&ID3Tag::originalArtist>("originalArtist", "Original artist"),
    Row<&ID3Tag::copyright>("copyright", "Copyright"),
    Row<&ID3Tag::genre>("genre", "Genre"),
    Row<&ID3Tag::lyrics>("lyrics", "Lyrics"),
    Row<&ID3Tag::conductor>("conductor", "Conductor"),
    Row<&ID3Tag::lyricist>("lyricist", "Lyricist"),
    Row<&ID3Tag::publisher>("publisher", "Publisher"),
    Row<&ID3Tag::albumArtist>("albumArtist", "Album artist"),
    Row<&ID3Tag::contentGroup>("contentGroup", "Content group"),
    Row<&ID3Tag::subtitle>("subtitle", "Subtitle"),
    Row<&ID3Tag::encoderSettings>("encoderSettings", "Encoder settings"),
    Row<&ID3Tag::podcastId>("podcastId", "Podcast ID"),
    Row<&ID3Tag::podcastDescription>("podcastDescription", "Podcast description"),
    Row<&ID3Tag::year>("year", "Year"),
    Row<&ID3Tag::userUrl>("userUrl", "URL"),
    Row<&ID3Tag::artistUrl>("artistUrl", "Artist URL"),
    Row<&ID3Tag::encodedBy>("encodedBy", "Encoded by"),
    Row<&ID3Tag::musicCdId>("musicCdId"),
    Row<&ID3Tag::isrc>("isrc", "ISRC"),
    Row<&ID3Tag::releaseTime>("releaseTime", "Release time"),
    Row<&ID3Tag::recordingTime>("recordingTime", "Recording time"),
    Row<&ID3Tag::bpm>("bpm", "Beats per minute"),
    Row<&ID3Tag::initialKey>("initialKey", "Initial key"),
    Row<&ID3Tag::ratingEmail>("ratingEmail", "Rated by"),
    Row<&ID3Tag::podcastFeedUrl>("podcastFeedUrl", "Podcast feed"),
    Row<&ID3Tag::producedNotice>("producedNotice", "Produced notice"),
    Row<&ID3Tag::mood>("mood", "Mood"),
    Row<&ID3Tag::iswc>("iswc", "ISWC"),
    Row<&ID3Tag::ufidOwner>("ufidOwner", "File identifier"),
    {"ufidData", {}, WriteUfidData, nullptr},
    Row<&ID3Tag::ufidSize>("ufidSize"),
    Row<&ID3Tag::rating>("rating"),
    {"ratingStars", "Stars", WriteRatingStars, ShowRatingStars},
    Row<&ID3Tag::track>("track"),
    Row<&ID3Tag::trackCount>("trackCount"),
    Row<&ID3Tag::disc>("disc"),
    Row<&ID3Tag::discCount>("discCount"),
    Row<&ID3Tag::compilation>("compilation"),
    Row<&ID3Tag::podcast>("podcast"),
    Row<&ID3Tag::advisory>("advisory", "Advisory"),
    Row<&ID3Tag::userTexts>("userTexts"),
    Row<&ID3Tag::pictures>("pictures"),
    Row<&ID3Tag::rawFrames>("rawFrames"),
    Row<&ID3Tag::v1Title>("v1Title", "Title (V1)"),
    Row<&ID3Tag::v1Artist>("v1Artist", "Artist (V1)"),
    Row<&ID3Tag::v1Album>("v1Album", "Album (V1)"),
    Row<&ID3Tag::v1Year>("v1Year", "Year (V1)"),
    Row<&ID3Tag::v1Comment>("v1Comment", "Comment (V1)"),
    Row<&ID3Tag::v1Track>("v1Track"),
    Row<&ID3Tag::v1Genre>("v1Genre"),
    {"v1GenreName", {}, WriteV1GenreName, nullptr},
    Row<&TrackDetails::versionIndex>("versionIndex"),
    Row<&TrackDetails::layerIndex>("layerIndex"),
    Row<&TrackDetails::protectionBit>("protectionBit"),
    Row<&TrackDetails::channelMode>("channelMode"),
    Row<&TrackDetails::isVbr>("isVbr"),
    Row<&TrackDetails::isEstimated>("isEstimated"),
    Row<&TrackDetails::bitRate>("bitRate"),
    Row<&TrackDetails::bitRateText>("bitRateText"),
    Row<&TrackDetails::sampleRateField>("sampleRateField"),
    {"sampleRate", {}, WriteSampleRate, nullptr},
    Row<&TrackDetails::audioOffset>("audioOffset"),
    Row<&TrackDetails::frameCount>("frameCount"),
    Row<&TrackDetails::copyrightBit>("copyrightBit"),
    Row<&TrackDetails::originBit>("originBit"),
    Row<&TrackDetails::syncLost>("syncLost"),
    Row<&TrackDetails::encoderText>("encoderText", "Encoder"),
    Row<&TrackDetails::duration>("duration"),
    Row<&TrackDetails::durationText>("durationText", "Duration"),
    Row<&TrackDetails::durationTicks>("durationTicks"),
    Row<&TrackDetails::bitsPerSample>("bitsPerSample"),
    Row<&ID3Tag::id3AreaSize>("id3AreaSize"),
    Row<&ID3Tag::fileSize>("fileSize"),
    Row<&ID3Tag::fileSizeText>("fileSizeText", "File size"),
    Row<&ID3Tag::tagVersionText>("tagVersionText", "Tag version"),
};
// clang-format on

// ---- The page for people ----------------------------------------------------------------------

void PrintLine(std::FILE* out, std::string_view label, std::string_view value) {
  if (value.empty()) {
    return;
  }
  constexpr int kLabelWidth = 19;
  std::fprintf(out, "  %-*.*s ", kLabelWidth, static_cast<int>(label.size()), label.data());
  for (const char c : value) {
    if (c == '\n') {
      std::fputs("\n                      ", out);
    } else if (c != '\r') {
      std::fputc(c, out);
    }
  }
  std::fputc('\n', out);
}

std::string ShowNumbers(std::uint16_t number, std::uint16_t count) {
  const auto show = [](std::uint16_t n) {
    return n == kUnknownNumber ? std::string("?") : std::to_string(n);
  };
  if (number == kUnknownNumber && count == kUnknownNumber) {
    return {};
  }
  return count == kUnknownNumber ? show(number) : show(number) + "/" + show(count);
}

std::string ShowAudio(const ID3Tag& tag) {
  constexpr std::string_view kVersions[] = {"MPEG-2.5", "MPEG (reserved)", "MPEG-2", "MPEG-1"};
  constexpr std::string_view kChannels[] = {"stereo", "joint stereo", "dual channel", "mono",
                                            "multi channel"};
  const TrackDetails& details = tag.details;
  std::string text =
      tag.isAiff ? "AIFF"
                 : std::string(kVersions[static_cast<std::size_t>(details.versionIndex) % 4]) +
                       " layer " + std::to_string(details.layerIndex + 1);
  text += ", ";
  text += details.bitRateText[0] != '\0' ? std::string(details.bitRateText.data())
                                         : std::to_string(details.bitRate) + " kbps";
  text += ", " + std::to_string(static_cast<long>(tag.GetSampleRate())) + " Hz";
  if (details.bitsPerSample != 0) {
    text += ", " + std::to_string(details.bitsPerSample) + " bits";
  }
  text += ", ";
  text += kChannels[details.channelMode % std::size(kChannels)];
  return text;
}

void PrintTag(std::FILE* out, const ID3Tag& tag) {
  for (const MemberRow& row : kRows) {
    if (row.show != nullptr) {
      PrintLine(out, row.label, row.show(tag));
    }
  }
  PrintLine(out, "Track", ShowNumbers(tag.track, tag.trackCount));
  PrintLine(out, "Disc", ShowNumbers(tag.disc, tag.discCount));
  PrintLine(out, "Compilation", tag.compilation ? "yes" : "");
  PrintLine(out, "Podcast", tag.podcast ? "yes" : "");
  if (tag.v1Present) {
    PrintLine(out, "Genre (V1)", tag.v1GenreName);
    PrintLine(out, "Track (V1)",
              tag.v1Track == kUnknownV1Number ? "" : std::to_string(tag.v1Track));
  }
  for (const ByteView frame : tag.userTexts.Frames()) {
    const TagUserText entry = tag.userTexts.Decode(frame);
    PrintLine(out, "User text", Show(entry.description) + " = " + Show(entry.value));
  }
  for (const TagPicture& picture : tag.pictures) {
    PrintLine(out, "Picture",
              Show(picture.format) + ", " + std::to_string(picture.data.size()) + " bytes");
  }
  for (const TagRawFrame& frame : tag.rawFrames) {
    PrintLine(out, "Other frame",
              Show(frame.id.Text()) + ", " + std::to_string(frame.size) + " bytes");
  }
}

}  // namespace

void WriteJson(JsonWriter& json, const TrackReport& report) {
  json.Object([&] {
    json.Member("file", report.file);
    json.Member("via", report.viaStream ? "stream" : "file");
    json.Member("scanMode", report.scanMode);
    json.Member("opened", report.opened);
    json.Member("reading", report.reading);
    for (const MemberRow& row : kRows) {
      json.Member(row.key, [&] { row.write(json, *report.tag); });
    }
    json.Member("log", [&] {
      json.Array(report.log.Lines(), [&](const CapturedLine* line) {
        json.Object([&] {
          json.Member("level", line->level);
          json.Member("message", line->message);
        });
      });
    });
  });
}

void PrintText(std::FILE* out, const TrackReport& report) {
  std::fprintf(out, "%s\n", report.file.c_str());
  PrintTag(out, *report.tag);
  PrintLine(out, "Audio",
            report.opened && !report.tag->details.isMissing ? ShowAudio(*report.tag) : "not found");
  for (const CapturedLine* line : report.log.Lines()) {
    PrintLine(out, "Log", line->message);
  }
}

}  // namespace tagsmith
