#include "tags/standard/aiff.h"

#include <algorithm>
#include <array>

#include "tags/standard/opening.h"
#include "tags/text_helpers.h"

namespace tagsmith::standard {
namespace {

constexpr std::size_t kFormSize = 12;
constexpr std::size_t kChunkHeaderSize = 8;
constexpr std::size_t kCommonSize = 18;

struct Common {
  std::uint16_t channels = 0;
  std::uint32_t sampleFrames = 0;
  std::uint16_t sampleSize = 0;  // bits
  std::uint32_t sampleRate = 0;  // hertz
};

/// IEEE 754 80-bit extended, rounded to whole hertz; 0 for what is no rate.
std::uint32_t ReadRate(std::span<const std::byte, 10> bytes) {
  constexpr unsigned kExponentOfMantissa = 16383 + 31;  // of the mantissa's upper half
  const unsigned exponent = ReadBigEndian16(bytes.first<2>());
  const std::uint64_t mantissa = ReadBigEndian32(bytes.subspan<2, 4>());
  if (exponent > kExponentOfMantissa || exponent + 32 <= kExponentOfMantissa) {
    return 0;
  }
  const unsigned shift = kExponentOfMantissa - exponent;
  return static_cast<std::uint32_t>((mantissa + (std::uint64_t{1} << shift >> 1U)) >> shift);
}

/// `bytes` are the chunk's data, as far as they are there.
Common ReadCommon(ByteView bytes) {
  std::array<std::byte, kCommonSize> data{};
  std::copy_n(bytes.begin(), std::min(bytes.size(), data.size()), data.begin());
  const std::span<const std::byte, kCommonSize> fields(data);
  return {.channels = ReadBigEndian16(fields.first<2>()),
          .sampleFrames = ReadBigEndian32(fields.subspan<2, 4>()),
          .sampleSize = ReadBigEndian16(fields.subspan<6, 2>()),
          .sampleRate = ReadRate(fields.subspan<8, 10>())};
}

bool IsChunkId(ByteView bytes) {
  return bytes.size() >= 4 && std::all_of(bytes.begin(), bytes.begin() + 4, [](std::byte byte) {
           return byte >= std::byte{' '} && byte <= std::byte{'~'};
         });
}

bool StoreDetails(ID3Tag& tag, const Common& common) {
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
  details.channelMode = common.channels == 1 ? kMono : common.channels > 2 ? kMultiChannel : 0;
  details.frameCount = common.sampleFrames;
  details.sampleRateField = common.sampleRate;
  tag.SetExactDuration(common.sampleFrames, common.sampleRate);
  tag.SetBitRate(static_cast<std::uint32_t>(std::uint64_t{common.sampleSize} * common.channels *
                                            common.sampleRate / 1000));
  return true;
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
  Common common;
  for (int i = 0; i < kMostChunks && !(tag.v2Loaded && common.sampleRate != 0); ++i) {
    const ByteView header = reader.Peek(kChunkHeaderSize);
    if (header.size() < kChunkHeaderSize) {
      break;
    }
    const bool isCommon = BeginsWithWord(header, "COMM");
    const bool isTag = BeginsWithWord(header, "ID3 ");
    const std::uint32_t size = ReadBigEndian32(header.subspan<4, 4>());
    reader.Skip(kChunkHeaderSize);
    const std::uint64_t end = reader.Position() + size;
    if (isCommon) {
      common = ReadCommon(reader.Peek(std::min<std::size_t>(size, kCommonSize)));
    } else if (isTag && !tag.v2Loaded) {
      ReadV2(tag, reader, 0);
    }
    reader.Skip(static_cast<std::int64_t>(end - reader.Position()));
    if (size % 2 != 0 && !IsChunkId(reader.Peek(4))) {
      reader.Skip(1);  // the padding byte, which some writers leave out
    }
  }
  return StoreDetails(tag, common);
}

}  // namespace tagsmith::standard
