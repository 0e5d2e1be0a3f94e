// Measures the opening of tracks: this library, the reads that cannot be avoided, and other
// libraries, in one process and in turn, so that all of them see the same machine.
// bench_opening DIR [ROUNDS]
#include <fcntl.h>
#include <mpg123.h>
#include <sys/stat.h>
#include <taglib/aifffile.h>
#include <taglib/mpegfile.h>
#include <taglib/tag.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "diag/log.h"
#include "tags/byte_order.h"
#include "tags/own/id3v2.h"
#include "tags/own/track_opening.h"
#include "tags/standard/opening.h"

namespace {

std::size_t allocations;
std::size_t allocatedBytes;
volatile std::size_t sink;  // keeps results from being optimised away

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  allocatedBytes += size;
  if (void* memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace tagsmith {
namespace {

/// A source straight on the system's calls, as thin as a stream can be; counts them.
class SystemSource : public ByteSource {
 public:
  explicit SystemSource(const char* path) : path_(path), file_(::open(path, O_RDONLY)) {}
  ~SystemSource() override { ::close(file_); }
  SystemSource(const SystemSource&) = delete;
  SystemSource& operator=(const SystemSource&) = delete;

  ReadResult Read(std::span<std::byte> into) override {
    ++calls;
    const ssize_t count = ::read(file_, into.data(), into.size());
    return {count < 0 ? 0 : static_cast<std::size_t>(count), count < 0};
  }
  std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) override {
    ++calls;
    const int whence = origin == SeekOrigin::kBegin     ? SEEK_SET
                       : origin == SeekOrigin::kCurrent ? SEEK_CUR
                                                        : SEEK_END;
    const off_t position = ::lseek(file_, offset, whence);
    return position < 0 ? std::nullopt : std::optional(static_cast<std::uint64_t>(position));
  }
  SourceStatus Status() override {
    ++calls;
    struct stat status {};
    ::fstat(file_, &status);
    return {path_, static_cast<std::uint64_t>(status.st_size)};
  }

  int calls = 0;

 private:
  const char* path_;
  int file_;
};

/// What a reader of a stream needs, and nothing else: the last 128 bytes, the tag's header, the
/// tag, 412 bytes after it.
void ReadUnavoidable(const std::string& path, std::uint64_t tagStart, std::uint32_t tagSize,
                     std::vector<std::byte>& buffer) {
  const int file = ::open(path.c_str(), O_RDONLY);
  struct stat status {};
  ::fstat(file, &status);
  std::array<std::byte, 128> block{};
  sink = static_cast<std::size_t>(::pread(file, block.data(), block.size(), status.st_size - 128));
  const auto start = static_cast<off_t>(tagStart);
  sink = static_cast<std::size_t>(::pread(file, block.data(), 10, start));
  if (tagSize > 10) {
    sink = static_cast<std::size_t>(::pread(file, buffer.data(), tagSize - 10, start + 10));
  }
  sink = static_cast<std::size_t>(::pread(file, buffer.data(), 412, start + tagSize));
  ::close(file);
}

void ReadWhole(const std::string& path, std::vector<std::byte>& buffer) {
  constexpr std::size_t kBlock = std::size_t{256} * 1024;
  const int file = ::open(path.c_str(), O_RDONLY);
  while (::read(file, buffer.data(), kBlock) > 0) {
  }
  ::close(file);
}

using StreamOpener = bool (*)(ByteSource* source, ID3Tag* tag);

int OpenAsStream(const std::string& path, StreamOpener open, bool keepPictures) {
  SystemSource source(path.c_str());
  ID3Tag tag;
  tag.keepPictures = keepPictures;
  open(&source, &tag);
  sink = tag.details.duration;
  return source.calls;
}

void OpenAsFile(const std::string& path, std::uint32_t scanMode) {
  ID3Tag tag;
  tag.keepPictures = scanMode == kScanAll;  // as the thumbnails and the columns have it
  OpenTrackFromFile(tag, path.c_str(), scanMode, nullptr, false);
  sink = tag.details.duration;
}

void OpenWithTagLib(const std::string& path) {
  const auto look = [](const TagLib::File& file) {
    sink = file.tag()->title().size() +
           static_cast<std::size_t>(file.audioProperties()->lengthInSeconds());
  };
  if (path.ends_with(".mp3")) {
    look(TagLib::MPEG::File(path.c_str(), true, TagLib::AudioProperties::Average));
  } else {
    look(TagLib::RIFF::AIFF::File(path.c_str(), true, TagLib::AudioProperties::Average));
  }
}

void ScanWithMpg123(const std::string& path) {
  mpg123_handle* handle = mpg123_new(nullptr, nullptr);
  mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET, 0);
  mpg123_open(handle, path.c_str());
  mpg123_scan(handle);
  sink = static_cast<std::size_t>(mpg123_length(handle));
  mpg123_delete(handle);
}

struct Candidate {
  std::string name;
  std::function<void()> run;
  std::vector<double> times{};  // microseconds

  [[nodiscard]] double Median() {
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2),
                     times.end());
    return times[times.size() / 2];
  }
};

