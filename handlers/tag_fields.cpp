#include "handlers/tag_fields.h"

#include <limits>

#include "format/bounded.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

// ---- Texts ------------------------------------------------------------------------------------

template <typename Source>
Value Text(const Source& source) {
  Value value(std::in_place_type<WideText>);
  std::get<WideText>(value).Set(source);
  return value;
}

template <auto Member>
Value ReadText(const ID3Tag& tag) {
  return Text(tag.*Member);
}

/// The values of a field that holds several.
template <auto Member, auto List>
Value ReadTexts(const ID3Tag& tag) {
  const std::vector<TagText>& list = tag.*List;
  if (list.empty()) {
    return ReadText<Member>(tag);
  }
  WideTexts texts;
  for (const TagText& text : list) {
    WideText wide;
    wide.Set(text);
    texts.emplace_back(wide.Get());
  }
  return texts;
}

template <auto Member>
Value ReadV1Text(const ID3Tag& tag) {
  return Text((tag.*Member).data());
}

Value ReadV1Genre(const ID3Tag& tag) { return Text(tag.v1GenreName); }

Value ReadArtistOrUserUrl(const ID3Tag& tag) {
  return Text(tag.artistUrl && !tag.artistUrl->empty() ? tag.artistUrl : tag.userUrl);
}

/// "disc/count", where both are known, or what the standard reading makes of them.
Value ReadPartOfSet(const ID3Tag& tag) {
  if (tag.partOfSet) {
    return Text(tag.partOfSet);
  }
  if (tag.disc == kUnknownNumber || tag.discCount == kUnknownNumber) {
    return {};
  }
  Value value(std::in_place_type<WideText>);
  FormatBounded(std::get<WideText>(value).Buffer(), L"%d/%d", int{tag.disc}, int{tag.discCount});
  return value;
}

/// A single star is followed by a blank where several have their "s".
Value ReadStars(const ID3Tag& tag) {
  const std::uint32_t stars = tag.GetRatingStars();
  if (stars == 0) {
    return {};
  }
  Value value(std::in_place_type<WideText>);
  FormatBounded(std::get<WideText>(value).Buffer(), L"%d star%c", static_cast<int>(stars),
                stars < 2 ? L' ' : L's');
  return value;
}

// ---- Numbers and flags ------------------------------------------------------------------------

/// On the scale of the property system, 1 to 99; 0 without a rating.
Value ReadRating(const ID3Tag& tag) {
  constexpr std::uint32_t kRatingOfStars[] = {0, 1, 25, 50, 75, 99};
  return kRatingOfStars[tag.GetRatingStars()];
}

template <auto Member>
Value ReadYear(const ID3Tag& tag) {
  const std::int32_t year = ParseDecimal((tag.*Member).data());
  return year != 0 ? Value(year) : Value();
}

template <auto Member, std::int32_t Unknown>
Value ReadTrack(const ID3Tag& tag) {
  const std::int32_t track = tag.*Member;
  return track < Unknown ? Value(track) : Value();
}

template <auto Member>
Value ReadFlag(const ID3Tag& tag) {
  return tag.*Member;
}

/// In units of 100 nanoseconds.
Value ReadDuration(const ID3Tag& tag) { return tag.details.durationTicks; }

/// In bits per second.
Value ReadBitRate(const ID3Tag& tag) {
  constexpr std::uint32_t kBitsPerKilobit = 1000;
  return tag.details.bitRate * kBitsPerKilobit;
}

/// In hertz, truncated; saturates.
Value ReadSampleRate(const ID3Tag& tag) {
  constexpr auto kLargest = std::numeric_limits<std::uint32_t>::max();
  const float rate = tag.GetSampleRate();
  return rate < static_cast<float>(kLargest) ? static_cast<std::uint32_t>(rate) : kLargest;
}

// ---- The table --------------------------------------------------------------------------------

