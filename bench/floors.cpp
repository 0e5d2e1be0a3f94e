#include "bench/floors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <span>

#include "tags/own/id3v2.h"
#include "tags/text_helpers.h"

namespace tagsmith::bench {
namespace {

/// A file descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(const std::string& path) : file_(::open(path.c_str(), O_RDONLY)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { ::close(file_); }

  [[nodiscard]] std::uint64_t Size() const {
    struct stat status {};
    ::fstat(file_, &status);
    return static_cast<std::uint64_t>(status.st_size);
  }
  [[nodiscard]] std::size_t ReadAt(std::span<std::byte> into, std::uint64_t offset) const {
    const ssize_t count = ::pread(file_, into.data(), into.size(), static_cast<off_t>(offset));
    return count < 0 ? 0 : static_cast<std::size_t>(count);
  }

 private:
  int file_;
};

constexpr std::uint32_t kBitRates[16] = {0,   32,  40,  48,  56,  64,  80,  96,
                                         112, 128, 160, 192, 224, 256, 320, 0};

constexpr std::array<std::uint32_t, 16> MakeLengths() {
  std::array<std::uint32_t, 16> lengths{};
  for (std::size_t i = 0; i < lengths.size(); ++i) {
    lengths[i] = kBitRates[i] * 144000 / 44100;
  }
  return lengths;
}
constexpr std::array<std::uint32_t, 16> kLengths = MakeLengths();

}  // namespace

SystemSource::SystemSource(const std::string& path)
    : path_(path), file_(::open(path.c_str(), O_RDONLY)) {}

SystemSource::~SystemSource() { ::close(file_); }

ReadResult SystemSource::Read(std::span<std::byte> into) {
  ++calls_;
  const ssize_t count = ::read(file_, into.data(), into.size());
  if (count < 0) {
    return {0, EIO};
  }
  position_ += static_cast<std::uint64_t>(count);
  endOfLastRead_ = position_;
  return {static_cast<std::size_t>(count)};
}

std::optional<std::uint64_t> SystemSource::Seek(std::int64_t offset, SeekOrigin origin) {
  constexpr int kOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  ++calls_;
  const off_t position = ::lseek(file_, offset, kOrigins[static_cast<std::size_t>(origin)]);
  if (position < 0) {
    return std::nullopt;
  }
  position_ = static_cast<std::uint64_t>(position);
  return position_;
}

SourceStatus SystemSource::Status() {
  ++calls_;
  struct stat status {};
  ::fstat(file_, &status);
  return {path_, static_cast<std::uint64_t>(status.st_size)};
}

TagPlace FindTag(const std::string& path) {
  std::vector<std::byte> content(
      std::min<std::uintmax_t>(std::filesystem::file_size(path), 64U << 20U));
  content.resize(Descriptor(path).ReadAt(content, 0));
  if (path.ends_with(".mp3")) {
    return {0, GetV2TagSize(content)};
  }
  const std::size_t start = AsText(content).rfind("ID3 ") + 8;
  return {start, GetV2TagSize(ByteView(content).subspan(start))};
}

void ReadUnavoidable(const std::string& path, const TagPlace& tag, std::vector<std::byte>& buffer) {
  constexpr std::uint32_t kHeader = 10;
  const Descriptor file(path);
  const std::span<std::byte> memory(buffer);
  sink = file.ReadAt(memory.first(128), file.Size() - 128);
  sink = file.ReadAt(memory.first(kHeader), tag.start);
  if (tag.size > kHeader) {
    sink = file.ReadAt(memory.subspan(kHeader, tag.size - kHeader), tag.start + kHeader);
  }
  sink = file.ReadAt(memory.first(412), tag.start + tag.size);
}

void ReadWhole(const std::string& path, std::vector<std::byte>& buffer) {
  const Descriptor file(path);
  const std::span<std::byte> block = std::span(buffer).first(kBlockSize);
  std::uint64_t offset = 0;
  std::size_t count = 0;
  do {
    count = file.ReadAt(block, offset);
    offset += count;
  } while (count != 0);
}

BareWalk WalkBarely(const std::string& path, std::uint64_t start, std::vector<std::byte>& buffer,
                    std::uint64_t mostFrames) {
  constexpr std::size_t kHeader = 4;
  const Descriptor file(path);
  const std::span<std::byte> block = std::span(buffer).first(kBlockSize);
  BareWalk walk{.end = start};
  while (walk.frames < mostFrames) {
    const std::size_t count = file.ReadAt(block, walk.end);
    std::size_t at = 0;
    std::uint64_t frames = 0;
    for (; at + kHeader <= count && walk.frames + frames < mostFrames; ++frames) {
      const auto third = std::to_integer<std::uint32_t>(block[at + 2]);
      if (block[at] != std::byte{0xFF} || (block[at + 1] & std::byte{0xE0}) != std::byte{0xE0}) {
        break;
      }
      at += kLengths[third >> 4U] + (third >> 1U & 1U);
    }
    walk.frames += frames;
    walk.end += at;
    if (frames == 0) {
      break;
    }
  }
  return walk;
}

}  // namespace tagsmith::bench
