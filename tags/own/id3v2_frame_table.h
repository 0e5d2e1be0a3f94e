// One ID3v2 frame on its way into the tag model.
#pragma once

#include <algorithm>
#include <cstdint>

#include "tags/id3v2_layout.h"
#include "tags/tag_model.h"

namespace tagsmith {

struct V2Frame {
  FrameId id;
  int version = 0;            // of the tag
  bool isKnown = false;       // the ID is in the table of the tag's version
  ByteView body{};            // the whole frame data
  std::size_t textStart = 0;  // 1 where the body begins with an encoding byte that was read
  std::uint32_t encoding = kLatin1;
  TextReduction mode = TextReduction::kKeepUnicode;
  const SharedMemory& memory;  // that the body stands in; null where it is the caller's

  /// A frame counts as followed by zero bytes.
  [[nodiscard]] std::byte At(std::size_t index) const {
    return index < body.size() ? body[index] : std::byte{0};
  }
  /// The body from `start` on, empty beyond its end.
  [[nodiscard]] ByteView From(std::size_t start) const { return After(body, start); }
  [[nodiscard]] ByteView Text() const { return From(textStart); }
};

/// Whether this is half of a byte-order mark: FE or FF.
constexpr bool IsMarkByte(std::byte byte) { return (byte | std::byte{1}) == std::byte{0xFF}; }

/// Whether the first byte of the frame's data is a text encoding that is read before the frame is
/// stored: in all text frames but the user-defined ones, and in the podcast feed, where its writers
/// put one. Other frames with an encoding byte read their own.
bool BeginsWithEncoding(FrameId id);

/// Stores the frame where it belongs. A field is filled by the first frame of its kind; a further
/// one, like a frame without a field, is dropped or kept as a raw frame by the extra-frames mode.
void StoreFrame(ID3Tag& tag, const V2Frame& frame);

}  // namespace tagsmith
