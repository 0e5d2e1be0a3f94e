// The four-byte frame header of MPEG audio (ISO/IEC 11172-3 2.4.2.3, ISO/IEC 13818-3 2.4.2.3) and
// the tables that its indexes refer to.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tagsmith {

struct TrackDetails;

inline constexpr std::size_t kMpegHeaderSize = 4;

struct MpegHeader {
  std::uint8_t versionIndex = 0;     // 0 MPEG-2.5, 1 reserved, 2 MPEG-2, 3 MPEG-1
  std::uint8_t layerIndex = 0;       // 0 layer 1, 1 layer 2, 2 layer 3, 3 unknown
  std::uint8_t protectionBit = 0;    // 1: no CRC
  std::uint8_t bitRateIndex = 0;     // 0 to 15
  std::uint8_t sampleRateIndex = 0;  // 0 to 3
  std::uint8_t padding = 0;
  std::uint8_t channelMode = 0;  // 0 stereo, 1 joint stereo, 2 dual channel, 3 mono
  std::uint8_t copyrightBit = 0;
  std::uint8_t originBit = 0;
};

/// Splits the header, read as a big-endian number, into its fields. The sync bits are not tested.
MpegHeader DecodeMpegHeader(std::uint32_t header);

/// Kilobits per second; 0 for free format and for indexes without a rate of their own, except that
/// an index beyond a row reads on into the next one.
std::uint32_t MpegBitRate(const MpegHeader& header);

/// Hertz; 0 marks an invalid header. `versionIndex` and `sampleRateIndex` may be any number.
float MpegSampleRate(std::uint32_t versionIndex, std::uint32_t sampleRateIndex);

/// Stores what the header says of the audio; the bit rate is not among it.
void StoreMpegHeader(const MpegHeader& header, TrackDetails& details);

}  // namespace tagsmith
