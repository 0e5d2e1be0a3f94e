// Which frame fills which field, and how: one table, in the order in which frames are matched.
#include "tags/own/id3v2_frame_table.h"

#include <algorithm>
#include <optional>
#include <string>

#include "diag/log.h"
#include "format/bounded.h"
#include "tags/genre_table.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

/// Stores a frame; false when its field is filled already.
using FrameHandler = bool (*)(ID3Tag& tag, const V2Frame& frame);

// ---- Simple fields ----------------------------------------------------------------------------

template <TagText V2Values::*Field>
bool StoreText(ID3Tag& tag, const V2Frame& frame) {
  if ((tag.*Field).IsPresent()) {
    return false;
  }
  Tag::SetText(frame.Text(), frame.encoding, frame.mode, &(tag.*Field), tag.longestText);
  return true;
}

template <NarrowText V2Values::*Field>
bool StoreLatin1(ID3Tag& tag, const V2Frame& frame) {
  if (tag.*Field) {
    return false;
  }
  tag.*Field =
      ConvertToNarrow(frame.Text(), frame.encoding, TextReduction::kLatin1, tag.longestText);
  return true;
}

template <NarrowText V2Values::*Field>
bool StoreAscii(ID3Tag& tag, const V2Frame& frame) {
  tag.*Field =
      ConvertToNarrow(frame.Text(), frame.encoding, TextReduction::kAscii, tag.longestText);
  return true;
}

bool StoreYear(ID3Tag& tag, const V2Frame& frame) {
  const std::size_t longest = tag.year.size() - 1;
  tag.SetYear(ConvertToNarrow(frame.Text(), frame.encoding, TextReduction::kAscii, longest));
  return true;
}

bool StoreReleaseTime22(ID3Tag& tag, const V2Frame& frame) {
  return tag.extraFramesMode != ExtraFramesMode::kIgnore &&
         StoreAscii<&V2Values::releaseTime>(tag, frame);
}

bool StoreCompilation(ID3Tag& tag, const V2Frame& frame) {
  if (tag.compilation) {
    return false;
  }
  tag.compilation = frame.At(frame.textStart) == std::byte{'1'};
  return true;
}

bool StorePodcast(ID3Tag& tag, const V2Frame&) {
  tag.podcast = true;
  return true;
}

bool StoreAdvisory(ID3Tag& tag, const V2Frame& frame) {
  if (tag.advisory != 0) {
    return false;
  }
  const auto value = std::to_integer<std::uint32_t>(frame.At(frame.textStart));
  tag.advisory = value < '0' ? value : value - '0';
  return true;
}

// ---- Numbers written n/m ----------------------------------------------------------------------

std::uint16_t ParseNumber(std::string_view text) {
  return static_cast<std::uint16_t>(ParseDecimal(text));
}

enum class LeadingSlash { kLeavesNumber, kMakesNumberZero };

/// The raw text is read, whatever its encoding.
void StoreNumbers(const V2Frame& frame, LeadingSlash leadingSlash, std::uint16_t& number,
                  std::uint16_t& count) {
  const std::string_view text = UpToZero(AsText(frame.Text()));
  const std::size_t slash = text.find('/');
  if (slash != 0 || leadingSlash == LeadingSlash::kMakesNumberZero) {
    number = ParseNumber(text);
  }
  if (slash != std::string_view::npos) {
    count = ParseNumber(text.substr(slash + 1));
  }
}

bool StoreTrack(ID3Tag& tag, const V2Frame& frame) {
  StoreNumbers(frame, LeadingSlash::kLeavesNumber, tag.track, tag.trackCount);
  return true;
}

bool StoreDisc(ID3Tag& tag, const V2Frame& frame) {
  StoreNumbers(frame, LeadingSlash::kMakesNumberZero, tag.disc, tag.discCount);
  return true;
}

// ---- Genre ------------------------------------------------------------------------------------

/// The name that "(17)" refers to; nothing when the text does not begin with such a reference.
std::optional<std::string_view> ReferencedGenre(std::string_view rawText) {
  if (!rawText.starts_with('(')) {
    return std::nullopt;
  }
  // No digits count as 0, so "(RX)" refers to the first genre.
  const std::int32_t number = ParseDecimal(rawText.substr(1));
  if (number < 0 || number >= static_cast<std::int32_t>(kGenreCount)) {
    return std::nullopt;
  }
  return GetReferencedGenreName(static_cast<std::size_t>(number));
}

