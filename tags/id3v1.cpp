#include "tags/id3v1.h"

#include "format/bounded.h"
#include "tags/genre_table.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

/// The texts of the block and where they go.
struct V1Text {
  std::size_t offset;
  std::size_t size;  // bytes that are copied at the most
  std::span<char> (*target)(ID3Tag& tag);
};
constexpr V1Text kV1Texts[] = {
    {3, 30, [](ID3Tag& tag) { return std::span<char>(tag.v1Title); }},
    {33, 30, [](ID3Tag& tag) { return std::span<char>(tag.v1Artist); }},
    {63, 30, [](ID3Tag& tag) { return std::span<char>(tag.v1Album); }},
    {93, 4, [](ID3Tag& tag) { return std::span<char>(tag.v1Year); }},
    {97, 29, [](ID3Tag& tag) { return std::span<char>(tag.v1Comment); }},
};
constexpr std::size_t kTrackOffset = 126;
constexpr std::size_t kGenreOffset = 127;

}  // namespace

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
    CopyBounded(text.target(tag), UpToZero(AsText(block.subspan(text.offset, text.size))));
  }
  const auto track = std::to_integer<std::uint8_t>(block[kTrackOffset]);
  tag.v1Track = track == 0 ? kUnknownV1Number : track;
  const auto genre = std::to_integer<std::uint8_t>(block[kGenreOffset]);
  tag.v1Genre = genre < kV1GenreCount ? genre : kGenreOther;
  tag.v1GenreName = GetGenreName(tag.v1Genre);
  tag.v1Present = true;
}

}  // namespace tagsmith
