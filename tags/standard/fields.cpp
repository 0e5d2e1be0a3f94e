#include "tags/standard/fields.h"

#include <algorithm>
#include <optional>

#include "format/bounded.h"
#include "tags/platform.h"
#include "tags/standard/genres.h"
#include "tags/standard/pictures.h"
#include "tags/standard/text.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"

namespace tagsmith::standard {
namespace {

// ---- Texts ------------------------------------------------------------------------------------

TextDecoder DecoderOf(ByteView frame) {
  return {frame.subspan(1), std::to_integer<std::uint32_t>(frame[0])};
}

/// The values of a text frame; before 2.4 what follows a terminator does not count (ID3v2.3.0,
/// 4.2). None where the encoding is unknown.
Values FrameValues(const Frame& frame) {
  Values values;
  if (TextDecoder::IsEncoding(frame.body[0])) {
    TextDecoder decoder = DecoderOf(frame.body);
    if (frame.version >= 4) {
      return TakeValues(decoder);
    }
    if (std::u16string text = decoder.Take(); !text.empty()) {
      values.push_back(std::move(text));
    }
  }
  return values;
}

/// The values as one text.
std::u16string FrameText(const Frame& frame) {
  if (!TextDecoder::IsEncoding(frame.body[0])) {
    return {};
  }
  TextDecoder decoder = DecoderOf(frame.body);
  return frame.version >= 4 ? TakeJoined(decoder) : decoder.Take();
}

/// The names in one value of 2.2 or 2.3 (ID3v2.3.0, 4.2.1: TCOM, TEXT, TOPE, TPE1). A slash between
/// two letters on each side is part of a name.
Values SplitNames(std::u16string_view text) {
  constexpr std::size_t kAbbreviation = 2;
  Values names;
  for (std::u16string& name : Split(text, u'/')) {
    if (!names.empty() && names.back().size() == kAbbreviation && name.size() == kAbbreviation) {
      names.back() += u'/' + name;
    } else {
      names.push_back(std::move(name));
    }
  }
  return names;
}

bool SeparatesNames(FrameId id) {
  constexpr FrameId kIds[] = {"TPE1", "TP1", "TCOM", "TCM", "TEXT", "TXT", "TOPE", "TOA"};
  return std::find(std::begin(kIds), std::end(kIds), id) != std::end(kIds);
}

Values FrameNames(const Frame& frame) {
  Values values = FrameValues(frame);
  const bool separates = frame.version < 4 && values.size() == 1 && SeparatesNames(frame.id);
  return separates ? SplitNames(values[0]) : values;
}

/// The one name that a frame holds as a rule; nothing where there are several.
std::optional<std::u16string> OnlyName(const Frame& frame) {
  if (!TextDecoder::IsEncoding(frame.body[0])) {
    return std::u16string();
  }
  TextDecoder decoder = DecoderOf(frame.body);
  std::u16string name = decoder.Take();
  const bool isOnly = frame.version >= 4
                          ? decoder.AtEnd()
                          : name.find(u'/') == std::u16string::npos || !SeparatesNames(frame.id);
  return isOnly ? std::optional(std::move(name)) : std::nullopt;
}

/// The text up to `longest` characters; a pair of surrogates is not cut apart.
std::u16string_view Cut(std::u16string_view text, std::size_t longest) {
  if (text.size() <= longest) {
    return text;
  }
  const bool cutsPair = longest != 0 && text[longest] >= 0xDC00 && IsSurrogate(text[longest]);
  return text.substr(0, longest - (cutsPair ? 1 : 0));
}

TagText CutText(std::u16string_view text, std::size_t longest) {
  return MakeTagText(Cut(text, longest));
}

/// The user-defined text of a frame whose encoding is known.
TagUserText DecodeUserText(ByteView frame) {
  TextDecoder decoder = DecoderOf(frame);
  TagUserText entry;
  entry.description = MakeTagText(decoder.Take());
  entry.value = MakeTagText(TakeJoined(decoder));
  return entry;
}

// ---- Numbers ----------------------------------------------------------------------------------

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// The number that `text` begins with; kUnknownNumber where it begins with none that fits.
std::uint16_t LeadingNumber(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos || !IsDigit(text[start])) {
    return kUnknownNumber;
  }
  const std::int32_t number = ParseDecimal(text.substr(start));
  return number < kUnknownNumber ? static_cast<std::uint16_t>(number) : kUnknownNumber;
}

/// The year of a time stamp (ID3v2.4.0 structure, 4): four digits, wherever they stand in what
/// people write; else the number that the text begins with.
std::string YearOf(std::string_view text) {
  constexpr std::size_t kDigits = 4;
  std::size_t run = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    run = IsDigit(text[i]) ? run + 1 : 0;
    if (run == kDigits) {
      return std::string(text.substr(i + 1 - kDigits, kDigits));
    }
  }
  const std::uint16_t number = LeadingNumber(text);
  const std::string digits = number == kUnknownNumber ? "" : std::to_string(number);
  return digits.empty() ? digits : std::string(kDigits - digits.size(), '0') + digits;
}

}  // namespace

