#include "handlers/property_rows.h"

#include <iterator>
#include <span>

#include "handlers/property_keys.h"
#include "handlers/property_writer.h"
#include "handlers/tag_values.h"
#include "handlers/wide_text.h"
#include "tags/genre_table.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

/// Where the values of one tag go.
struct Target {
  IPropertyStoreCache& cache;
  WideText text;  // what the row before left is one row's default
};

using RowStorer = void (*)(Target& target, const PROPERTYKEY& key, const ID3Tag& tag);

struct PropertyRow {
  const NamedKey& key;
  RowStorer store;
};

// ---- Texts ------------------------------------------------------------------------------------

template <auto Member>
void StoreText(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  target.text.Set(tag.*Member);
  WriteProperty(target.cache, key, target.text.Get());
}

template <auto Member>
void StoreV1Text(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  target.text.Set((tag.*Member).data());
  WriteProperty(target.cache, key, target.text.Get());
}

void StoreV1Genre(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  target.text.Set(GetGenreName(tag.v1Genre));
  WriteProperty(target.cache, key, target.text.Get());
}

/// Without an artist's URL the text of the row before, the user's URL, is stored again: intended.
void StoreAuthorUrl(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  if (tag.artistUrl && !tag.artistUrl->empty()) {
    target.text.Set(tag.artistUrl);
  }
  WriteProperty(target.cache, key, target.text.Get());
}

void StorePartOfSet(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  if (ReadPartOfSet(tag, target.text)) {
    WriteProperty(target.cache, key, target.text.Get());
  }
}

// ---- Numbers ----------------------------------------------------------------------------------

void StoreRating(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  constexpr std::uint32_t kRatingOfStars[] = {0, 1, 25, 50, 75, 99};
  WriteProperty(target.cache, key, kRatingOfStars[tag.GetRatingStars()]);
}

template <auto Member>
void StoreYear(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  const std::int32_t year = ParseDecimal((tag.*Member).data());
  if (year != 0) {
    WriteProperty(target.cache, key, static_cast<std::uint32_t>(year));
  }
}

template <auto Member, std::uint32_t Unknown>
void StoreTrack(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  const std::uint32_t track = tag.*Member;
  if (track < Unknown) {
    WriteProperty(target.cache, key, track);
  }
}

template <auto Member>
void StoreFlag(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  WriteProperty(target.cache, key, tag.*Member);
}

void StoreDuration(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  WriteProperty(target.cache, key, ReadDuration(tag));
}

void StoreBitRate(Target& target, const PROPERTYKEY& key, const ID3Tag& tag) {
  WriteProperty(target.cache, key, ReadBitRate(tag));
}

// ---- The tables -------------------------------------------------------------------------------

using namespace property_keys;

// clang-format off
constexpr PropertyRow kV2Rows[] = {
    {kTitle,          StoreText<&ID3Tag::title>},
    {kSubTitle,       StoreText<&ID3Tag::subtitle>},
    {kRating,         StoreRating},
    {kComment,        StoreText<&ID3Tag::comment>},
    {kArtist,         StoreText<&ID3Tag::artist>},
    {kAlbumArtist,    StoreText<&ID3Tag::albumArtist>},
    {kAlbumTitle,     StoreText<&ID3Tag::album>},
    {kYear,           StoreYear<&ID3Tag::year>},
    {kTrackNumber,    StoreTrack<&ID3Tag::track, kUnknownNumber>},
    {kGenre,          StoreText<&ID3Tag::genre>},
    {kPublisher,      StoreText<&ID3Tag::publisher>},
    {kEncodedBy,      StoreText<&ID3Tag::encodedBy>},
    {kTargetUrl,      StoreText<&ID3Tag::userUrl>},
    {kAuthorUrl,      StoreAuthorUrl},
    {kCopyright,      StoreText<&ID3Tag::copyright>},
    {kComposer,       StoreText<&ID3Tag::composer>},
    {kConductor,      StoreText<&ID3Tag::conductor>},
    {kContentGroup,   StoreText<&ID3Tag::contentGroup>},
    {kPartOfSet,      StorePartOfSet},
    {kInitialKey,     StoreText<&ID3Tag::initialKey>},
    {kBeatsPerMinute, StoreText<&ID3Tag::bpm>},
    {kIsCompilation,  StoreFlag<&ID3Tag::compilation>},
    {kOriginalArtist, StoreText<&ID3Tag::originalArtist>},
    {kPodcast,        StoreFlag<&ID3Tag::podcast>},
};

constexpr PropertyRow kV1Rows[] = {
    {kTitle,       StoreV1Text<&ID3Tag::v1Title>},
    {kComment,     StoreV1Text<&ID3Tag::v1Comment>},
    {kArtist,      StoreV1Text<&ID3Tag::v1Artist>},
    {kAlbumTitle,  StoreV1Text<&ID3Tag::v1Album>},
    {kYear,        StoreYear<&ID3Tag::v1Year>},
    {kTrackNumber, StoreTrack<&ID3Tag::v1Track, kUnknownV1Number>},
    {kGenre,       StoreV1Genre},
};

constexpr PropertyRow kAudioRows[] = {
    {kDuration,        StoreDuration},
    {kEncodingBitrate, StoreBitRate},
};
// clang-format on

void StoreRows(Target& target, std::span<const PropertyRow> rows, const ID3Tag& tag) {
  for (const PropertyRow& row : rows) {
    row.store(target, row.key.key, tag);
  }
}

}  // namespace

void StoreProperties(IPropertyStoreCache& cache, const ID3Tag& tag) {
  Target target{.cache = cache, .text = {}};
  if (tag.v2Present) {
    StoreRows(target, kV2Rows, tag);
  } else if (tag.v1Present) {
    StoreRows(target, kV1Rows, tag);
  }
  StoreRows(target, kAudioRows, tag);
}

}  // namespace tagsmith
