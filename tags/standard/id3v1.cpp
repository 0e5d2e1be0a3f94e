#include "tags/standard/id3v1.h"

#include "format/bounded.h"
#include "tags/id3v1.h"
#include "tags/standard/genres.h"
#include "tags/text_helpers.h"

namespace tagsmith::standard {

void ReadV1(ID3Tag& tag, ByteView fileEnd) {
  if (fileEnd.size() < kV1BlockSize) {
    return;
  }
  const std::string_view block = AsText(fileEnd.last(kV1BlockSize));
  if (!block.starts_with("TAG")) {
    return;
  }
  const auto read = [&](std::size_t offset, std::size_t size, std::span<char> target) {
    std::string_view text = UpToZero(block.substr(offset, size));
    const std::size_t start = std::min(text.find_first_not_of(' '), text.size());
    text = text.substr(start, text.find_last_not_of(' ') + 1 - start);
    CopyBounded(target, text);
  };
  // ID3v1.1: a zero before the last byte of the comment makes that byte the track.
  constexpr std::size_t kZeroOffset = 125;
  constexpr std::size_t kTrackOffset = 126;
  constexpr std::size_t kGenreOffset = 127;
  const bool hasTrack = block[kZeroOffset] == '\0' && block[kTrackOffset] != '\0';
  read(3, 30, tag.v1Title);
  read(33, 30, tag.v1Artist);
  read(63, 30, tag.v1Album);
  read(93, 4, tag.v1Year);
  read(97, hasTrack ? 28 : 30, tag.v1Comment);
  tag.v1Track = hasTrack ? static_cast<std::uint8_t>(block[kTrackOffset]) : kUnknownV1Number;
  tag.v1Genre = static_cast<std::uint8_t>(block[kGenreOffset]);
  tag.v1GenreName = GenreName(tag.v1Genre);
  tag.v1Present = true;
  tag.v1Loaded = true;
}

}  // namespace tagsmith::standard
