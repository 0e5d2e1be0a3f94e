// A track held in memory.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "tags/byte_source.h"

namespace tagsmith {

/// Reads bytes that the caller keeps alive. Seeking before the beginning fails, seeking past the
/// end does not.
class MemorySource : public ByteSource {
 public:
  MemorySource(std::span<const std::byte> bytes, std::string name)
      : bytes_(bytes), name_(std::move(name)) {}

  ReadResult Read(std::span<std::byte> into) override {
    const std::size_t start =
        static_cast<std::size_t>(std::min<std::uint64_t>(position_, bytes_.size()));
    const std::size_t count = std::min(into.size(), bytes_.size() - start);
    if (count != 0) {
      std::memcpy(into.data(), bytes_.data() + start, count);
    }
    position_ += count;
    return {count};
  }

  std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) override {
    const std::uint64_t base = origin == SeekOrigin::kBegin     ? 0
                               : origin == SeekOrigin::kCurrent ? position_
                                                                : bytes_.size();
    const std::int64_t target = static_cast<std::int64_t>(base) + offset;
    if (target < 0) {
      return std::nullopt;
    }
    position_ = static_cast<std::uint64_t>(target);
    return position_;
  }

  SourceStatus Status() override { return {name_, bytes_.size()}; }

 private:
  std::span<const std::byte> bytes_;
  std::string name_;
  std::uint64_t position_ = 0;
};

}  // namespace tagsmith
