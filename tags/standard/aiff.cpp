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

/// How a compression of AIFF-C packs samples; what COMM calls sample frames are such packets.
struct Packing {
  std::string_view type;
  std::uint32_t samples = 1;
  std::uint32_t bits = 0;
};
constexpr Packing kPackings[] = {
    {"ima4", 64, 34 * 8}, {"MAC3", 6, 2 * 8}, {"MAC6", 6, 8}, {"ulaw", 1, 8}, {"alaw", 1, 8},
};

/// `common` are a COMM chunk's data as far as they are there.
Packing FindPacking(ByteView common, std::uint32_t sampleSize) {
  const ByteView type = common.subspan(std::min<std::size_t>(kAiffCommonSize, common.size()));
  const auto* const packing =
      std::find_if(std::begin(kPackings), std::end(kPackings),
                   [type](const Packing& known) { return BeginsWithWord(type, known.type); });
  return packing != std::end(kPackings) ? *packing : Packing{"", 1, sampleSize};
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
  constexpr std::uint32_t kTypeSize = 4;
  AiffCommon common;
  Packing packing;
  for (int i = 0; i < kMostChunks && !(tag.v2Loaded && common.sampleRate != 0); ++i) {
    const std::optional<ChunkHeader> header = ReadChunkHeader(reader);
    if (!header) {
      break;
    }
    const std::uint64_t end = reader.Position() + header->size;
    if (BeginsWithWord(header->id, "COMM")) {
      const ByteView data = reader.Peek(std::min(header->size, kAiffCommonSize + kTypeSize));
      ReadAiffCommon(data, ReadRate, common);
      packing = FindPacking(data, common.sampleSize);
    } else if (BeginsWithWord(header->id, "ID3 ") && !tag.v2Loaded) {
      ReadV2(tag, reader, 0);
    }
    reader.Skip(static_cast<std::int64_t>(end - reader.Position()));
    if (header->size % 2 != 0) {  // a padding byte follows, which some writers leave out
      const ByteView next = reader.Peek(5);
      reader.Skip(IsChunkId(After(next, 1)) || !IsChunkId(next) ? 1 : 0);
    }
  }
  if (!StoreAiffDetails(tag, common)) {
    return false;
  }
  tag.SetExactDuration(std::uint64_t{common.sampleFrames} * packing.samples, common.sampleRate);
  tag.SetBitRate(static_cast<std::uint32_t>(std::uint64_t{packing.bits} * common.channels *
                                            common.sampleRate / packing.samples / 1000));
  return true;
}

}  // namespace tagsmith::standard
