// The pictures of a tag (id3v2-00, 4.15; ID3v2.4.0 frames, 4.14).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "tags/standard/frames.h"

namespace tagsmith::standard {

enum class PictureKind : std::uint8_t { kOther = 0, kFileIcon = 1, kFrontCover = 3 };

struct PictureData {
  PictureKind kind = PictureKind::kOther;  // or any other number
  std::string_view format;                 // of its first bytes, as the tag model names it
  ByteView image{};
};

/// The picture in an APIC or PIC frame, its format told by its first bytes alone. Nothing for links
/// and for formats that the tag model has no name for.
std::optional<PictureData> FindPicture(const Frame& frame);

}  // namespace tagsmith::standard
