// Measures the opening of tracks: both readings, the reads that cannot be avoided, and other
// libraries, in one process and in turn, so that all of them see the same machine.
// bench_opening CORPUS [ROUNDS [JSON-FILE]]
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/floors.h"
#include "bench/peers.h"
#include "bench/rows.h"
#include "diag/log.h"
#include "format/bounded.h"
#include "fuzz/counted_memory.h"
#include "tags/memory_source.h"
#include "tags/reading.h"

namespace tagsmith::bench {
namespace {

struct Bench {
  std::string corpus;
  int rounds;
  RowPrinter rows;
};

struct NamedReading {
  const Reading& reading;
  const char* suffix;
};
constexpr NamedReading kReadings[] = {{kOwnReading, ""}, {kStandardReading, ", standard"}};

struct Purpose {
  const char* name;
  const TagOptions& options;
};
constexpr Purpose kPurposes[] = {{"thumbnail", kPictureOptions}, {"properties", kFieldOptions}};

void Open(const Reading& reading, ByteSource& source, const TagOptions& options) {
  ID3Tag tag;
  static_cast<TagOptions&>(tag) = options;
  reading.openStream(&source, &tag);
  sink = tag.details.duration;
}

/// Runs `run` once and adds what it took of the heap to the row.
template <typename Function>
void CountHeap(Function run, Row& row) {
  fuzz::Memory& memory = fuzz::memory;
  memory.allocations = 0;
  const std::size_t before = memory.live;
  memory.peak = before;
  run();
  row.allocations = memory.allocations;
  row.bytes = memory.peak - before;
}

/// A row for each candidate but the first, which is the floor of them all, in microseconds.
std::vector<Row> RowsOf(const std::vector<Candidate>& candidates) {
  std::vector<Row> rows;
  rows.reserve(candidates.size());
  for (const Candidate& candidate : candidates) {
    rows.push_back({.name = candidate.name,
                    .value = candidate.best / 1000,
                    .floor = candidates.front().best / 1000});
  }
  return rows;
}

// ---- Streams ----------------------------------------------------------------------------------

std::vector<Candidate> StreamCandidates(const std::string& path) {
  std::vector<Candidate> candidates;
  for (const Purpose& purpose : kPurposes) {
    for (const NamedReading& named : kReadings) {
      candidates.push_back({std::string("stream, ") + purpose.name + named.suffix, [=, &path] {
                              SystemSource source(path);
                              Open(named.reading, source, purpose.options);
                            }});
    }
  }
  return candidates;
}

std::uint64_t CallsOf(const std::string& path, const Reading& reading, const TagOptions& options) {
  SystemSource source(path);
  Open(reading, source, options);
  return source.Calls();
}

/// The rows of one track, beside other libraries where `withPeers`.
void MeasureStream(Bench& bench, const std::string& path, const std::string& what, bool withPeers) {
  const TagPlace tag = FindTag(path);
  std::vector<std::byte> buffer(std::max<std::size_t>(tag.size, kBlockSize));
  std::vector<Candidate> candidates{
      {"unavoidable reads", [&] { ReadUnavoidable(path, tag, buffer); }}};
  const std::vector<Candidate> own = StreamCandidates(path);
  candidates.insert(candidates.end(), own.begin(), own.end());
  for (const Peer& peer : TagPeers()) {
    if (withPeers && (peer.readsAiff || path.ends_with(".mp3"))) {
      candidates.push_back({peer.name, [&] { peer.open(path); }});
    }
  }
  Race(candidates, bench.rounds);

  std::vector<Row> rows = RowsOf(candidates);
  std::size_t index = 1;
  for (const Purpose& purpose : kPurposes) {
    for (const NamedReading& named : kReadings) {
      Row& row = rows[index];
      row.calls = CallsOf(path, named.reading, purpose.options);
      CountHeap(candidates[index].run, row);
      ++index;
    }
  }
  for (Row& row : rows) {
    row.name = what + ": " + row.name;
    bench.rows.Print(row);
  }
}

void MeasureStreams(Bench& bench) {
  struct Track {
    const char* file;
    const char* what;
  };
  constexpr Track kTracks[] = {
      {"cbr.mp3", "ten texts"},
      {"vbr-art.mp3", "300 KB of art"},
      {"tag-at-end.aiff", "AIFF"},
      {"no-tag.mp3", "no tag"},
  };
  for (const Track& track : kTracks) {
    RowPrinter::Heading(std::string("Stream: ") + track.what);
    MeasureStream(bench, bench.corpus + "/" + track.file, track.what, true);
  }
}

// ---- Files ------------------------------------------------------------------------------------

constexpr std::uint32_t kScanModes[] = {kScanAll, kScanQuick, kScanConstant};

void OpenAsFile(const Reading& reading, const std::string& path, std::uint32_t scanMode) {
  ID3Tag tag;
  static_cast<TagOptions&>(tag) = kPictureOptions;
  reading.openFile(tag, path.c_str(), scanMode, nullptr, false);
  sink = tag.details.duration;
}

/// What a walk in this mode looked at and read.
struct Walked {
  std::uint64_t frames = 0;
  std::uint64_t calls = 0;
  std::uint64_t readBeyond = 0;  // bytes read after the last frame looked at
};
Walked LookAtWalk(const std::string& path, std::uint32_t scanMode, std::vector<std::byte>& buffer) {
  constexpr std::uint64_t kMostQuickFrames = 1001;
  ID3Tag tag;
  static_cast<TagOptions&>(tag) = kPictureOptions;
  tag.isMpeg = true;
  SystemSource source(path);
  ReadTrackFile(tag, source, path.c_str(), scanMode, nullptr);
  const std::uint64_t frames = tag.details.isEstimated ? kMostQuickFrames : tag.details.frameCount;
  const BareWalk walk = WalkBarely(path, tag.details.audioOffset, buffer, frames);
  return {frames, source.Calls(), source.EndOfLastRead() - walk.end};
}

/// What is measured of a file, in this order: the bare reads, three candidates for each mode, other
/// libraries.
class FileRace {
 public:
  FileRace(std::string path, std::string what)
      : path_(std::move(path)),
        what_(std::move(what)),
        tag_(FindTag(path_)),
        buffer_(std::max<std::size_t>(tag_.size, kBlockSize)) {
    Add("whole file, bare reads", [this] { ReadWhole(path_, buffer_); });
    for (const std::uint32_t mode : kScanModes) {
      walked_[mode] = LookAtWalk(path_, mode, buffer_);
      const std::string name = "mode " + std::to_string(mode);
      Add("bare walk", [this, mode] {
        ReadUnavoidable(path_, tag_, buffer_);
        WalkBarely(path_, tag_.size, buffer_, walked_[mode].frames);
      });
      for (const NamedReading& named : kReadings) {
        Add(name + named.suffix, [=, this] { OpenAsFile(named.reading, path_, mode); });
      }
    }
    for (const Peer& peer : ScanPeers()) {
      Add(peer.name, [=, this] { peer.open(path_); });
    }
  }

