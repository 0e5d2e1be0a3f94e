#include "tags/mpeg_header.h"

#include <iterator>

#include "tags/tag_model.h"

namespace tagsmith {
namespace {

constexpr std::size_t kLayers = 3;
constexpr std::size_t kRatesPerLayer = 15;

// One table of 90 values, because an index beyond a layer's row goes on in the next one.
// clang-format off
constexpr std::uint16_t kBitRates[2 * kLayers * kRatesPerLayer] = {
    // MPEG-2 and MPEG-2.5: layers 1, 2, 3
    0, 32, 48, 56,  64,  80,  96, 112, 128, 144, 160, 176, 192, 224, 256,
    0,  8, 16, 24,  32,  40,  48,  56,  64,  80,  96, 112, 128, 144, 160,
    0,  8, 16, 24,  32,  40,  48,  56,  64,  80,  96, 112, 128, 144, 160,
    // MPEG-1: layers 1, 2, 3
    0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448,
    0, 32, 48, 56,  64,  80,  96, 112, 128, 160, 192, 224, 256, 320, 384,
    0, 32, 40, 48,  56,  64,  80,  96, 112, 128, 160, 192, 224, 256, 320,
};

constexpr float kSampleRates[4][4] = {
    {11025, 12000,  8000, 0},  // MPEG-2.5
    {    0,     0,     0, 0},  // reserved
    {22050, 24000, 16000, 0},  // MPEG-2
    {44100, 48000, 32000, 0},  // MPEG-1
};
// clang-format on

constexpr std::uint8_t Bits(std::uint32_t header, unsigned lowest, unsigned mask) {
  return static_cast<std::uint8_t>(header >> lowest & mask);
}

}  // namespace

MpegHeader DecodeMpegHeader(std::uint32_t header) {
  return {
      .versionIndex = Bits(header, 19, 3),
      .layerIndex = static_cast<std::uint8_t>(3 - Bits(header, 17, 3)),
      .protectionBit = Bits(header, 16, 1),
      .bitRateIndex = Bits(header, 12, 15),
      .sampleRateIndex = Bits(header, 10, 3),
      .padding = Bits(header, 9, 1),
      .channelMode = Bits(header, 6, 3),
      .copyrightBit = Bits(header, 3, 1),
      .originBit = Bits(header, 2, 1),
  };
}

std::uint32_t MpegBitRate(const MpegHeader& header) {
  const std::size_t row = (header.versionIndex & 1U) * kLayers + header.layerIndex;
  const std::size_t index = row * kRatesPerLayer + header.bitRateIndex;
  return index < std::size(kBitRates) ? kBitRates[index] : 0;
}

float MpegSampleRate(std::uint32_t versionIndex, std::uint32_t sampleRateIndex) {
  const bool isInTable =
      versionIndex < std::size(kSampleRates) && sampleRateIndex < std::size(kSampleRates[0]);
  return isInTable ? kSampleRates[versionIndex][sampleRateIndex] : 0.0F;
}

void StoreMpegHeader(const MpegHeader& header, TrackDetails& details) {
  details.versionIndex = header.versionIndex;
  details.layerIndex = header.layerIndex;
  details.protectionBit = header.protectionBit;
  details.sampleRateField = header.sampleRateIndex;
  details.channelMode = header.channelMode;
  details.copyrightBit = header.copyrightBit;
  details.originBit = header.originBit;
}

}  // namespace tagsmith
