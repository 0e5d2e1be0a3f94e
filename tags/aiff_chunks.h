// The chunks of an AIFF file (AIFF 1.3, AIFF-C draft 1991).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "tags/source_reader.h"
#include "tags/tag_model.h"

namespace tagsmith {

using ChunkId = std::array<std::byte, 4>;

struct ChunkHeader {
  ChunkId id{};
  std::uint32_t size = 0;  // of the data in bytes, as the file says
};

/// Reads the header of a chunk, at whose data the reader then stands. Nothing, and the reader at
/// the end, where fewer than eight bytes are left.
std::optional<ChunkHeader> ReadChunkHeader(SourceReader& reader);

inline constexpr std::uint32_t kAiffCommonSize = 18;

/// What the COMM chunk says.
struct AiffCommon {
  std::uint16_t channels = 0;
  std::uint32_t sampleFrames = 0;
  std::uint16_t sampleSize = 0;  // bits
  std::uint32_t sampleRate = 0;  // whole hertz
};

/// Makes whole hertz of the beginning of an IEEE 754 80-bit extended number: sign, exponent and the
/// upper half of the mantissa.
using RateReader = std::uint32_t (*)(std::span<const std::byte, 6> bytes);

/// Reads the fields that are there from a COMM chunk's data; a field cut short stays as it was.
void ReadAiffCommon(ByteView data, RateReader readRate, AiffCommon& common);

/// Fills the track details from what COMM said, but for duration and bit rate. False when there is
/// no sample rate; version and layer index then mark AIFF all the same.
bool StoreAiffDetails(ID3Tag& tag, const AiffCommon& common);

}  // namespace tagsmith
