#include "tags/own/aiff.h"

#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

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

}  // namespace

std::optional<AiffForm> ReadAiffForm(SourceReader& reader) {
  std::array<std::byte, 4> size{};
  if (reader.Read(size) < size.size()) {
    return std::nullopt;
  }
  AiffForm form{.size = ReadBigEndian32(size)};
  reader.Read(form.type);
  return form;
}

AiffChunks WalkAiffChunks(SourceReader& reader) {
  AiffChunks chunks;
  while (const std::optional<ChunkHeader> header = ReadChunkHeader(reader)) {
    std::uint32_t size = header->size + header->size % 2;  // may wrap to 0: nothing to skip then
    if (BeginsWithWord(header->id, "ID3 ")) {
      chunks.tagSize = size;
      break;
    }
    if (BeginsWithWord(header->id, "COMM") && size >= kAiffCommonSize) {
      std::array<std::byte, kAiffCommonSize> data{};
      ReadAiffCommon(ByteView(data).first(reader.Read(data)), ReadExtendedRate, chunks.common);
      size -= kAiffCommonSize;
    }
    reader.Skip(size);
  }
  return chunks;
}

bool MakeAiffDetails(ID3Tag& tag, const AiffCommon& common) {
  if (!StoreAiffDetails(tag, common)) {
    return false;
  }
  tag.details.bitRate =
      std::uint32_t{common.sampleSize} * common.channels * common.sampleRate / 1000;

  constexpr std::uint32_t kRestThatRoundsUp = 5;  // sample frames
  std::uint64_t frames = common.sampleFrames;
  if (frames % common.sampleRate >= kRestThatRoundsUp) {
    frames += common.sampleRate;
  }
  tag.SetDuration(frames, common.sampleRate);
  return true;
}

}  // namespace tagsmith