/// What follows the first closing parenthesis among 16-bit units, up to their end, little-endian;
/// at least `longest` units of it. The order is that which narrowing finds.
std::string AfterWideParenthesis(ByteView text, std::size_t longest) {
  const bool isBigEndian = text[0] == std::byte{0xFE} || text[0] == std::byte{0};
  const auto byteAt = [&](std::size_t i) {
    return i < text.size() ? std::to_integer<char>(text[i]) : '\0';
  };
  std::string after;
  bool isAfter = false;
  for (std::size_t i = 0; i < text.size() && after.size() / 2 <= longest; i += 2) {
    const char low = byteAt(i + (isBigEndian ? 1 : 0));
    const char high = byteAt(i + (isBigEndian ? 0 : 1));
    if (isAfter && low == '\0' && high == '\0') {
      break;
    }
    if (isAfter) {
      after += low;
      after += high;
    }
    isAfter = isAfter || (low == ')' && high == '\0');
  }
  return after;
}

bool StoreGenre(ID3Tag& tag, const V2Frame& frame) {
  if (tag.genre.IsPresent()) {
    return false;
  }
  const auto set = [&](std::string_view text, std::uint32_t encoding) {
    Tag::SetText(std::as_bytes(std::span(text)), encoding, TextReduction::kLatin1, &tag.genre,
                 tag.longestText);
  };
  if (const auto name = ReferencedGenre(UpToZero(AsText(frame.Text())))) {
    set(*name, kLatin1);
    return true;
  }
  // A parenthesis is looked for further on than a text is kept, and so are the characters after it.
  constexpr std::size_t kSearched = std::size_t{128} << 10U;
  const std::size_t searched = std::max(kSearched, tag.longestText);
  const std::string narrow =
      ConvertToNarrow(frame.Text(), frame.encoding, TextReduction::kLatin1, searched);
  const std::size_t closing = narrow.find(')');
  if (closing == std::string::npos) {
    return StoreText<&V2Values::genre>(tag, frame);
  }
  if (frame.encoding == kLatin1) {
    set(std::string_view(narrow).substr(closing + 1), kLatin1);
  } else {
    set(AfterWideParenthesis(frame.Text(), searched), frame.encoding);
  }
  return true;
}

// ---- Frames that read their own encoding byte -------------------------------------------------

std::uint32_t OwnEncoding(ByteView frame) {
  const auto encoding = frame.empty() ? kLatin1 : std::to_integer<std::uint32_t>(frame[0]);
  return encoding <= kUtf8 ? encoding : kLatin1;
}

bool IsWide(std::uint32_t encoding) { return encoding == kUtf16 || encoding == kUtf16Be; }

/// A description and what follows its terminator.
struct DescribedData {
  std::uint32_t encoding = kLatin1;
  ByteView description;
  std::size_t start = 0;  // of the data, in the frame
};

/// Nothing when the description, which begins at `start`, has no terminator in the frame.
std::optional<DescribedData> FindDescription(ByteView frame, std::size_t start) {
  const std::uint32_t encoding = OwnEncoding(frame);
  const std::size_t unit = IsWide(encoding) ? 2 : 1;
  for (std::size_t i = start; i + unit <= frame.size(); i += unit) {
    if (frame[i] == std::byte{0} && frame[i + unit - 1] == std::byte{0}) {
      return DescribedData{encoding, frame.subspan(start, i - start), i + unit};
    }
  }
  return std::nullopt;
}

bool BeginsWithMark(ByteView text) {
  return text.size() >= 2 && IsMarkByte(text[0]) && IsMarkByte(text[1]);
}

/// Converts a description or what follows it, `longest` characters at the most. Text in UTF-16BE
/// gets the mark that tells its order, where it has none.
void SetDescribed(ByteView text, std::uint32_t encoding, TextReduction mode, TagText& field,
                  std::size_t longest = kWholeText) {
  if (encoding != kUtf16Be || BeginsWithMark(text)) {
    Tag::SetText(text, encoding, mode, &field, longest);
    return;
  }
  if (longest < text.size() / 2) {
    text = text.first(2 * (longest + 1));  // one too many, which tells that it is cut
  }
  std::vector<std::byte> marked{std::byte{0xFE}, std::byte{0xFF}};
  marked.insert(marked.end(), text.begin(), text.end());
  Tag::SetText(marked, encoding, mode, &field, longest);
}

