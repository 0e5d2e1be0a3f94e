// One ID3v2 frame on its way into the tag model.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "tags/tag_model.h"

namespace tagsmith {

/// A frame ID of three or four characters, the first one in the highest byte; characters after a
/// zero are not part of it.
class FrameId {
 public:
  constexpr FrameId() = default;
  // Tables name IDs by literals.
  // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions)
  constexpr FrameId(std::string_view text) {
    for (std::size_t i = 0; i < 4; ++i) {
      const char c = i < text.size() ? text[i] : '\0';
      if (c == '\0') {
        break;
      }
      value_ |= std::uint32_t{static_cast<unsigned char>(c)} << (24 - 8 * i);
    }
  }
  // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions)
  constexpr FrameId(const char* text) : FrameId(std::string_view(text)) {}

  constexpr bool operator==(const FrameId&) const = default;

  /// Whether the ID begins with these characters.
  [[nodiscard]] constexpr bool BeginsWith(std::string_view text) const {
    const auto mask = static_cast<std::uint32_t>(0xFFFFFFFFULL << (32 - 8 * text.size()));
    return (value_ & mask) == FrameId(text).value_;
  }

  /// The ID as a terminated text.
  [[nodiscard]] constexpr std::array<char, 5> Text() const {
    std::array<char, 5> text{};
    for (std::size_t i = 0; i < 4; ++i) {
      text[i] = static_cast<char>(value_ >> (24 - 8 * i) & 0xFFU);
    }
    return text;
  }

 private:
  std::uint32_t value_ = 0;
};

struct V2Frame {
  FrameId id;
  int version = 0;            // of the tag
  bool isKnown = false;       // the ID is in the table of the tag's version
  ByteView body{};            // the whole frame data
  std::size_t textStart = 0;  // 1 where the body begins with an encoding byte that was read
  std::uint32_t encoding = kLatin1;
  TextReduction mode = TextReduction::kKeepUnicode;

  /// A frame counts as followed by zero bytes.
  [[nodiscard]] std::byte At(std::size_t index) const {
    return index < body.size() ? body[index] : std::byte{0};
  }
  /// The body from `start` on, empty beyond its end.
  [[nodiscard]] ByteView From(std::size_t start) const {
    return body.subspan(std::min(start, body.size()));
  }
  [[nodiscard]] ByteView Text() const { return From(textStart); }
};

/// Whether this is half of a byte-order mark: FE or FF.
constexpr bool IsMarkByte(std::byte byte) { return (byte | std::byte{1}) == std::byte{0xFF}; }

/// Whether the first byte of the frame's data is a text encoding that is read before the frame is
/// stored: in all text frames but the user-defined ones, and in the podcast feed, where its writers
/// put one. Other frames with an encoding byte read their own.
bool BeginsWithEncoding(FrameId id);

/// Whether the ID is in the table of known IDs of this major version.
bool IsKnownFrame(FrameId id, int version);

/// Stores the frame where it belongs. A field is filled by the first frame of its kind; a further
/// one, like a frame without a field, is dropped or kept as a raw frame by the extra-frames mode.
void StoreFrame(ID3Tag& tag, const V2Frame& frame);

}  // namespace tagsmith