using namespace property_keys;
constexpr auto kProperties = ShownIn::kProperties;
constexpr auto kInColumns = ShownIn::kColumns;

// clang-format off
constexpr Field kV2Fields[] = {
    {kTitle,          ReadText<&ID3Tag::title>},
    {kSongTitle,      ReadText<&ID3Tag::title>, kInColumns},
    {kSubTitle,       ReadText<&ID3Tag::subtitle>},
    {kRating,         ReadRating, kProperties},
    {kRating,         ReadStars, kInColumns},
    {kComment,        ReadText<&ID3Tag::comment>},
    {kSongComment,    ReadText<&ID3Tag::comment>, kInColumns},
    {kArtist,         ReadTexts<&ID3Tag::artist, &ID3Tag::artists>},
    {kAuthor,         ReadText<&ID3Tag::artist>, kInColumns},
    {kAlbumArtist,    ReadText<&ID3Tag::albumArtist>},
    {kAlbumTitle,     ReadText<&ID3Tag::album>},
    {kYear,           ReadYear<&ID3Tag::year>},
    {kTrackNumber,    ReadTrack<&ID3Tag::track, kUnknownNumber>},
    {kGenre,          ReadTexts<&ID3Tag::genre, &ID3Tag::genres>},
    {kPublisher,      ReadText<&ID3Tag::publisher>},
    {kEncodedBy,      ReadText<&ID3Tag::encodedBy>},
    {kTargetUrl,      ReadText<&ID3Tag::userUrl>, kProperties},
    {kAuthorUrl,      ReadArtistOrUserUrl, kProperties},
    {kAuthorUrl,      ReadText<&ID3Tag::userUrl>, kInColumns},
    {kCopyright,      ReadText<&ID3Tag::copyright>},
    {kComposer,       ReadTexts<&ID3Tag::composer, &ID3Tag::composers>},
    {kConductor,      ReadTexts<&ID3Tag::conductor, &ID3Tag::conductors>},
    {kContentGroup,   ReadText<&ID3Tag::contentGroup>},
    {kPartOfSet,      ReadPartOfSet},
    {kInitialKey,     ReadText<&ID3Tag::initialKey>},
    {kBeatsPerMinute, ReadText<&ID3Tag::bpm>},
    {kIsCompilation,  ReadFlag<&ID3Tag::compilation>},
    {kOriginalArtist, ReadText<&ID3Tag::originalArtist>},
    {kPodcast,        ReadFlag<&ID3Tag::podcast>},
};

// Columns of the summary set have no value for ID3v1.
constexpr Field kV1Fields[] = {
    {kTitle,       ReadV1Text<&ID3Tag::v1Title>, kProperties},
    {kSongTitle,   ReadV1Text<&ID3Tag::v1Title>, kInColumns},
    {kComment,     ReadV1Text<&ID3Tag::v1Comment>, kProperties},
    {kSongComment, ReadV1Text<&ID3Tag::v1Comment>, kInColumns},
    {kArtist,      ReadV1Text<&ID3Tag::v1Artist>},
    {kAlbumTitle,  ReadV1Text<&ID3Tag::v1Album>},
    {kYear,        ReadYear<&ID3Tag::v1Year>},
    {kTrackNumber, ReadTrack<&ID3Tag::v1Track, kUnknownV1Number>},
    {kGenre,       ReadV1Genre},
};

constexpr Field kAudioFields[] = {
    {kDuration,        ReadDuration},
    {kEncodingBitrate, ReadBitRate},
    {kSampleRate,      ReadSampleRate, kInColumns},
};
// clang-format on

}  // namespace

std::span<const Field> V2Fields() { return kV2Fields; }
std::span<const Field> V1Fields() { return kV1Fields; }

std::span<const Field> AudioFields(const ID3Tag& tag) {
  return tag.details.isMissing ? std::span<const Field>() : kAudioFields;
}

}  // namespace tagsmith
