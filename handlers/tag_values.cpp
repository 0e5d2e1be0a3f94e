#include "handlers/tag_values.h"

#include <limits>

#include "format/bounded.h"

namespace tagsmith {

bool ReadPartOfSet(const ID3Tag& tag, WideText& text) {
  if (tag.disc == kUnknownNumber || tag.discCount == kUnknownNumber) {
    return false;
  }
  FormatBounded(text.Buffer(), L"%d/%d", int{tag.disc}, int{tag.discCount});
  return true;
}

std::uint64_t ReadDuration(const ID3Tag& tag) {
  constexpr std::uint64_t kUnitsPerSecond = 10'000'000;
  return tag.details.duration * kUnitsPerSecond;
}

std::uint32_t ReadBitRate(const ID3Tag& tag) {
  constexpr std::uint32_t kBitsPerKilobit = 1000;
  return tag.details.bitRate * kBitsPerKilobit;
}

std::uint32_t ReadSampleRate(const ID3Tag& tag) {
  constexpr auto kLargest = std::numeric_limits<std::uint32_t>::max();
  const float rate = tag.GetSampleRate();
  return rate < static_cast<float>(kLargest) ? static_cast<std::uint32_t>(rate) : kLargest;
}

}  // namespace tagsmith
