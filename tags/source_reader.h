// The buffered front of a ByteSource, through which all parsers read.
//
// It reads ahead in blocks and answers small reads and seeks from memory, so that few calls reach
// the source. What it hands out, and where it stands, is as if every read and seek had been made on
// the source one by one; Settle moves the source itself there. A move counts only when the source
// reports to have ended where it was sent.
//
// Blocks grow with what has been read, so that a search through a whole file makes few calls: at
// the most 128, and two for each kLargestBlock bytes of the file. A source that goes on and on has
// its end, for the reader, where its CallBudget is spent.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "tags/byte_source.h"
#include "tags/source_buffers.h"

namespace tagsmith {

/// How often a source may be called and how much it may deliver before it counts as one that never
/// ends. Any source that delivers kBytesPerCall bytes a call, and not much more than it claims to
/// have, is read to its end.
class CallBudget {
 public:
  static constexpr std::uint64_t kFreeCalls = 100'000;
  static constexpr std::uint64_t kBytesPerCall = 256;
  /// More than the largest ID3v2 tag, for sources that claim no size.
  static constexpr std::uint64_t kFreeBytes = std::uint64_t{288} << 20U;

  explicit CallBudget(std::uint64_t claimedSize)
      : claimedSize_(std::min(claimedSize, kLargestClaim)) {}

  /// Whether another call may be made, which then counts.
  bool SpendCall() {
    if (calls_ >= kFreeCalls + (claimedSize_ + delivered_) / kBytesPerCall ||
        delivered_ >= kFreeBytes + 2 * claimedSize_) {
      return false;
    }
    ++calls_;
    return true;
  }
  void CountBytes(std::size_t count) { delivered_ += count; }
  [[nodiscard]] std::uint64_t Delivered() const { return delivered_; }

 private:
  static constexpr std::uint64_t kLargestClaim = std::uint64_t{1} << 60U;  // keeps sums in range

  std::uint64_t claimedSize_;
  std::uint64_t delivered_ = 0;
  std::uint64_t calls_ = 0;
};

class SourceReader {
 public:
  /// A first block of one page costs no more than the reads that cannot be avoided.
  static constexpr std::size_t kSmallBlock = 4096;
  /// For walks over a whole file: large enough to make calls rare, small enough for the cache.
  static constexpr std::size_t kLargeBlock = std::size_t{64} * 1024;
  /// Blocks grow to an eighth of what has been read, up to this size.
  static constexpr std::size_t kLargestBlock = std::size_t{256} * 1024;
  static constexpr std::size_t kLargestGapRead = 4096;
  /// Up to this size a read is believed when the source says that it has the bytes; before a larger
  /// one its last byte is looked at.
  static constexpr std::size_t kTrustedSize = std::size_t{32} << 20U;

  /// Starts at the source's current position. The source must outlive the reader. `claimedSize`
  /// is the source's size in bytes as far as known; it saves memory and limits the calls.
  SourceReader(ByteSource& source, std::uint64_t claimedSize);

  /// The position, from the beginning once SeekTo or SeekFromEnd has succeeded; until then counted
  /// from where the reader started.
  [[nodiscard]] std::uint64_t Position() const { return position_; }

  /// Reads up to `into.size()` bytes; fewer only at the end or when the source fails.
  std::size_t Read(std::span<std::byte> into);

  /// The next `count` bytes (kSmallBlock at the most, kLargeBlock after UseLargeBlocks), fewer only
  /// at the end. The position stays; the view is good until the next call.
  ByteView Peek(std::size_t count) {
    const ByteView buffered = Buffered(count);
    return buffered.first(buffered.size() < count ? buffered.size() : count);
  }

  /// As Peek, but gives all bytes from the position on that are in memory.
  ByteView Buffered(std::size_t atLeast) {
    const ByteView bytes = window_.From(position_);
    if (bytes.size() >= atLeast) {
      return bytes;
    }
    Fill(atLeast);
    return window_.From(position_);
  }

  /// Reads `count` bytes as one view, good until the next call; fewer only at the end. The caller
  /// may change them. Memory is allocated only for bytes that are there. The `lookAhead` bytes
  /// after them (kSmallBlock at the most) are fetched in the same read of the source, to be read
  /// next.
  std::span<std::byte> Take(std::uint64_t count, std::size_t lookAhead = 0);

  /// The memory of the bytes that Take has just given, for who wants to keep them; null where they
  /// stand in the reader's own, and are to be copied.
  [[nodiscard]] const SharedMemory& TakenMemory() const { return taken_.Memory(); }

  /// Moves forward, or back as far as the beginning; always works, even beyond the end.
  void Skip(std::int64_t count);

  /// Moves to an absolute position. When the source does not let itself be moved the position
  /// stays, and the result is false.
  bool SeekTo(std::uint64_t position);

  /// Moves to `count` bytes before the end; as SeekTo, and false when that is before the beginning.
  bool SeekFromEnd(std::uint64_t count);

  /// Moves to the end.
  bool SeekToEnd() { return SeekFromEnd(0); }

  /// Switches to large blocks from the next read on.
  void UseLargeBlocks() { GrowBlock(kLargeBlock); }

  /// Moves the source to the reader's position.
  void Settle();

  /// The error of the last read of the source as an errno value; 0 when it went well or met the
  /// end.
  [[nodiscard]] int LastError() const { return lastError_; }

 private:
  /// Remembers the position as one that was really reached, if it is.
  void NotePosition() {
    if (window_.Reaches(position_)) {
      lastReached_ = position_;
    }
  }
  void Fill(std::size_t atLeast);
  std::optional<std::uint64_t> BytesThere(std::uint64_t most);
  void GrowBlock(std::size_t size);
  void StandBack();
  template <typename Buffer>
  void Extend(Buffer& buffer, std::uint64_t length);
  std::size_t ReadSource(std::span<std::byte> into, std::size_t needed);
  bool MoveSource(std::uint64_t to);
  bool SeekAbsolute(std::int64_t offset, SeekOrigin origin);
  std::optional<std::uint64_t> CallSeek(std::int64_t offset, SeekOrigin origin);

  ByteSource& source_;
  CallBudget budget_;
  std::uint64_t claimedSize_;
  std::uint64_t position_ = 0;     // of the reader
  std::uint64_t physical_ = 0;     // of the source
  std::uint64_t lastReached_ = 0;  // where the reader stood before moves that are still pending
  // The source's position that counts as 0, as far as known.
  std::optional<std::uint64_t> start_;
  bool atEnd_ = false;  // the source has nothing at physical_
  int lastError_ = 0;
  std::array<std::byte, kSmallBlock> smallBlock_;
  std::unique_ptr<std::byte[]> grownBlock_;
  Window window_;
  GrowingBuffer taken_;  // what Take gives when the window is too small for it
};

}  // namespace tagsmith
