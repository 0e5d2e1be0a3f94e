#include "tags/file_source.h"

#include <cerrno>

#include "tags/platform.h"

namespace tagsmith {
namespace {

int StreamOrigin(SeekOrigin origin) {
  switch (origin) {
    case SeekOrigin::kCurrent:
      return SEEK_CUR;
    case SeekOrigin::kEnd:
      return SEEK_END;
    case SeekOrigin::kBegin:
      break;
  }
  return SEEK_SET;
}

}  // namespace

FileSource::FileSource(FilePointer file, std::string name)
    : file_(std::move(file)), name_(std::move(name)) {
  std::setvbuf(file_.Get(), nullptr, _IONBF, 0);
}

ReadResult FileSource::Read(std::span<std::byte> into) {
  const std::size_t count = std::fread(into.data(), 1, into.size(), file_.Get());
  const int error = std::ferror(file_.Get()) != 0 ? errno : 0;
  std::clearerr(file_.Get());
  return {count, error};
}

std::optional<std::uint64_t> FileSource::Seek(std::int64_t offset, SeekOrigin origin) {
  if (SeekFile(file_.Get(), offset, StreamOrigin(origin)) != 0) {
    return std::nullopt;
  }
  const std::int64_t position = TellFile(file_.Get());
  if (position < 0) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(position);
}

SourceStatus FileSource::Status() { return {name_, FileSizeOf(file_.Get()).value_or(0)}; }

}  // namespace tagsmith
