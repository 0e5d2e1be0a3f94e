// The lengths of MPEG audio frames, as the walk over them has them.
#pragma once

#include <array>
#include <cstdint>

namespace tagsmith {

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
