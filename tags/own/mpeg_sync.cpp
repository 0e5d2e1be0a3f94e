#include "tags/own/mpeg_sync.h"

#include <algorithm>

namespace tagsmith {

SyncSearch FindSync(SourceReader& reader, bool isMpeg, std::uint64_t pairLimit) {
  constexpr std::byte kSync{0xFF};
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
    const ByteView first = block.first(pairs);
    for (std::size_t i = FindByte(first, kSync); i < pairs; i = FindByte(first, kSync, i + 1)) {
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
  return {.endedOnSync = beforeLast == kSync && ContinuesSync(last)};
}

}  // namespace tagsmith