/// Whether the text of a comment or lyrics frame can be used: its order is told, or it looks like
/// little-endian units. The zeros after the frame count, so that UTF-8 of an odd length passes.
bool IsReadableText(const V2Frame& frame, const DescribedData& data) {
  if (data.encoding == kLatin1 || data.encoding == kUtf16Be ||
      BeginsWithMark(frame.From(data.start))) {
    return true;
  }
  for (std::size_t i = data.start; i < frame.body.size(); i += 2) {
    if (frame.At(i) != std::byte{0} && frame.At(i + 1) == std::byte{0}) {
      return true;
    }
  }
  return false;
}

/// Descriptions of comments that hold a player's data begin so. Of a 16-bit text the units are
/// compared as they stand after the mark, if there is one, in the order that its first byte tells.
bool BeginsWithPlayerMark(const DescribedData& data) {
  constexpr std::string_view kPlayerMark = "iTun";
  ByteView text = data.description;
  if (!IsWide(data.encoding)) {
    return AsText(text).starts_with(kPlayerMark);
  }
  const bool isBigEndian = !text.empty() && (text[0] == std::byte{0xFE} || text[0] == std::byte{0});
  if (BeginsWithMark(text)) {
    text = text.subspan(2);
  }
  if (text.size() < 2 * kPlayerMark.size()) {
    return false;
  }
  for (std::size_t i = 0; i < kPlayerMark.size(); ++i) {
    const std::byte low = text[2 * i + (isBigEndian ? 1 : 0)];
    const std::byte high = text[2 * i + (isBigEndian ? 0 : 1)];
    if (high != std::byte{0} || std::to_integer<char>(low) != kPlayerMark[i]) {
      return false;
    }
  }
  return true;
}

constexpr std::size_t kLanguageEnd = 4;  // encoding byte and three letters

template <TagText V2Values::*Field>
bool StoreLanguageText(ID3Tag& tag, const V2Frame& frame) {
  constexpr bool kIsComment = Field == &V2Values::comment;
  if ((tag.*Field).IsPresent()) {
    return false;
  }
  const auto data = FindDescription(frame.body, kLanguageEnd);
  if (!data || (kIsComment && BeginsWithPlayerMark(*data))) {
    return true;
  }
  if (IsReadableText(frame, *data)) {
    SetDescribed(frame.From(data->start), data->encoding, frame.mode, tag.*Field, tag.longestText);
  }
  return true;
}

template <TextReduction Mode>
TagUserText DecodeUserText(ByteView frame) {
  TagUserText entry;
  if (const auto data = FindDescription(frame, 1)) {
    SetDescribed(data->description, data->encoding, Mode, entry.description);
    SetDescribed(After(frame, data->start), data->encoding, Mode, entry.value);
  }
  return entry;
}

bool StoreUserText(ID3Tag& tag, const V2Frame& frame) {
  if (tag.extraFramesMode == ExtraFramesMode::kIgnore) {
    return false;
  }
  if (tag.keepExtraFrames && FindDescription(frame.body, 1)) {
    tag.userTexts.Add(tag.KeepFrame(frame.body, frame.memory),
                      frame.mode == TextReduction::kKeepUnicode
                          ? DecodeUserText<TextReduction::kKeepUnicode>
                          : DecodeUserText<TextReduction::kLatin1>);
  }
  return true;
}

bool StoreUserUrl(ID3Tag& tag, const V2Frame& frame) {
  if (tag.userUrl) {
    return false;
  }
  if (const auto data = FindDescription(frame.body, 1)) {
    // The URL is ISO-8859-1 whatever the description's encoding is (ID3v2.4.0 frames, 4.3.2).
    tag.userUrl =
        ConvertToNarrow(frame.From(data->start), kLatin1, TextReduction::kLatin1, tag.longestText);
  }
  return true;
}

// ---- Pictures ---------------------------------------------------------------------------------