// ---- Fields that hold text --------------------------------------------------------------------

bool FieldFiller::Fill(TagText& field, std::u16string_view text) const {
  if (text.empty() || field.IsPresent()) {
    return text.empty();
  }
  field = CutText(text, tag_.longestText);
  return true;
}

/// Each value of a field that has several, and all of them as one text.
bool FieldFiller::FillAll(TagText& field, std::vector<TagText>& list, const Values& values) const {
  if (values.empty() || field.IsPresent()) {
    return values.empty();
  }
  field = CutText(values.size() == 1 ? values[0] : Join(values), tag_.longestText);
  if (values.size() > 1) {
    std::transform(
        values.begin(), values.end(), std::back_inserter(list),
        [this](const std::u16string& value) { return CutText(value, tag_.longestText); });
  }
  return true;
}

template <TagText V2Values::*Field>
bool FieldFiller::StoreText(const Frame& frame) {
  const std::optional<std::u16string> only = OnlyName(frame);
  return Fill(tag_.*Field, only ? *only : Join(FrameNames(frame)));
}

template <TagText V2Values::*Field, std::vector<TagText> V2Values::*List>
bool FieldFiller::StoreList(const Frame& frame) {
  if (const std::optional<std::u16string> only = OnlyName(frame)) {
    return Fill(tag_.*Field, *only);
  }
  return FillAll(tag_.*Field, tag_.*List, FrameNames(frame));
}

template <NarrowText V2Values::*Field>
bool FieldFiller::StoreNarrow(const Frame& frame) {
  const std::u16string text = FrameText(frame);
  if (text.empty() || tag_.*Field) {
    return text.empty();
  }
  tag_.*Field = NarrowSystemText(Cut(text, tag_.longestText));
  return true;
}

/// A URL is narrow text without an encoding byte (ID3v2.4.0 frames, 4.3); writers put one there all
/// the same.
template <NarrowText V2Values::*Field>
bool FieldFiller::StoreUrl(const Frame& frame) {
  const bool hasEncoding = TextDecoder::IsEncoding(frame.body[0]);
  TextDecoder decoder(
      frame.body.subspan(hasEncoding ? 1 : 0),
      hasEncoding ? std::to_integer<std::uint32_t>(frame.body[0]) : std::uint32_t{kLatin1});
  const std::u16string url = decoder.Take();
  if (url.empty() || tag_.*Field) {
    return url.empty();
  }
  tag_.*Field = NarrowSystemText(Cut(url, tag_.longestText));
  return true;
}

/// Comments and lyrics (ID3v2.4.0 frames, 4.8 and 4.10).
template <TagText V2Values::*Field, bool FieldFiller::*IsPlain>
bool FieldFiller::StoreLanguageText(const Frame& frame) {
  constexpr std::size_t kLanguageEnd = 4;
  if (frame.body.size() <= kLanguageEnd || !TextDecoder::IsEncoding(frame.body[0])) {
    return true;
  }
  TextDecoder decoder(frame.body.subspan(kLanguageEnd),
                      std::to_integer<std::uint32_t>(frame.body[0]));
  const std::u16string description = decoder.Take();
  const std::u16string text = frame.version < 4 ? decoder.Take() : TakeJoined(decoder);
  // A player keeps data of its own in comments that are described so.
  if (text.empty() || description.starts_with(u"iTun")) {
    return true;
  }
  const bool isBetter = description.empty() && !(this->*IsPlain);
  if ((tag_.*Field).IsPresent() && !isBetter) {
    return false;
  }
  tag_.*Field = CutText(text, tag_.longestText);
  this->*IsPlain = description.empty();
  return true;
}

