// The AIFF container (AIFF 1.3, AIFF-C draft 1991): its chunks, as far as the ID3 tag and the audio
// details need them.
#pragma once

#include <cstdint>

#include "tags/source_reader.h"
#include "tags/tag_model.h"

namespace tagsmith {

/// What the COMM chunk says.
struct AiffCommon {
  std::uint16_t channels = 0;
  std::uint32_t sampleFrames = 0;
  std::uint16_t sampleSize = 0;  // bits
  std::uint32_t sampleRate = 0;  // whole hertz
};

/// Where the walk over a file's chunks and that over a stream's differ, on purpose.
struct AiffWalkRules {
  bool stopsAtSizeMismatch;    // unless the tag says that size errors are ignored
  bool takesCompressed;        // form type AIFC too
  bool announcesForm;          // log the form type that was found, or that it is none
  bool storesTagSizeAsOffset;  // the ID3 chunk's size goes to audioOffset, not to id3AreaSize
  bool makesDetails;           // fill the details at the end of the walk
};
inline constexpr AiffWalkRules kAiffFileRules{.stopsAtSizeMismatch = true,
                                              .takesCompressed = true,
                                              .announcesForm = true,
                                              .storesTagSizeAsOffset = false,
                                              .makesDetails = false};
inline constexpr AiffWalkRules kAiffStreamRules{.stopsAtSizeMismatch = false,
                                                .takesCompressed = false,
                                                .announcesForm = false,
                                                .storesTagSizeAsOffset = true,
                                                .makesDetails = true};

/// Walks the chunks, the reader standing behind "FORM". Fills `common` from COMM and leaves the
/// reader at the data of the ID3 chunk, if there is one. `fileSize` is the low 32 bits of the size.
/// False when the rules make an inconsistent size end the opening.
bool WalkAiff(ID3Tag& tag, SourceReader& reader, AiffCommon& common, std::uint32_t fileSize,
              const AiffWalkRules& rules);

/// Fills the track details from what COMM said. False when there is no sample rate; version and
/// layer index then mark AIFF all the same.
bool MakeAiffDetails(ID3Tag& tag, const AiffCommon& common);

}  // namespace tagsmith