/// Where the ID3v2 tag of a track begins, and its size; 0: none.
struct TagPlace {
  std::uint64_t start = 0;
  std::uint32_t size = 0;
};
TagPlace FindTag(const std::string& path) {
  SystemSource source(path.c_str());
  SourceReader reader(source, 0);
  std::vector<std::byte> content(std::filesystem::file_size(path));
  reader.Read(content);
  if (path.ends_with(".mp3")) {
    return {0, GetV2TagSize(content)};
  }
  const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
  const std::size_t chunk = text.rfind("ID3 ");
  return {chunk + 8, GetV2TagSize(ByteView(content).subspan(chunk + 8))};
}

struct Allocations {
  std::size_t count;
  std::size_t bytes;
};
template <typename Function>
Allocations CountAllocations(Function function) {
  allocations = 0;
  allocatedBytes = 0;
  function();
  return {allocations, allocatedBytes};
}

void Measure(const std::string& path, int rounds) {
  const auto size = std::filesystem::file_size(path);
  const TagPlace tag = FindTag(path);
  std::vector<std::byte> buffer(std::max<std::size_t>(tag.size, std::size_t{256} * 1024));
  const bool isMp3 = path.ends_with(".mp3");

  std::vector<Candidate> candidates = {
      {"unavoidable reads", [&] { ReadUnavoidable(path, tag.start, tag.size, buffer); }},
      {"stream, for thumbnails", [&] { OpenAsStream(path, OpenTrackFromStream, true); }},
      {"  in the standard reading", [&] { OpenAsStream(path, standard::OpenStream, true); }},
      {"stream, for properties", [&] { OpenAsStream(path, OpenTrackFromStream, false); }},
      {"  in the standard reading", [&] { OpenAsStream(path, standard::OpenStream, false); }},
      {"TagLib", [&] { OpenWithTagLib(path); }},
      {"whole file, 256 KB blocks", [&] { ReadWhole(path, buffer); }},
      {"file path, mode 0", [&] { OpenAsFile(path, kScanAll); }},
      {"file path, mode 1", [&] { OpenAsFile(path, kScanQuick); }},
      {"file path, mode 2", [&] { OpenAsFile(path, kScanConstant); }},
  };
  if (isMp3) {
    candidates.push_back({"libmpg123 scan", [&] { ScanWithMpg123(path); }});
  }
  for (int round = 0; round < rounds; ++round) {
    for (Candidate& candidate : candidates) {
      candidate.run();  // all find the processor's caches as they leave them themselves
      const auto start = std::chrono::steady_clock::now();
      candidate.run();
      const std::chrono::duration<double, std::micro> taken =
          std::chrono::steady_clock::now() - start;
      candidate.times.push_back(taken.count());
    }
  }

  std::printf("\n%s: %ju bytes, tag %u bytes\n", std::filesystem::path(path).filename().c_str(),
              static_cast<std::uintmax_t>(size), tag.size);
  const double streamFloor = candidates[0].Median();
  const double tagLib = candidates[5].Median();
  const double fileFloor = candidates[6].Median();
  const double mpg123 = isMp3 ? candidates.back().Median() : 0;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    Candidate& candidate = candidates[i];
    const double median = candidate.Median();
    const bool isStream = i < 6;
    std::printf("  %-28s %9.1f us  %5.2f x floor", candidate.name.c_str(), median,
                median / (isStream ? streamFloor : fileFloor));
    if (isStream) {
      std::printf("  TagLib / this %5.1f", tagLib / median);
    } else if (isMp3) {
      std::printf("  mpg123 / this %5.1f", mpg123 / median);
    }
    std::printf("\n");
  }
  const auto show = [](const char* name, const Allocations& made) {
    std::printf("  %s: %zu allocations (%zu KB)", name, made.count, made.bytes / 1024);
  };
  int calls = 0;
  for (const auto& [name, open] : {std::pair("stream", StreamOpener{OpenTrackFromStream}),
                                   std::pair("standard", StreamOpener{standard::OpenStream})}) {
    show(name, CountAllocations([&] { calls = OpenAsStream(path, open, true); }));
    std::printf(", %d calls\n", calls);
  }
  show("file", CountAllocations([&] { OpenAsFile(path, kScanAll); }));
  show("TagLib", CountAllocations([&] { OpenWithTagLib(path); }));
  std::printf("\n");
}

}  // namespace
}  // namespace tagsmith

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : ".";
  const int rounds = argc > 2 ? static_cast<int>(std::strtol(argv[2], nullptr, 10)) : 400;
  tagsmith::ConfigureLog(tagsmith::kLogWarning, nullptr, nullptr, false,
                         tagsmith::LogLetters::kNone);
  mpg123_init();
  std::printf("Medians of %d rounds, warm cache, one process, all candidates in turn\n", rounds);
  for (const char* name :
       {"cbr.mp3", "vbr-art.mp3", "cover.mp3", "long-cbr.mp3", "tag-at-end.aiff", "no-tag.mp3"}) {
    tagsmith::Measure(folder + "/" + name, rounds);
  }
  mpg123_exit();
}