bool FieldFiller::StoreUserText(const Frame& frame) {
  const bool isKept = tag_.keepExtraFrames && tag_.extraFramesMode != ExtraFramesMode::kIgnore;
  if (isKept && TextDecoder::IsEncoding(frame.body[0])) {
    tag_.userTexts.Add(tag_.KeepFrame(frame.body, MemoryOf(frame)), DecodeUserText);
  }
  return true;
}

bool FieldFiller::StoreUserUrl(const Frame& frame) {
  if (!TextDecoder::IsEncoding(frame.body[0])) {
    return true;
  }
  TextDecoder decoder = DecoderOf(frame.body);
  decoder.Take();
  return decoder.AtEnd() || StoreUrl<&V2Values::userUrl>(
                                {.id = frame.id, .version = frame.version, .body = decoder.Rest()});
}

bool FieldFiller::StoreGenre(const Frame& frame) {
  Values genres;
  if (const std::optional<std::u16string> only = OnlyName(frame)) {
    AddGenres(*only, genres);
  } else {
    for (const std::u16string& value : FrameValues(frame)) {
      AddGenres(value, genres);
    }
  }
  return FillAll(tag_.genre, tag_.genres, genres);
}

// ---- Fields that hold numbers -----------------------------------------------------------------

template <std::uint16_t V2Values::*Number, std::uint16_t V2Values::*Count>
bool FieldFiller::StoreNumbers(const Frame& frame) {
  const std::string text = NarrowSystemText(FrameText(frame));
  const std::size_t slash = text.find('/');
  if (tag_.*Number == kUnknownNumber && tag_.*Count == kUnknownNumber) {
    tag_.*Number = LeadingNumber(text);
    if (slash != std::string::npos) {
      tag_.*Count = LeadingNumber(std::string_view(text).substr(slash + 1));
    }
  }
  return true;
}

bool FieldFiller::StoreYear(const Frame& frame) {
  const std::string year = YearOf(NarrowSystemText(FrameText(frame)));
  if (!year.empty() && tag_.year[0] == '\0') {
    tag_.SetYear(year);
  }
  return true;
}

bool FieldFiller::StoreRecordingTime(const Frame& frame) {
  const bool isStored = StoreNarrow<&V2Values::recordingTime>(frame);
  const std::string year = YearOf(tag_.recordingTime.value_or(""));
  if (!year.empty()) {
    tag_.SetYear(year);
  }
  return isStored;
}

bool FieldFiller::StoreCompilation(const Frame& frame) {
  tag_.compilation |= LeadingNumber(NarrowSystemText(FrameText(frame))) == 1;
  return true;
}

bool FieldFiller::StorePodcast(const Frame& /*frame*/) {
  tag_.podcast = true;
  return true;
}

bool FieldFiller::StoreAdvisory(const Frame& frame) {
  const std::uint16_t advisory = LeadingNumber(NarrowSystemText(FrameText(frame)));
  if (tag_.advisory == 0 && advisory != kUnknownNumber) {
    tag_.advisory = advisory;
  }
  return true;
}

/// The first rating that is one (ID3v2.4.0 frames, 4.17): 0 stands for none.
bool FieldFiller::StoreRating(const Frame& frame) {
  ByteView rest = frame.body;
  const std::string_view email = TakeTerminated(rest);
  if (tag_.rating != 0 || rest.empty()) {
    return tag_.rating == 0;
  }
  tag_.ratingEmail = email.substr(0, tag_.longestText);
  tag_.rating = std::to_integer<std::uint8_t>(rest[0]);
  return true;
}

