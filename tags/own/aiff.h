// The AIFF container (AIFF 1.3, AIFF-C draft 1991): its chunks, as far as the ID3 tag and the audio
// details need them.
#pragma once

#include <cstdint>
#include <optional>

#include "tags/aiff_chunks.h"

namespace tagsmith {

/// What stands between "FORM" and the first chunk.
struct AiffForm {
  std::uint32_t size = 0;  // of all that follows, in bytes, as the file says
  ChunkId type{};          // "AIFF", "AIFC"; zeros where the file ends
};

/// Reads the form's size and type. Nothing when the size is cut.
std::optional<AiffForm> ReadAiffForm(SourceReader& reader);

/// Whether the form and its header of eight bytes are a file of `fileSize` bytes, both counted
/// with 32 bits.
constexpr bool Fills(const AiffForm& form, std::uint32_t fileSize) {
  return form.size + 8 == fileSize;
}

/// What the walk over the chunks found.
struct AiffChunks {
  AiffCommon common;                     // as far as there is a COMM chunk
  std::optional<std::uint32_t> tagSize;  // bytes of the ID3 chunk's data, made even
};

/// Walks the chunks from the reader's position on, up to the ID3 chunk, at whose data the reader
/// then stands, or to the end.
AiffChunks WalkAiffChunks(SourceReader& reader);

/// Fills the track details from what COMM said. False when there is no sample rate; version and
/// layer index then mark AIFF all the same.
bool MakeAiffDetails(ID3Tag& tag, const AiffCommon& common);

}  // namespace tagsmith
