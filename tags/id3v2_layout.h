// What an ID3v2 tag is made of (id3v2-00, ID3v2.3.0, ID3v2.4.0 structure): header flags, the
// headers of frames, unsynchronisation.
#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>

#include "tags/byte_order.h"

namespace tagsmith {

inline constexpr std::size_t kV2HeaderSize = 10;

// Flags of the tag header. In 2.2 the second one says that the whole tag is compressed, by a scheme
// that was never laid down.
inline constexpr std::byte kTagUnsynchronised{0x80};
inline constexpr std::byte kTagExtended{0x40};
inline constexpr std::byte kTagFooter{0x10};

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

  /// A number below `slots`, a power of two, that differs for most IDs.
  [[nodiscard]] constexpr std::size_t Slot(std::size_t slots) const {
    constexpr std::uint32_t kGoldenRatio = 0x9E3779B1;
    return (value_ * kGoldenRatio >> 16U) % slots;
  }

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

/// Tells where in a table a frame ID stands. Made with the table, at compile time.
class FrameIdIndex {
 public:
  /// Of an ID that is there already the first place counts; the empty ID is in no table.
  constexpr void Add(FrameId id, std::size_t place) {
    const std::size_t slot = Find(id);
    if (ids_[slot] != id) {
      ids_[slot] = id;
      places_[slot] = static_cast<std::uint8_t>(place);
    }
  }
  /// Nothing for an ID that was not added.
  [[nodiscard]] constexpr std::optional<std::size_t> PlaceOf(FrameId id) const {
    const std::size_t slot = Find(id);
    return ids_[slot] == id && id != FrameId() ? std::optional<std::size_t>(places_[slot])
                                               : std::nullopt;
  }

 private:
  static constexpr std::size_t kSlots = 256;  // the largest table fills less than half of them

  /// The ID's own slot, or the empty one where it would stand.
  [[nodiscard]] constexpr std::size_t Find(FrameId id) const {
    std::size_t slot = id.Slot(kSlots);
    while (ids_[slot] != id && ids_[slot] != FrameId()) {
      slot = (slot + 1) % kSlots;
    }
    return slot;
  }

  std::array<FrameId, kSlots> ids_{};
  std::array<std::uint8_t, kSlots> places_{};
};

/// The index of a table whose rows have an ID `id` and one of version 2.2, `id22`.
template <typename Rows>
constexpr FrameIdIndex IndexRows(const Rows& rows) {
  FrameIdIndex index;
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    index.Add(rows[i].id, i);
    index.Add(rows[i].id22, i);
  }
  return index;
}

/// What stands in front of a frame's data.
struct FrameHeader {
  FrameId id;
  std::uint32_t size = 0;       // of the data, as the tag's version writes it: from 2.4 on syncsafe
  std::uint32_t plainSize = 0;  // the size bytes read as a plain number
  std::byte flags{};            // from 2.3 on: how the data is stored
};

/// Up to 2.2 three characters and three bytes of size, later four of each and two of flags.
constexpr std::size_t FrameHeaderSize(int version) { return version <= 2 ? 6 : 10; }

/// Reads the header that `bytes`, FrameHeaderSize(version) of them at least, begin with.
FrameHeader ReadFrameHeader(ByteView bytes, int version);

/// Drops each zero byte after an FF byte (ID3v2.4.0 structure, 6.1), in place; gives what is left.
std::span<std::byte> UndoUnsynchronisation(std::span<std::byte> bytes);

/// Whether the ID is in the table of known IDs of this major version.
bool IsKnownFrame(FrameId id, int version);

}  // namespace tagsmith
