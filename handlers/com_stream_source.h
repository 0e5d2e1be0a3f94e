// The shell's stream as a byte source.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <string>

#include "tags/byte_source.h"

namespace tagsmith {

/// Reads an IStream, which it neither keeps nor releases. Each call is one call of the stream.
class ComStreamSource : public ByteSource {
 public:
  explicit ComStreamSource(IStream& stream) : stream_(stream) {}

  ReadResult Read(std::span<std::byte> into) override;
  std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) override;
  /// The name is empty where the stream has none, and when it does not answer.
  SourceStatus Status() override;

 private:
  IStream& stream_;
  std::string name_;
};

}  // namespace tagsmith
