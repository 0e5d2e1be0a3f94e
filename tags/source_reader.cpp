#include "tags/source_reader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

namespace tagsmith {

SourceReader::SourceReader(ByteSource& source, std::uint64_t claimedSize)
    : source_(source), budget_(claimedSize), claimedSize_(claimedSize) {
  // The block itself is left as it is: only bytes that were read into it are ever handed out.
  window_ = Window(smallBlock_);
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

std::span<std::byte> SourceReader::Take(std::uint64_t count, std::size_t lookAhead) {
  std::uint64_t wanted = count + lookAhead;
  taken_ = {};
  if (wanted <= window_.Capacity()) {
    Buffered(static_cast<std::size_t>(wanted));
    const std::span<std::byte> all = window_.From(position_);
    const std::span<std::byte> bytes = all.first(std::min<std::size_t>(all.size(), count));
    Skip(static_cast<std::int64_t>(bytes.size()));
    return bytes;
  }
  std::uint64_t expected = claimedSize_ > position_ ? claimedSize_ - position_ : 0;
  if (count > std::min<std::uint64_t>(expected, kTrustedSize)) {
    if (const std::optional<std::uint64_t> there = BytesThere(count)) {
      expected = *there;
      wanted = expected + lookAhead;
    } else {
      expected = 0;
    }
  }
  const ByteView begun = Buffered(1);
  taken_ = GrowingBuffer(begun, std::min(wanted, expected + lookAhead), wanted);
  if (MoveSource(position_ + taken_.Length())) {
    Extend(taken_, wanted);
  }
  const std::span<std::byte> all = taken_.View();
  const std::span<std::byte> bytes = all.first(std::min<std::uint64_t>(all.size(), count));
  position_ += bytes.size();
  window_.Assign(position_, all.subspan(bytes.size()));
  return bytes;
}

/// How many bytes, `most` at the most, the source has from the position on; nothing where it does
/// not let itself be moved. Looks at the last of them first, twice: a source that tells of a byte
/// without delivering it leaves what was there before.
std::optional<std::uint64_t> SourceReader::BytesThere(std::uint64_t most) {
  std::array<std::byte, 2> seen{std::byte{0x00}, std::byte{0xFF}};
  bool isRead = true;
  for (std::byte& last : seen) {
    if (!MoveSource(position_ + most - 1)) {
      return std::nullopt;
    }
    isRead = isRead && ReadSource({&last, 1}, 1) == 1;
  }
  if (isRead && seen[0] == seen[1]) {
    return most;
  }
  const std::optional<std::uint64_t> end = CallSeek(0, SeekOrigin::kEnd);
  if (!end) {
    return std::nullopt;
  }
  physical_ = *end - std::min(*end, start_.value_or(0));
  return physical_ > position_ ? std::min(most, physical_ - position_) : 0;
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
  if (start_ == 0U) {
    NotePosition();
    position_ = position;
    return true;
  }
  return SeekAbsolute(static_cast<std::int64_t>(position), SeekOrigin::kBegin);
}

bool SourceReader::SeekFromEnd(std::uint64_t count) {
  return SeekAbsolute(-static_cast<std::int64_t>(count), SeekOrigin::kEnd);
}

void SourceReader::Settle() { MoveSource(position_); }

/// Makes the window hold `atLeast` bytes from the position on, if the source has them.
void SourceReader::Fill(std::size_t atLeast) {
  window_.BeginAt(position_);
  GrowBlock(static_cast<std::size_t>(
      std::bit_floor(std::min<std::uint64_t>(budget_.Delivered() / 8, kLargestBlock))));
  std::uint64_t needed = atLeast;
  const std::uint64_t gap = position_ - physical_;  // huge when the source stands further on
  if (window_.Length() == 0 && gap <= kLargestGapRead && gap + atLeast <= window_.Capacity()) {
    // Reading over a small gap costs less than a seek.
    window_.BeginAt(physical_);
    needed += gap;
  }
  if (!MoveSource(window_.End())) {
    StandBack();
    return;
  }
  Extend(window_, needed);
  if (window_.End() < position_ && !MoveSource(position_)) {
    StandBack();
  }
}

/// Gives the window a block of this size, unless it is as large already.
void SourceReader::GrowBlock(std::size_t size) {
  if (size <= window_.Capacity()) {
    return;
  }
  std::unique_ptr<std::byte[]> block = std::make_unique_for_overwrite<std::byte[]>(size);
  window_.MoveTo({block.get(), size});
  grownBlock_ = std::move(block);
}

/// The seek that led to the position would have failed: stands where it was made, with nothing in
/// memory.
void SourceReader::StandBack() {
  position_ = lastReached_;
  window_.Assign(position_, {});
}

/// Reads until the buffer has this length, which its room allows, or the source has no more.
template <typename Buffer>
void SourceReader::Extend(Buffer& buffer, std::uint64_t length) {
  while (buffer.Length() < length) {
    const std::span<std::byte> room = buffer.Room();
    const std::size_t count =
        ReadSource(room, std::min<std::uint64_t>(room.size(), length - buffer.Length()));
    if (count == 0) {
      return;
    }
    buffer.Extend(count);
  }
}

/// One read of the source; when reading ahead fails, another of just what is needed.
std::size_t SourceReader::ReadSource(std::span<std::byte> into, std::size_t needed) {
  ReadResult result;
  const auto read = [&](std::span<std::byte> part) {
    if (atEnd_ || !budget_.SpendCall()) {
      return;
    }
    result = source_.Read(part);
    // No source can deliver more than was asked for, whatever it says.
    result.count = std::min(result.count, part.size());
    lastError_ = result.error;
  };
  read(into);
  if (result.error != 0 && result.count == 0 && needed < into.size()) {
    read(into.first(needed));
  }
  budget_.CountBytes(result.count);
  physical_ += result.count;
  atEnd_ = result.count == 0;
  return result.count;
}

/// Moves the source; false when it does not end up there.
bool SourceReader::MoveSource(std::uint64_t to) {
  if (to == physical_) {
    return true;
  }
  const std::optional<std::uint64_t> reached =
      CallSeek(static_cast<std::int64_t>(to - physical_), SeekOrigin::kCurrent);
  if (reached && !start_) {
    // The first move tells where the reader started, if it can be true.
    start_ = *reached >= to ? *reached - to : 0;
  }
  if (reached) {
    physical_ = *reached - *start_;
  }
  return reached && physical_ == to;
}

bool SourceReader::SeekAbsolute(std::int64_t offset, SeekOrigin origin) {
  const std::optional<std::uint64_t> reached = CallSeek(offset, origin);
  if (!reached) {
    return false;
  }
  if (start_ != 0U) {
    window_.Assign(*reached, {});
    start_ = 0;
  }
  physical_ = *reached;
  if (origin == SeekOrigin::kBegin && *reached != static_cast<std::uint64_t>(offset)) {
    return false;
  }
  position_ = *reached;
  return true;
}

std::optional<std::uint64_t> SourceReader::CallSeek(std::int64_t offset, SeekOrigin origin) {
  if (!budget_.SpendCall()) {
    return std::nullopt;
  }
  const std::optional<std::uint64_t> reached = source_.Seek(offset, origin);
  if (reached) {
    atEnd_ = false;
  }
  return reached;
}

}  // namespace tagsmith