bool FieldFiller::StoreFileIdentifier(const Frame& frame) {
  if (tag_.ufidOwner) {
    return false;
  }
  ByteView identifier = frame.body;
  tag_.ufidOwner = TakeTerminated(identifier).substr(0, tag_.longestText);
  tag_.ufidSize = static_cast<std::uint32_t>(std::min(identifier.size(), tag_.ufidData.size()));
  std::copy_n(identifier.begin(), tag_.ufidSize, tag_.ufidData.begin());
  return true;
}

// ---- Pictures, and frames without a field -----------------------------------------------------

bool FieldFiller::StorePicture(const Frame& frame) {
  const std::optional<PictureData> picture =
      tag_.mostPictures != 0 ? FindPicture(frame) : std::nullopt;
  if (picture && picture->kind != PictureKind::kFileIcon) {
    const bool goesFirst =
        picture->kind == PictureKind::kFrontCover &&
        (tag_.pictures.IsEmpty() ||
         tag_.pictures[0].kind != static_cast<std::uint8_t>(PictureKind::kFrontCover));
    tag_.AddPicture(picture->image, picture->format, static_cast<std::uint8_t>(picture->kind),
                    goesFirst ? PicturePlace::kFirst : PicturePlace::kLast, MemoryOf(frame));
  }
  return true;
}

void FieldFiller::KeepRaw(const Frame& frame) {
  const bool isKept = tag_.extraFramesMode == ExtraFramesMode::kKeepAll ||
                      (tag_.extraFramesMode == ExtraFramesMode::kKeepKnown &&
                       IsKnownFrame(frame.id, frame.version));
  if (isKept && tag_.keepExtraFrames) {
    const ByteView data = tag_.KeepFrame(frame.body, MemoryOf(frame));
    tag_.rawFrames.PushBack({data.data(), static_cast<std::uint32_t>(data.size()), frame.id});
  }
}

// ---- The table --------------------------------------------------------------------------------

/// The number of discs may be left out.
bool FieldFiller::StoreDisc(const Frame& frame) {
  const bool isStored = StoreNumbers<&V2Values::disc, &V2Values::discCount>(frame);
  if (tag_.disc != kUnknownNumber) {
    tag_.partOfSet = std::to_string(tag_.disc);
    if (tag_.discCount != kUnknownNumber) {
      *tag_.partOfSet += '/' + std::to_string(tag_.discCount);
    }
  }
  return isStored;
}

struct FieldFiller::Row {
  FrameId id;    // of 2.3 and 2.4
  FrameId id22;  // of 2.2; it is taken in later tags too
  /// False when the field is filled already: the frame is kept as one without a field.
  bool (FieldFiller::*store)(const Frame& frame);
};

