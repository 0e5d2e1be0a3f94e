#include "tags/aiff.h"

#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

constexpr std::uint32_t kCommonSize = 18;

std::optional<std::uint32_t> ReadNumber32(SourceReader& reader) {
  std::array<std::byte, 4> bytes{};
  if (reader.Read(bytes) < bytes.size()) {
    return std::nullopt;
  }
  return ReadBigEndian32(bytes);
}

std::optional<ChunkId> ReadId(SourceReader& reader) {
  ChunkId id{};
  return reader.Read(id) == id.size() ? std::optional(id) : std::nullopt;
}

/// IEEE 754 80-bit extended to whole hertz, from sign and exponent and the high mantissa word. Only
/// the low byte of the exponent is read: for any rate from 2 Hz to 4 GHz the high one is 0x40.
std::uint32_t ReadExtendedRate(std::span<const std::byte, 6> bytes) {
  constexpr unsigned kWholeExponent = 30;
  const auto exponent = std::to_integer<unsigned>(bytes[1]);
  const std::uint32_t mantissa = ReadBigEndian32(bytes.last<4>());
  if (exponent > kWholeExponent) {
    return 0;
  }
  if (exponent == kWholeExponent) {
    return mantissa;
  }
  const std::uint32_t beforeLastShift = mantissa >> (kWholeExponent - exponent - 1);
  return (beforeLastShift >> 1U) + (beforeLastShift & 1U);
}

/// Reads the fields that are there; a field cut short stays as it was.
void ReadCommon(SourceReader& reader, AiffCommon& common) {
  std::array<std::byte, kCommonSize> data{};
  const std::size_t count = reader.Read(data);
  const std::span<const std::byte, kCommonSize> fields(data);
  if (count >= 2) {
    common.channels = ReadBigEndian16(fields.first<2>());
  }
  if (count >= 6) {
    common.sampleFrames = ReadBigEndian32(fields.subspan<2, 4>());
  }
  if (count >= 8) {
    common.sampleSize = ReadBigEndian16(fields.subspan<6, 2>());
  }
  if (count >= 14) {
    common.sampleRate = ReadExtendedRate(fields.subspan<8, 6>());
  }
}

}  // namespace

std::optional<AiffForm> ReadAiffForm(SourceReader& reader) {
  const std::optional<std::uint32_t> size = ReadNumber32(reader);
  if (!size) {
    return std::nullopt;
  }
  AiffForm form{.size = *size};
  reader.Read(form.type);
  return form;
}

AiffChunks WalkAiffChunks(SourceReader& reader) {
  AiffChunks chunks;
  while (const std::optional<ChunkId> id = ReadId(reader)) {
    const std::optional<std::uint32_t> chunkSize = ReadNumber32(reader);
    if (!chunkSize) {
      break;  // fewer than 4 bytes: the next ID cannot be whole either
    }
    std::uint32_t size = *chunkSize + *chunkSize % 2;  // may wrap to 0: nothing to skip then
    if (BeginsWithWord(*id, "ID3 ")) {
      chunks.tagSize = size;
      break;
    }
    if (BeginsWithWord(*id, "COMM") && size >= kCommonSize) {
      ReadCommon(reader, chunks.common);
      size -= kCommonSize;
    }
    reader.Skip(size);
  }
  return chunks;
}

bool MakeAiffDetails(ID3Tag& tag, const AiffCommon& common) {
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
  details.bitRate = std::uint32_t{common.sampleSize} * common.channels * common.sampleRate / 1000;
  if (common.channels == 1) {
    details.channelMode = kMono;
  } else if (common.channels > 2) {
    details.channelMode = kMultiChannel;
  }
  details.frameCount = common.sampleFrames;
  details.sampleRateField = common.sampleRate;

  constexpr std::uint32_t kRestThatRoundsUp = 5;  // sample frames
  std::uint64_t frames = common.sampleFrames;
  if (frames % common.sampleRate >= kRestThatRoundsUp) {
    frames += common.sampleRate;
  }
  tag.SetDuration(frames, common.sampleRate);
  return true;
}

}  // namespace tagsmith
