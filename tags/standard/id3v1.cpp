#include "tags/standard/id3v1.h"

#include <algorithm>

#include "format/bounded.h"
#include "tags/id3v1_block.h"
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
  const bool hasTrack = block[kV1TrackOffset - 1] == '\0' && block[kV1TrackOffset] != '\0';
  for (const V1Text& row : kV1Texts) {
    std::string_view text = UpToZero(block.substr(row.offset, row.size));
    const std::size_t start = std::min(text.find_first_not_of(' '), text.size());
    text = text.substr(start, text.find_last_not_of(' ') + 1 - start);
    CopyBounded(row.target(tag), text);
  }
  tag.v1Track = hasTrack ? static_cast<std::uint8_t>(block[kV1TrackOffset]) : kUnknownV1Number;
  tag.v1Genre = static_cast<std::uint8_t>(block[kV1GenreOffset]);
  tag.v1GenreName = GenreName(tag.v1Genre);
  tag.v1Present = true;
  tag.v1Loaded = true;
}

}  // namespace tagsmith::standard
