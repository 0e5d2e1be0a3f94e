#include "tags/aiff_chunks.h"

#include <algorithm>

namespace tagsmith {

std::optional<ChunkHeader> ReadChunkHeader(SourceReader& reader) {
  std::array<std::byte, 8> bytes{};
  if (reader.Read(bytes) < bytes.size()) {
    return std::nullopt;
  }
  ChunkHeader header{.size = ReadBigEndian32(std::span(bytes).last<4>())};
  std::copy_n(bytes.begin(), header.id.size(), header.id.begin());
  return header;
}

void ReadAiffCommon(ByteView data, RateReader readRate, AiffCommon& common) {
  if (data.size() >= 2) {
    common.channels = ReadBigEndian16(data.first<2>());
  }
  if (data.size() >= 6) {
    common.sampleFrames = ReadBigEndian32(data.subspan<2, 4>());
  }
  if (data.size() >= 8) {
    common.sampleSize = ReadBigEndian16(data.subspan<6, 2>());
  }
  if (data.size() >= 14) {
    common.sampleRate = readRate(data.subspan<8, 6>());
  }
}

bool StoreAiffDetails(ID3Tag& tag, const AiffCommon& common) {
  constexpr std::int32_t kAiffVersion = 5;
  constexpr std::uint8_t kAiffLayer = 4;
  constexpr std::uint8_t kMono = 3;
  constexpr std::uint8_t kMultiChannel = 4;
  TrackDetails& details = tag.details;
  details.versionIndex = kAiffVersion;
  details.layerIndex = kAiffLayer;
  if (common.sampleRate == 0) {
    return false;
  }
  details.bitsPerSample = common.sampleSize;
  if (common.channels == 1) {
    details.channelMode = kMono;
  } else if (common.channels > 2) {
    details.channelMode = kMultiChannel;
  }
  details.frameCount = common.sampleFrames;
  details.sampleRateField = common.sampleRate;
  return true;
}

}  // namespace tagsmith
