#include "tags/standard/aiff.h"

#include <algorithm>

#include "tags/aiff_chunks.h"
#include "tags/standard/opening.h"
#include "tags/text_helpers.h"

namespace tagsmith::standard {
namespace {

constexpr std::size_t kFormSize = 12;

/// Rounds to whole hertz; 0 for what is no rate.
std::uint32_t ReadRate(std::span<const std::byte, 6> bytes) {
  constexpr unsigned kExponentOfMantissa = 16383 + 31;
  const unsigned exponent = ReadBigEndian16(bytes.first<2>());
  const std::uint64_t mantissa = ReadBigEndian32(bytes.last<4>());
  if (exponent > kExponentOfMantissa || exponent + 32 <= kExponentOfMantissa) {
    return 0;
  }
  const unsigned shift = kExponentOfMantissa - exponent;
  return static_cast<std::uint32_t>((mantissa + (std::uint64_t{1} << shift >> 1U)) >> shift);
}

bool IsChunkId(ByteView bytes) {
  return bytes.size() >= 4 && std::all_of(bytes.begin(), bytes.begin() + 4, [](std::byte byte) {
           return byte >= std::byte{' '} && byte <= std::byte{'~'};
         });
}

}  // namespace

bool IsAiff(ByteView start) {
  const std::string_view text = AsText(start);
  return text.starts_with("FORM") &&
         (text.substr(8).starts_with("AIFF") || text.substr(8).starts_with("AIFC"));
}

bool ReadAiff(ID3Tag& tag, SourceReader& reader) {
  constexpr int kMostChunks = 4096;  // no real file has so many; each may cost a call
  reader.Skip(kFormSize);
  AiffCommon common;
  for (int i = 0; i < kMostChunks && !(tag.v2Loaded && common.sampleRate != 0); ++i) {
    const std::optional<ChunkHeader> header = ReadChunkHeader(reader);
    if (!header) {
      break;
    }
    const std::uint64_t end = reader.Position() + header->size;
    if (BeginsWithWord(header->id, "COMM")) {
      const ByteView data = reader.Peek(std::min(header->size, kAiffCommonSize));
      ReadAiffCommon(data, ReadRate, common);
    } else if (BeginsWithWord(header->id, "ID3 ") && !tag.v2Loaded) {
      ReadV2(tag, reader, 0);
    }
    reader.Skip(static_cast<std::int64_t>(end - reader.Position()));
    if (header->size % 2 != 0 && !IsChunkId(reader.Peek(4))) {
      reader.Skip(1);  // the padding byte, which some writers leave out
    }
  }
  if (!StoreAiffDetails(tag, common)) {
    return false;
  }
  tag.SetExactDuration(common.sampleFrames, common.sampleRate);
  tag.SetBitRate(static_cast<std::uint32_t>(std::uint64_t{common.sampleSize} * common.channels *
                                            common.sampleRate / 1000));
  return true;
}

}  // namespace tagsmith::standard
