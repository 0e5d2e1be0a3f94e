// A file on disk, read through the run-time library's streams.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "tags/byte_source.h"

namespace tagsmith {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

class FileSource : public ByteSource {
 public:
  /// Takes over an open file; `name` is what Status tells. The stream's own buffer is switched
  /// off, since the reader in front of a source keeps one.
  FileSource(FileHandle file, std::string name);

  ReadResult Read(std::span<std::byte> into) override;
  std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) override;
  SourceStatus Status() override;

 private:
  FileHandle file_;
  std::string name_;
};

}  // namespace tagsmith
