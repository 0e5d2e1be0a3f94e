#include "tags/own/mpeg_frame.h"

#include "tags/mpeg_header.h"

namespace tagsmith {

std::uint32_t MpegFrameLength(std::uint32_t bitRate, float sampleRate, std::uint32_t padding) {
  const auto bits = static_cast<float>(bitRate * 144000);
  return static_cast<std::uint32_t>(bits / sampleRate) + padding;
}

void MpegFrameKind::Fill(std::uint32_t header) {
  kind_ = header & kKindBits;
  MpegHeader decoded = DecodeMpegHeader(header);
  const float sampleRate = MpegSampleRate(decoded.versionIndex, decoded.sampleRateIndex);
  hasSampleRate_ = sampleRate != 0;
  for (std::size_t i = 0; i < bitRates_.size(); ++i) {
    decoded.bitRateIndex = static_cast<std::uint8_t>(i);
    bitRates_[i] = MpegBitRate(decoded);
    lengths_[i] = hasSampleRate_ ? MpegFrameLength(bitRates_[i], sampleRate, 0) : 0;
  }
}

}  // namespace tagsmith