  void Run(Bench& bench) {
    Race(candidates_, bench.rounds);
    for (const std::uint32_t mode : kScanModes) {
      const std::size_t first = FirstOf(mode);
      PrintTimes(bench, first, first + 1, first + kCandidatesPerMode);
      bench.rows.Print({.name = candidates_[first + 1].name + ", read beyond",
                        .value = static_cast<double>(walked_[mode].readBeyond),
                        .unit = "B",
                        .calls = walked_[mode].calls});
    }
    bench.rows.Print({.name = what_ + ": mode 0, a frame beyond bare reads",
                      .value = PerFrame(FirstOf(kScanAll) + 1),
                      .unit = "ns",
                      .floor = PerFrame(FirstOf(kScanAll))});
    PrintTimes(bench, FirstOf(kScanAll), FirstOf(std::size(kScanModes)), candidates_.size());
  }

 private:
  static constexpr std::size_t kCandidatesPerMode = 1 + std::size(kReadings);
  static std::size_t FirstOf(std::size_t mode) { return 1 + mode * kCandidatesPerMode; }

  void Add(const std::string& name, std::function<void()> run) {
    candidates_.push_back({what_ + ": " + name, std::move(run)});
  }

  void PrintTimes(Bench& bench, std::size_t floor, std::size_t begin, std::size_t end) const {
    for (std::size_t i = begin; i < end; ++i) {
      bench.rows.Print({.name = candidates_[i].name,
                        .value = candidates_[i].best / 1000,
                        .floor = candidates_[floor].best / 1000});
    }
  }

