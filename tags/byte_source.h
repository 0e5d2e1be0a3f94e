// The only way in: where the bytes of a track come from.
//
// A call on a source may be slow (a file on a network share, a stream behind a process boundary);
// the parsers read through SourceReader, which makes few of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tagsmith {

enum class SeekOrigin { kBegin, kCurrent, kEnd };

struct ReadResult {
  std::size_t count = 0;  // bytes delivered
  int error = 0;          // an errno value; 0: the source reported no error, at most the end
};

struct SourceStatus {
  std::string_view name;   // UTF-8; a path, a bare file name, or empty where there is none
  std::uint64_t size = 0;  // in bytes, as the source says; not to be relied on
};

class ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  /// Reads up to `into.size()` bytes from the current position and moves past them. Fewer bytes are
  /// no proof of the end; none are.
  virtual ReadResult Read(std::span<std::byte> into) = 0;

  /// Moves the position; returns it, counted from the beginning, or nothing when it did not move.
  virtual std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) = 0;

  /// The name stays the source's, and is good until the next call of Status.
  virtual SourceStatus Status() = 0;
};

}  // namespace tagsmith
