// A file on disk, read through the run-time library's streams.
#pragma once

#include <string>

#include "tags/byte_source.h"
#include "tags/platform.h"

namespace tagsmith {

class FileSource : public ByteSource {
 public:
  /// Owns an open file; `name` is what Status tells. The stream's own buffer is switched off, since
  /// the reader in front of a source keeps one.
  FileSource(FilePointer file, std::string name);

  ReadResult Read(std::span<std::byte> into) override;
  std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) override;
  SourceStatus Status() override;

 private:
  FilePointer file_;
  std::string name_;
};

}  // namespace tagsmith
