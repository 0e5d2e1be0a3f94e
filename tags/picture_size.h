// The size of an embedded picture, from its header alone, which tells what decoding it would cost.
#pragma once

#include <cstdint>
#include <optional>

#include "tags/byte_order.h"

namespace tagsmith {

struct PictureSize {
  std::uint32_t width = 0;   // pixels, not checked
  std::uint32_t height = 0;  // pixels, not checked

  /// Bytes of the decoded picture: decoders, and those who show it, take four a pixel whatever its
  /// own depth is; saturates.
  [[nodiscard]] std::uint64_t DecodedBytes() const;
};

/// Reads the header of a JPEG (ITU-T T.81), PNG, GIF (89a), BMP or TIFF (6.0) picture,
/// the formats that tags keep. Nothing when it is another one or has no size where it must be.
std::optional<PictureSize> ReadPictureSize(ByteView picture);

}  // namespace tagsmith