/// MIME type and first bytes of the image must both fit.
struct PictureFormat {
  std::string_view mimeType;
  bool isPrefix;  // of the MIME type
  std::string_view firstBytes;
  std::string_view word;
};
constexpr PictureFormat kPictureFormats[] = {
    {"image/jpeg", false, "\xFF\xD8", "jpeg"}, {"image/jpg", false, "\xFF\xD8", "jpeg"},
    {"image/tif", true, "MM", "tiff"},  // big-endian only
    {"image/png", false, "\x89PNG", "png"},    {"image/gif", false, "GIF", "gif"},
    {"image/bmp", false, "BM", "bmp"},
};
constexpr std::size_t kMimeTypeSize = 63;  // what is compared of a MIME type
constexpr std::size_t kSmallestPicture = 4;

/// Stores the picture whose type byte stands at `typePosition`.
void StorePictureData(ID3Tag& tag, const V2Frame& frame, std::string_view mimeType,
                      std::size_t typePosition) {
  const auto data = FindDescription(frame.body, typePosition + 1);
  if (!data) {
    return;
  }
  const ByteView image = frame.From(data->start);
  if (image.size() < kSmallestPicture) {
    return;
  }
  for (const PictureFormat& format : kPictureFormats) {
    const std::size_t compared =
        format.isPrefix ? format.mimeType.size() : format.mimeType.size() + 1;
    if (EqualIgnoringCase(mimeType, format.mimeType, compared) &&
        AsText(image).starts_with(format.firstBytes)) {
      tag.AddPicture(image, format.word, 0, PicturePlace::kLast, frame.memory);
      return;
    }
  }
}

bool StorePicture(ID3Tag& tag, const V2Frame& frame) {
  const std::string_view mimeType = UpToZero(AsText(frame.From(1)));
  if (mimeType.empty()) {
    WriteLogLine(kLogError, "Invalid picture MIME %s", "");
    return true;
  }
  StorePictureData(tag, frame, mimeType.substr(0, kMimeTypeSize), 1 + mimeType.size() + 1);
  return true;
}

bool StorePicture22(ID3Tag& tag, const V2Frame& frame) {
  constexpr std::size_t kFormatSize = 3;
  const ByteView format = frame.From(1);
  if (BeginsWithWord(format, "PNG")) {
    StorePictureData(tag, frame, "image/png", 1 + kFormatSize);
  } else if (BeginsWithWord(format, "JPG")) {
    StorePictureData(tag, frame, "image/jpeg", 1 + kFormatSize);
  }
  return true;
}

// ---- Identifier and rating --------------------------------------------------------------------

bool StoreFileIdentifier(ID3Tag& tag, const V2Frame& frame) {
  if (tag.ufidOwner) {
    return false;
  }
  tag.ufidOwner = ConvertToNarrow(frame.body, kLatin1, TextReduction::kLatin1, tag.longestText);
  const ByteView identifier = frame.From(UpToZero(AsText(frame.body)).size() + 1);
  if (!identifier.empty()) {
    tag.ufidSize = static_cast<std::uint32_t>(std::min(identifier.size(), tag.ufidData.size()));
    std::copy_n(identifier.begin(), tag.ufidSize, tag.ufidData.begin());
  }
  return true;
}

bool StoreRating(ID3Tag& tag, const V2Frame& frame) {
  if (tag.ratingEmail) {
    return false;
  }
  tag.ratingEmail = ConvertToNarrow(frame.body, kLatin1, TextReduction::kLatin1, tag.longestText);
  tag.rating = std::to_integer<std::uint8_t>(frame.At(UpToZero(AsText(frame.body)).size() + 1));
  return true;
}

// ---- Frames without a field -------------------------------------------------------------------

void KeepRawFrame(ID3Tag& tag, const V2Frame& frame) {
  const bool keepsAll = tag.extraFramesMode == ExtraFramesMode::kKeepAll;
  if (tag.extraFramesMode == ExtraFramesMode::kIgnore || (!keepsAll && !frame.isKnown)) {
    return;
  }
  const auto id = frame.id.Text();
  if (keepsAll) {
    WriteLogLine(kLogInformation, "Adding unsupported but valid tag field '%s'", id.data());
  } else {
    WriteLogLine(kLogInformation, "Adding non-standard tag field '%s'", id.data());
  }
  if (frame.version <= 2) {
    if (frame.isKnown) {
      WriteLogLine(kLogWarning,
                   "Copying all tag data is not supported for frame ID %s in version 2.%d",
                   id.data(), frame.version);
    }
    return;
  }
  if (!tag.keepExtraFrames) {
    return;
  }
  const ByteView data = tag.KeepFrame(frame.body, frame.memory);
  tag.rawFrames.PushBack({data.data(), static_cast<std::uint32_t>(data.size()), frame.id});
}

