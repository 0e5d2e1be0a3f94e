// Numbers as the formats write them. Each function reads from the start of a view that must hold
// as many bytes as the number has.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

namespace tagsmith {

using ByteView = std::span<const std::byte>;

/// Memory that lives as long as anyone refers to it; null: none.
using SharedMemory = std::shared_ptr<std::byte[]>;

/// The first `count` bytes, or all.
inline ByteView UpTo(ByteView bytes, std::uint64_t count) {
  return bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(count, bytes.size())));
}

/// What follows the first `count` bytes; nothing where there are not so many.
inline ByteView After(ByteView bytes, std::uint64_t count) {
  return bytes.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(count, bytes.size())));
}

/// Where the first byte of this value is from the index on; the number of bytes where there is
/// none.
inline std::size_t FindByte(ByteView bytes, std::byte value, std::size_t from = 0) {
  const ByteView rest = After(bytes, from);
  const void* found =
      rest.empty() ? nullptr : std::memchr(rest.data(), std::to_integer<int>(value), rest.size());
  return found == nullptr
             ? bytes.size()
             : static_cast<std::size_t>(static_cast<const std::byte*>(found) - bytes.data());
}

constexpr std::uint16_t ReadBigEndian16(std::span<const std::byte, 2> bytes) {
  return static_cast<std::uint16_t>(std::to_integer<unsigned>(bytes[0]) << 8U |
                                    std::to_integer<unsigned>(bytes[1]));
}

constexpr std::uint32_t ReadBigEndian32(std::span<const std::byte, 4> bytes) {
  std::uint32_t value = 0;
  for (const std::byte byte : bytes) {
    value = value << 8U | std::to_integer<std::uint32_t>(byte);
  }
  return value;
}

constexpr std::uint32_t ReadLittleEndian32(std::span<const std::byte, 4> bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    value |= std::to_integer<std::uint32_t>(bytes[i]) << (8 * i);
  }
  return value;
}

/// ID3v2.4.0 structure, 6.2: four bytes of 7 bits. A byte of 128 or more counts in full, so the
/// value stays within 32 bits whatever the bytes are.
constexpr std::uint32_t ReadSyncsafe32(std::span<const std::byte, 4> bytes) {
  std::uint32_t value = 0;
  for (const std::byte byte : bytes) {
    value = value * 128 + std::to_integer<std::uint32_t>(byte);
  }
  return value;
}

}  // namespace tagsmith