// clang-format off
constexpr FieldFiller::Row FieldFiller::kRows[] = {
    {"TIT2", "TT2", &FieldFiller::StoreText<&V2Values::title>},
    {"TIT1", "TT1", &FieldFiller::StoreText<&V2Values::contentGroup>},
    {"TIT3", "TT3", &FieldFiller::StoreText<&V2Values::subtitle>},
    {"TPE1", "TP1", &FieldFiller::StoreList<&V2Values::artist, &V2Values::artists>},
    {"TPE2", "TP2", &FieldFiller::StoreText<&V2Values::albumArtist>},
    {"TPE3", "TP3", &FieldFiller::StoreList<&V2Values::conductor, &V2Values::conductors>},
    {"TALB", "TAL", &FieldFiller::StoreText<&V2Values::album>},
    {"TRCK", "TRK", &FieldFiller::StoreNumbers<&V2Values::track, &V2Values::trackCount>},
    {"TPOS", "TPA", &FieldFiller::StoreDisc},
    {"TDRC", "",    &FieldFiller::StoreRecordingTime},
    {"TYER", "TYE", &FieldFiller::StoreYear},
    {"TCON", "TCO", &FieldFiller::StoreGenre},
    {"COMM", "COM", &FieldFiller::StoreLanguageText<&V2Values::comment, &FieldFiller::commentIsPlain_>},
    {"USLT", "ULT", &FieldFiller::StoreLanguageText<&V2Values::lyrics, &FieldFiller::lyricsArePlain_>},
    {"APIC", "PIC", &FieldFiller::StorePicture},
    {"TCOM", "TCM", &FieldFiller::StoreList<&V2Values::composer, &V2Values::composers>},
    {"TEXT", "TXT", &FieldFiller::StoreText<&V2Values::lyricist>},
    {"TOPE", "TOA", &FieldFiller::StoreText<&V2Values::originalArtist>},
    {"TPUB", "TPB", &FieldFiller::StoreText<&V2Values::publisher>},
    {"TCOP", "TCR", &FieldFiller::StoreText<&V2Values::copyright>},
    {"TENC", "TEN", &FieldFiller::StoreNarrow<&V2Values::encodedBy>},
    {"TSSE", "TSS", &FieldFiller::StoreText<&V2Values::encoderSettings>},
    {"TBPM", "TBP", &FieldFiller::StoreNarrow<&V2Values::bpm>},
    {"TKEY", "TKE", &FieldFiller::StoreNarrow<&V2Values::initialKey>},
    {"TMOO", "",    &FieldFiller::StoreNarrow<&V2Values::mood>},
    {"TPRO", "",    &FieldFiller::StoreNarrow<&V2Values::producedNotice>},
    {"TSRC", "TRC", &FieldFiller::StoreNarrow<&V2Values::isrc>},
    {"TSWC", "",    &FieldFiller::StoreNarrow<&V2Values::iswc>},
    {"TDRL", "TDR", &FieldFiller::StoreNarrow<&V2Values::releaseTime>},
    {"TCMP", "TCP", &FieldFiller::StoreCompilation},
    {"TRTG", "",    &FieldFiller::StoreAdvisory},
    {"PCST", "PCS", &FieldFiller::StorePodcast},
    {"TGID", "TID", &FieldFiller::StoreText<&V2Values::podcastId>},
    {"TDES", "TDS", &FieldFiller::StoreText<&V2Values::podcastDescription>},
    {"WFED", "WFD", &FieldFiller::StoreUrl<&V2Values::podcastFeedUrl>},
    {"WOAR", "WAR", &FieldFiller::StoreUrl<&V2Values::artistUrl>},
    {"WXXX", "WXX", &FieldFiller::StoreUserUrl},
    {"TXXX", "TXX", &FieldFiller::StoreUserText},
    {"POPM", "POP", &FieldFiller::StoreRating},
    {"UFID", "UFI", &FieldFiller::StoreFileIdentifier},
    {"MCDI", "MCI", &FieldFiller::StoreUrl<&V2Values::musicCdId>},
};
// clang-format on

void FieldFiller::Store(const Frame& frame) {
  static constexpr FrameIdIndex kIndex = IndexRows(kRows);
  const std::optional<std::size_t> row = kIndex.PlaceOf(frame.id);
  if (!row || !(this->*kRows[*row].store)(frame)) {
    KeepRaw(frame);
  }
}

// ---- ID3v1 ------------------------------------------------------------------------------------

void MergeV1(ID3Tag& tag) {
  if (!tag.v1Present) {
    return;
  }
  const auto merge = [&](bool isEmpty, std::string_view text, auto store) {
    if (isEmpty && !text.empty()) {
      store(WidenSystemText(text));
      tag.v1Merged = true;
    }
  };
  const auto mergeText = [&](TagText& field, std::string_view text) {
    merge(!field.IsPresent(), text, [&](const std::u16string& wide) { field = MakeTagText(wide); });
  };
  mergeText(tag.title, tag.v1Title.data());
  mergeText(tag.artist, tag.v1Artist.data());
  mergeText(tag.album, tag.v1Album.data());
  mergeText(tag.comment, tag.v1Comment.data());
  mergeText(tag.genre, tag.v1GenreName);
  if (tag.year[0] == '\0' && tag.v1Year[0] != '\0') {
    tag.SetYear(YearOf(tag.v1Year.data()));
    tag.v1Merged = true;
  }
  if (tag.track == kUnknownNumber && tag.v1Track != kUnknownV1Number) {
    tag.track = tag.v1Track;
    tag.v1Merged = true;
  }
}

}  // namespace tagsmith::standard
