#include "tags/own/id3v1.h"

#include <algorithm>

#include "format/bounded.h"
#include "tags/genre_table.h"
#include "tags/text_helpers.h"

namespace tagsmith {

bool LoadV1Tag(ID3Tag& tag, SourceReader& reader) {
  const ByteView block = reader.Take(kV1BlockSize);
  if (block.size() < kV1BlockSize) {
    return false;
  }
  if (AsText(block).starts_with("TAG")) {
    ParseV1Block(tag, block.first<kV1BlockSize>());
    tag.v1Loaded = true;
  }
  return true;
}

void ParseV1Block(ID3Tag& tag, std::span<const std::byte, kV1BlockSize> block) {
  for (const V1Text& text : kV1Texts) {
    const std::size_t size = std::min(text.size, kV1TrackOffset - text.offset);
    CopyBounded(text.target(tag), UpToZero(AsText(block.subspan(text.offset, size))));
  }
  const auto track = std::to_integer<std::uint8_t>(block[kV1TrackOffset]);
  tag.v1Track = track == 0 ? kUnknownV1Number : track;
  const auto genre = std::to_integer<std::uint8_t>(block[kV1GenreOffset]);
  tag.v1Genre = genre < kV1GenreCount ? genre : kGenreOther;
  tag.v1GenreName = GetGenreName(tag.v1Genre);
  tag.v1Present = true;
}

}  // namespace tagsmith
