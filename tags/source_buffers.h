// The two kinds of memory that a SourceReader holds bytes of its source in.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>

#include "tags/byte_order.h"

namespace tagsmith {

/// A stretch of the source in a block of memory of fixed size, which stays its owner's.
class Window {
 public:
  Window() = default;
  explicit Window(std::span<std::byte> memory) : memory_(memory) {}

  [[nodiscard]] std::size_t Capacity() const { return memory_.size(); }
  [[nodiscard]] std::size_t Length() const { return length_; }
  /// The position in the source right after the last byte.
  [[nodiscard]] std::uint64_t End() const { return start_ + length_; }
  /// Whether the position is that of a byte in memory, or the end.
  [[nodiscard]] bool Reaches(std::uint64_t position) const { return position - start_ <= length_; }
  /// The bytes from the position on; none where the window does not reach.
  [[nodiscard]] std::span<std::byte> From(std::uint64_t position) const {
    return memory_.first(length_).last(CountFrom(position));
  }

  /// Makes the window begin at the position, and drops the bytes that it does not share.
  void BeginAt(std::uint64_t position) { Assign(position, From(position)); }
  /// Makes the window hold these bytes, which may be its own.
  void Assign(std::uint64_t start, ByteView bytes) {
    if (!bytes.empty()) {
      std::memmove(memory_.data(), bytes.data(), bytes.size());
    }
    start_ = start;
    length_ = bytes.size();
  }
  /// Moves the bytes to another block, which must be large enough.
  void MoveTo(std::span<std::byte> memory) {
    std::memcpy(memory.data(), memory_.data(), length_);
    memory_ = memory;
  }

  /// The memory after the last byte.
  [[nodiscard]] std::span<std::byte> Room() const { return memory_.subspan(length_); }
  /// Adds bytes that were read into the room.
  void Extend(std::size_t count) { length_ += count; }

 private:
  [[nodiscard]] std::size_t CountFrom(std::uint64_t position) const {
    return Reaches(position) ? static_cast<std::size_t>(End() - position) : 0;
  }

  std::span<std::byte> memory_;
  std::uint64_t start_ = 0;
  std::size_t length_ = 0;
};

/// Memory for a read of a size that only the file claims: it grows with what arrives.
class GrowingBuffer {
 public:
  GrowingBuffer() = default;
  /// Begins with `bytes`, with room for `expected` bytes in all; never grows beyond `limit`.
  GrowingBuffer(ByteView bytes, std::uint64_t expected, std::uint64_t limit) : limit_(limit) {
    Reserve(std::max(static_cast<std::size_t>(expected), bytes.size()));
    std::copy(bytes.begin(), bytes.end(), memory_.get());
    length_ = bytes.size();
  }

  [[nodiscard]] std::size_t Length() const { return length_; }
  [[nodiscard]] std::span<std::byte> View() const { return {memory_.get(), length_}; }
  [[nodiscard]] const SharedMemory& Memory() const { return memory_; }

  /// The memory after the last byte; there is some as long as the limit is not reached.
  std::span<std::byte> Room() {
    if (length_ == capacity_) {
      // More is there than expected. Small memory is doubled, large memory grows by a quarter.
      constexpr std::size_t kSmallest = 4096;
      constexpr std::size_t kLarge = std::size_t{1} << 20U;
      const std::size_t growth = capacity_ < kLarge ? capacity_ : capacity_ / 4;
      Reserve(static_cast<std::size_t>(
          std::min<std::uint64_t>(limit_, length_ + std::max(growth, kSmallest))));
    }
    return {memory_.get() + length_, capacity_ - length_};
  }
  /// Adds bytes that were read into the room.
  void Extend(std::size_t count) { length_ += count; }

 private:
  void Reserve(std::size_t capacity) {
    SharedMemory larger = std::make_shared_for_overwrite<std::byte[]>(capacity);
    std::copy_n(memory_.get(), length_, larger.get());
    memory_ = std::move(larger);
    capacity_ = capacity;
  }

  SharedMemory memory_;
  std::size_t capacity_ = 0;
  std::size_t length_ = 0;
  std::uint64_t limit_ = 0;
};

}  // namespace tagsmith
