// What nobody can do without: the bare reads, and a walk over frames that keeps nothing. And the
// thinnest source there can be, which counts its calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tags/byte_source.h"

namespace tagsmith::bench {

inline volatile std::uint64_t sink;  // keeps what is read from being optimised away

/// A source straight on the system's calls.
class SystemSource : public ByteSource {
 public:
  explicit SystemSource(const std::string& path);
  ~SystemSource() override;
  SystemSource(const SystemSource&) = delete;
  SystemSource& operator=(const SystemSource&) = delete;

  ReadResult Read(std::span<std::byte> into) override;
  std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) override;
  SourceStatus Status() override;

  [[nodiscard]] std::uint64_t Calls() const { return calls_; }
  /// Right after the last byte of the last read.
  [[nodiscard]] std::uint64_t EndOfLastRead() const { return endOfLastRead_; }

 private:
  const std::string& path_;
  int file_;
  std::uint64_t calls_ = 0;
  std::uint64_t position_ = 0;
  std::uint64_t endOfLastRead_ = 0;
};

/// Where the ID3v2 tag of a track begins, and its size in bytes, header included; 0: none.
struct TagPlace {
  std::uint64_t start = 0;
  std::uint32_t size = 0;
};
TagPlace FindTag(const std::string& path);

/// Reads what a reader of a stream needs, and nothing else: the last 128 bytes, the tag's header,
/// the tag, 412 bytes after it. `buffer` must have room for the tag.
void ReadUnavoidable(const std::string& path, const TagPlace& tag, std::vector<std::byte>& buffer);

/// Reads a file in large blocks. `buffer` takes a block.
void ReadWhole(const std::string& path, std::vector<std::byte>& buffer);

struct BareWalk {
  std::uint64_t frames = 0;
  std::uint64_t end = 0;  // of the last frame in the file
};
/// Follows MPEG-1 layer 3 frames of 44.1 kHz from `start` to the last of them, or as many as are
/// asked for, with nothing done but finding the next one.
BareWalk WalkBarely(const std::string& path, std::uint64_t start, std::vector<std::byte>& buffer,
                    std::uint64_t mostFrames = std::numeric_limits<std::uint64_t>::max());

/// Room for a block of ReadWhole and WalkBarely.
inline constexpr std::size_t kBlockSize = std::size_t{256} * 1024;

}  // namespace tagsmith::bench