  [[nodiscard]] double PerFrame(std::size_t candidate) const {
    return (candidates_[candidate].best - candidates_[0].best) /
           static_cast<double>(walked_[kScanAll].frames);
  }

  std::string path_;
  std::string what_;
  TagPlace tag_;
  std::vector<std::byte> buffer_;
  std::array<Walked, std::size(kScanModes)> walked_{};
  std::vector<Candidate> candidates_;
};

void MeasureFiles(Bench& bench) {
  for (const char* what : {"128k", "V2", "320k", "32k"}) {
    RowPrinter::Heading(std::string("File: ten minutes, ") + what);
    FileRace(bench.corpus + "/long-" + what + ".mp3", what).Run(bench);
  }
}

// ---- Growing tags and files -------------------------------------------------------------------

void AppendBigEndian(std::string& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(value >> static_cast<unsigned>(shift) & 0xFFU);
  }
}

void AppendFrame(std::string& bytes, std::string_view id, std::string_view body) {
  bytes += id;
  AppendBigEndian(bytes, static_cast<std::uint32_t>(body.size()));
  bytes.append(2, '\0');
  bytes += body;
}

/// An ID3v2.3 tag around these frames.
std::string TagAround(std::string_view frames) {
  const auto size = static_cast<std::uint32_t>(frames.size());
  std::string tag("ID3\3\0\0", 6);
  for (int shift = 21; shift >= 0; shift -= 7) {
    tag += static_cast<char>(size >> static_cast<unsigned>(shift) & 0x7FU);
  }
  return tag.append(frames);
}

/// Silent frames of 128 kbps at 44.1 kHz.
std::string AudioFrames(std::size_t count) {
  constexpr std::size_t kFrameSize = 417;
  std::string frame("\xFF\xFB\x90\x00", 4);
  frame.resize(kFrameSize);
  std::string frames;
  for (std::size_t i = 0; i < count; ++i) {
    frames += frame;
  }
  return frames;
}

/// A folder for made files, which goes with it.
class Scratch {
 public:
  Scratch() : folder_((std::filesystem::temp_directory_path() / "bench-XXXXXX").string()) {
    if (::mkdtemp(folder_.data()) == nullptr) {
      std::perror("scratch folder");
      std::exit(1);
    }
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  /// A file of this content, with zeros that take no space up to `size` bytes.
  [[nodiscard]] std::string Write(const std::string& content, std::uint64_t size) const {
    std::string path = folder_ + "/track.mp3";
    std::ofstream(path, std::ios::binary) << content;
    std::filesystem::resize_file(path, std::max<std::uint64_t>(size, content.size()));
    return path;
  }

 private:
  std::string folder_;
};

std::string SizeText(std::uint64_t bytes) {
  constexpr std::uint64_t kMegabyte = std::uint64_t{1} << 20U;
  return bytes < kMegabyte ? std::to_string(bytes >> 10U) + " KB"
                           : std::to_string(bytes / kMegabyte) + " MB";
}

void MeasureSizes(Bench& bench) {
  const Scratch scratch;
  const std::string audio = AudioFrames(1200);
  RowPrinter::Heading("Stream: size of the tag");
  for (std::uint64_t size = 1U << 10U; size <= 16U << 20U; size *= 4) {
    std::string picture("\0image/jpeg\0\3\0\xFF\xD8\xFF\xE0", 18);
    picture.resize(size - 20, '\1');
    std::string frames;
    AppendFrame(frames, "APIC", picture);
    const std::string path = scratch.Write(TagAround(frames) + audio, 0);
    MeasureStream(bench, path, "tag of " + SizeText(size), false);
  }
  RowPrinter::Heading("Stream: size of the file");
  std::string frames;
  AppendFrame(frames, "TIT2", "\1\xFF\xFET");
  for (const std::uint64_t megabytes : {1U, 32U, 512U, 2048U}) {
    const std::uint64_t size = megabytes << 20U;
    const std::string path = scratch.Write(TagAround(frames) + audio, size);
    MeasureStream(bench, path, "file of " + SizeText(size), false);
  }
}

// ---- Many frames ------------------------------------------------------------------------------

struct FrameSort {
  const char* id;
  std::string body;
};

std::string TagOfFrames(const FrameSort& sort, std::size_t count) {
  std::string frames;
  for (std::size_t i = 0; i < count; ++i) {
    AppendFrame(frames, sort.id, sort.body);
  }
  return TagAround(frames) + AudioFrames(1);
}

/// A text as UTF-16 with its mark.
std::string WideText(std::string_view text) {
  std::string wide = "\xFF\xFE";
  for (const char c : text) {
    wide += c;
    wide += '\0';
  }
  return wide;
}

void MeasureFrameCount(Bench& bench, const FrameSort& sort, std::size_t count) {
  constexpr TagOptions kKeep{};
  const std::string tagBytes = TagOfFrames(sort, count);
  // Padding in place of the frames: the same bytes to be read.
  std::string emptyBytes = tagBytes;
  std::fill(emptyBytes.begin() + 10, emptyBytes.end(), '\0');
  const auto open = [](const Reading& reading, const std::string& bytes,
                       const TagOptions& options) {
    MemorySource source(std::as_bytes(std::span(bytes)), "track.mp3");
    Open(reading, source, options);
  };
  for (const NamedReading& named : kReadings) {
    std::vector<Candidate> candidates{
        {"", [&] { open(named.reading, emptyBytes, kKeep); }},
        {", kept", [&] { open(named.reading, tagBytes, kKeep); }},
        {", dropped", [&] { open(named.reading, tagBytes, kPictureOptions); }},
    };
    Race(candidates, bench.rounds);
    for (std::size_t i = 1; i < candidates.size(); ++i) {
      bench.rows.Print(
          {.name = std::to_string(count) + " " + sort.id + candidates[i].name + named.suffix,
           .value = (candidates[i].best - candidates[0].best) / static_cast<double>(count),
           .unit = "ns"});
    }
  }
}

void MeasureFrames(Bench& bench) {
  const FrameSort sorts[] = {
      {"TXXX", "\1" + WideText("Catalogue") + std::string(2, '\0') + WideText("TX-1234567")},
      {"PRIV", "owner@example.org" + std::string(33, '\0')},
  };
  RowPrinter::Heading("ID3v2 frames, each beyond the reading of its bytes");
  for (const FrameSort& sort : sorts) {
    for (const std::size_t count : {10U, 100U, 1000U, 10'000U}) {
      MeasureFrameCount(bench, sort, count);
    }
  }
}

}  // namespace
}  // namespace tagsmith::bench

int main(int argc, char** argv) {
  namespace bench = tagsmith::bench;
  bench::Bench run{.corpus = argc > 1 ? argv[1] : ".",
                   .rounds = argc > 2 ? static_cast<int>(std::strtol(argv[2], nullptr, 10)) : 30,
                   .rows = bench::RowPrinter(argc > 3 ? argv[3] : nullptr)};
  tagsmith::ConfigureLog(tagsmith::kLogWarning, nullptr, nullptr, false,
                         tagsmith::LogLetters::kNone);
  bench::StartPeers();
  std::printf("Minima of %d rounds in random order, warm cache, one process\n", run.rounds);
  bench::MeasureStreams(run);
  bench::MeasureSizes(run);
  bench::MeasureFrames(run);
  bench::MeasureFiles(run);
}
