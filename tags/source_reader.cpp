#include "tags/source_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tagsmith {

SourceReader::SourceReader(ByteSource& source, std::uint64_t sizeHint)
    : source_(source), sizeHint_(sizeHint) {
  // The block itself is left as it is: only bytes that were read into it are ever handed out.
  window_ = smallBlock_;
}

std::size_t SourceReader::Read(std::span<std::byte> into) {
  std::size_t total = 0;
  while (total < into.size()) {
    const ByteView block = Buffered(1);
    if (block.empty()) {
      break;
    }
    const std::size_t count = std::min(block.size(), into.size() - total);
    std::memcpy(into.data() + total, block.data(), count);
    Skip(static_cast<std::int64_t>(count));
    total += count;
  }
  return total;
}

ByteView SourceReader::Take(std::uint64_t count, std::size_t lookAhead) {
  const std::uint64_t wanted = count + lookAhead;
  if (wanted <= window_.size()) {
    const ByteView view = Peek(static_cast<std::size_t>(wanted));
    const ByteView bytes = view.first(std::min<std::size_t>(view.size(), count));
    Skip(static_cast<std::int64_t>(bytes.size()));
    return bytes;
  }

  const ByteView buffered = Buffered(1);
  const std::uint64_t start = position_;
  const std::uint64_t expected = sizeHint_ > start ? sizeHint_ - start : 0;
  std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(buffered.size(), wanted));
  const std::uint64_t atOnce =
      std::min({wanted, expected, static_cast<std::uint64_t>(kTrustedSize)});
  std::size_t capacity = std::max(static_cast<std::size_t>(atOnce), length);
  taken_ = std::make_unique_for_overwrite<std::byte[]>(capacity);
  std::memcpy(taken_.get(), buffered.data(), length);
  position_ = start + length;
  while (length < wanted && MoveSource(position_)) {
    if (length == capacity) {
      // More is there than the source said: prove it by a small block before growing.
      capacity = static_cast<std::size_t>(
          std::min<std::uint64_t>(wanted, std::max(2 * capacity, length + kSmallBlock)));
      std::unique_ptr<std::byte[]> larger = std::make_unique_for_overwrite<std::byte[]>(capacity);
      std::memcpy(larger.get(), taken_.get(), length);
      taken_ = std::move(larger);
    }
    const std::size_t arrived =
        ReadSource({taken_.get() + length, capacity - length}, capacity - length);
    if (arrived == 0) {
      break;
    }
    length += arrived;
    position_ += arrived;
  }

  // What lies behind the bytes asked for is the new window.
  const auto bytes = static_cast<std::size_t>(std::min<std::uint64_t>(length, count));
  windowStart_ = start + bytes;
  windowLength_ = length - bytes;
  std::memcpy(window_.data(), taken_.get() + bytes, windowLength_);
  position_ = windowStart_;
  return {taken_.get(), bytes};
}

void SourceReader::Skip(std::int64_t count) {
  NotePosition();
  if (count < 0) {
    position_ -= std::min<std::uint64_t>(position_, 0 - static_cast<std::uint64_t>(count));
  } else {
    position_ += static_cast<std::uint64_t>(count);
  }
}

bool SourceReader::SeekTo(std::uint64_t position) {
  if (baseKnown_) {
    NotePosition();
    position_ = position;
    return true;
  }
  return SeekAbsolute(static_cast<std::int64_t>(position), SeekOrigin::kBegin);
}

bool SourceReader::SeekFromEnd(std::uint64_t count) {
  return SeekAbsolute(-static_cast<std::int64_t>(count), SeekOrigin::kEnd);
}

void SourceReader::UseLargeBlocks() {
  if (largeBlock_ != nullptr) {
    return;
  }
  largeBlock_ = std::make_unique_for_overwrite<std::byte[]>(kLargeBlock);
  std::memcpy(largeBlock_.get(), window_.data(), windowLength_);
  window_ = {largeBlock_.get(), kLargeBlock};
}

void SourceReader::Settle() { MoveSource(position_); }

/// Makes the window hold `atLeast` bytes from the position on, if the source has them.
void SourceReader::Fill(std::size_t atLeast) {
  const std::size_t kept = InWindow();
  if (kept != 0) {
    std::memmove(window_.data(), window_.data() + (windowLength_ - kept), kept);
  }
  windowStart_ = position_;
  windowLength_ = kept;
  std::size_t needed = atLeast;
  if (kept == 0 && physical_ < position_ && position_ - physical_ <= kLargestGapRead) {
    // Reading over a small gap costs less than a seek.
    const auto gap = static_cast<std::size_t>(position_ - physical_);
    if (gap + atLeast <= window_.size()) {
      windowStart_ = physical_;
      needed += gap;
    }
  }
  if (!MoveSource(windowStart_ + kept)) {
    StandBack();
    return;
  }
  while (windowLength_ < needed) {
    const std::size_t count = ReadSource(window_.subspan(windowLength_), needed - windowLength_);
    if (count == 0) {
      break;
    }
    windowLength_ += count;
  }
  const bool endsBeforePosition = windowStart_ + windowLength_ < position_;
  if (endsBeforePosition && !MoveSource(position_)) {
    StandBack();
  }
}

/// The seek that led to the position would have failed: stands where it was made, with nothing in
/// memory.
void SourceReader::StandBack() {
  position_ = lastReached_;
  windowStart_ = position_;
  windowLength_ = 0;
}

/// One read of the source; when reading ahead fails, another of just what is needed.
std::size_t SourceReader::ReadSource(std::span<std::byte> into, std::size_t needed) {
  if (atEnd_) {
    return 0;
  }
  ReadResult result = source_.Read(into);
  if (result.error != 0 && result.count == 0 && needed < into.size()) {
    result = source_.Read(into.first(needed));
  }
  lastError_ = result.error;
  physical_ += result.count;
  atEnd_ = result.count == 0;
  return result.count;
}

bool SourceReader::MoveSource(std::uint64_t to) {
  if (to == physical_) {
    return true;
  }
  const auto distance = static_cast<std::int64_t>(to - physical_);
  if (!source_.Seek(distance, SeekOrigin::kCurrent)) {
    return false;
  }
  physical_ = to;
  atEnd_ = false;
  return true;
}

bool SourceReader::SeekAbsolute(std::int64_t offset, SeekOrigin origin) {
  const std::optional<std::uint64_t> reached = source_.Seek(offset, origin);
  if (!reached) {
    return false;
  }
  if (!baseKnown_) {
    windowLength_ = 0;
    windowStart_ = *reached;
    baseKnown_ = true;
  }
  position_ = *reached;
  physical_ = *reached;
  atEnd_ = false;
  return true;
}

}  // namespace tagsmith
