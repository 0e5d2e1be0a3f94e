// The four-byte frame header of MPEG audio (ISO/IEC 11172-3 2.4.2.3, ISO/IEC 13818-3 2.4.2.3) and
// the tables that its indexes refer to.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tagsmith {

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

/// The frame's length in bytes, header included, by the rule of MPEG-1 layer 3 for every version
/// and layer. `sampleRate` must not be 0.
std::uint32_t MpegFrameLength(std::uint32_t bitRate, float sampleRate, std::uint32_t padding);

/// Bit rates and lengths of frames of one kind: the same version, layer and sample rate. A walk
/// over thousands of frames meets few kinds, and looks each frame up without any arithmetic.
class MpegFrameKind {
 public:
  /// Switches to the kind of this header, if it is another one.
  void Select(std::uint32_t header) {
    if ((header & kKindBits) != kind_) {
      Fill(header);
    }
  }

  /// Of a header of the selected kind. Without a sample rate the length is 0.
  [[nodiscard]] bool HasSampleRate() const { return hasSampleRate_; }
  [[nodiscard]] std::uint32_t BitRate(std::uint32_t header) const {
    return bitRates_[header >> 12U & 15U];
  }
  [[nodiscard]] std::uint32_t Length(std::uint32_t header) const {
    return lengths_[header >> 12U & 15U] + (hasSampleRate_ ? header >> 9U & 1U : 0U);
  }

 private:
  static constexpr std::uint32_t kKindBits = 0x001E0C00;
  void Fill(std::uint32_t header);

  std::uint32_t kind_ = 1;  // no kind has this bit
  bool hasSampleRate_ = false;
  std::array<std::uint32_t, 16> bitRates_{};
  std::array<std::uint32_t, 16> lengths_{};  // without padding
};

}  // namespace tagsmith
