#include "tags/own/mpeg_sync.h"

#include <algorithm>
#include <cstring>

namespace tagsmith {

SyncSearch FindSync(SourceReader& reader, bool isMpeg, std::uint64_t pairLimit) {
  std::uint64_t pairsLeft = pairLimit;
  std::byte last{};
  std::byte beforeLast{};
  while (pairsLeft != 0) {
    const ByteView block = reader.Buffered(2);
    if (block.size() < 2) {
      return {};
    }
    const std::size_t pairs =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size() - 1, pairsLeft));
    for (std::size_t i = 0; i < pairs; ++i) {
      const void* hit = std::memchr(block.data() + i, 0xFF, pairs - i);
      if (hit == nullptr) {
        break;
      }
      i = static_cast<std::size_t>(static_cast<const std::byte*>(hit) - block.data());
      if (IsAcceptedSync(block[i + 1], isMpeg)) {
        reader.Skip(static_cast<std::int64_t>(i + 2));
        return {.found = true};
      }
    }
    beforeLast = block[pairs - 1];
    last = block[pairs];
    reader.Skip(static_cast<std::int64_t>(pairs));
    pairsLeft -= pairs;
  }
  return {.endedOnSync = beforeLast == std::byte{0xFF} && ContinuesSync(last)};
}

}  // namespace tagsmith