// ---- The table --------------------------------------------------------------------------------

struct FrameRow {
  FrameId id;    // of 2.3 and 2.4
  FrameId id22;  // of 2.2; empty: none
  FrameHandler store;
};

// clang-format off
constexpr FrameRow kFrameRows[] = {
    {"TRCK", "TRK", StoreTrack},
    {"TIT2", "TT2", StoreText<&V2Values::title>},
    {"TPE1", "TP1", StoreText<&V2Values::artist>},
    {"TALB", "TAL", StoreText<&V2Values::album>},
    {"TYER", "TYE", StoreYear},
    {"TCON", "TCO", StoreGenre},
    {"COMM", "COM", StoreLanguageText<&V2Values::comment>},
    {"TCOM", "TCM", StoreText<&V2Values::composer>},
    {"TCOP", "TCR", StoreText<&V2Values::copyright>},
    {"TOPE", "TOA", StoreText<&V2Values::originalArtist>},
    {"TENC", "TEN", StoreLatin1<&V2Values::encodedBy>},
    {"WXXX", "WXX", StoreUserUrl},
    {"WOAR", "WAR", StoreLatin1<&V2Values::artistUrl>},
    {"APIC", "",    StorePicture},
    {"",     "PIC", StorePicture22},
    {"USLT", "ULT", StoreLanguageText<&V2Values::lyrics>},
    {"TPE3", "TP3", StoreText<&V2Values::conductor>},
    {"TEXT", "TXT", StoreText<&V2Values::lyricist>},
    {"TPUB", "TPB", StoreText<&V2Values::publisher>},
    {"TPE2", "TP2", StoreText<&V2Values::albumArtist>},
    {"TIT1", "TT1", StoreText<&V2Values::contentGroup>},
    {"TIT3", "TT3", StoreText<&V2Values::subtitle>},
    {"TSSE", "TSS", StoreText<&V2Values::encoderSettings>},
    {"TXXX", "TXX", StoreUserText},
    {"UFID", "UFI", StoreFileIdentifier},
    {"TPOS", "TPA", StoreDisc},
    {"TSRC", "TRC", StoreLatin1<&V2Values::isrc>},
    {"POPM", "POP", StoreRating},
    {"TCMP", "TCP", StoreCompilation},
    {"TDRL", "",    StoreAscii<&V2Values::releaseTime>},
    {"",     "TDR", StoreReleaseTime22},
    {"TDRC", "",    StoreAscii<&V2Values::recordingTime>},
    {"TBPM", "TBP", StoreLatin1<&V2Values::bpm>},
    {"TKEY", "TKE", StoreLatin1<&V2Values::initialKey>},
    {"TPRO", "",    StoreLatin1<&V2Values::producedNotice>},
    {"TMOO", "",    StoreLatin1<&V2Values::mood>},
    {"MCDI", "MCI", StoreLatin1<&V2Values::musicCdId>},
    {"PCST", "PCS", StorePodcast},
    {"TGID", "TID", StoreText<&V2Values::podcastId>},
    {"WFED", "WFD", StoreLatin1<&V2Values::podcastFeedUrl>},
    {"WFD ", "",    StoreLatin1<&V2Values::podcastFeedUrl>},
    {"TDES", "TDS", StoreText<&V2Values::podcastDescription>},
    {"TRTG", "",    StoreAdvisory},
    {"TSWC", "",    StoreLatin1<&V2Values::iswc>},
};
// clang-format on

constexpr FrameIdIndex kRowIndex = IndexRows(kFrameRows);

}  // namespace

bool BeginsWithEncoding(FrameId id) {
  return (id.BeginsWith("T") && !id.BeginsWith("TXX")) || id == "WFD" || id == "WFED" ||
         id == "WFD ";
}

void StoreFrame(ID3Tag& tag, const V2Frame& frame) {
  const std::optional<std::size_t> row = kRowIndex.PlaceOf(frame.id);
  if (!row || !kFrameRows[*row].store(tag, frame)) {
    KeepRawFrame(tag, frame);
  }
}

}  // namespace tagsmith
