// The search for the two bytes that an MPEG audio frame begins with.
#pragma once

#include <cstdint>
#include <limits>

#include "tags/source_reader.h"

namespace tagsmith {

/// Whether `second` continues a sync word after FF: its top three bits are set.
constexpr bool ContinuesSync(std::byte second) {
  return (second & std::byte{0xE0}) == std::byte{0xE0};
}

/// Whether the byte after FF belongs to a frame that is accepted: in an MP3 file only layer codes
/// 01 and 11, that is layers 3 and 1.
constexpr bool IsAcceptedSync(std::byte second, bool isMpeg) {
  return ContinuesSync(second) && (!isMpeg || (second & std::byte{0x02}) != std::byte{0});
}

struct SyncSearch {
  bool found = false;
  /// The search reached its limit right after a sync word whose layer is not accepted.
  bool endedOnSync = false;
};

inline constexpr std::uint64_t kNoPairLimit = std::numeric_limits<std::uint64_t>::max();

/// Searches up to `pairLimit` pairs of neighbouring bytes, from the reader's position on, for FF
/// and a byte that passes IsAcceptedSync. Leaves the reader after the pair that was found, or else
/// at the last byte looked at.
SyncSearch FindSync(SourceReader& reader, bool isMpeg, std::uint64_t pairLimit = kNoPairLimit);

}  // namespace tagsmith
