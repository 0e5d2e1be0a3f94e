// Opens mutated tracks in every way and watches for faults, long times and large allocations:
// fuzz_tracks ROUNDS [SEED-FILE...]
//
// The sanitizers find the faults; this program ends with 1 when an input took too long or made the
// library allocate much more than the input's size, and leaves that input in a file.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <new>
#include <random>

#include "diag/log.h"
#include "tags/own/track_opening.h"
#include "tags/picture_size.h"
#include "tags/standard/opening.h"
#include "tests/unit/test_support.h"

namespace {

std::atomic<std::size_t> allocated;

}  // namespace

void* operator new(std::size_t size) {
  allocated += size;
  if (void* memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace tagsmith::test {
namespace {

constexpr unsigned k128 = 9;

std::vector<std::string> BuiltInSeeds() {
  const std::string wide = "\xFF\xFE" + Utf16Le(u"Wide");
  const std::string jpeg = "\xFF\xD8" + std::string(500, 'j');
  const auto frames = [&](int version) {
    const auto frame = [&](std::string_view id, std::string_view id22, std::string_view data) {
      return Frame(version, version == 2 ? id22 : id, data);
    };
    return frame("TIT2", "TT2", "\1" + wide) + frame("TPE1", "TP1", "\3gr\xC3\xBC\xC3\x9F") +
           frame("TCON", "TCO", "\0(17)x"s) + frame("COMM", "COM", "\0engd\0line\nline"s) +
           frame("USLT", "ULT", "\1eng\xFF\xFE\0\0"s + wide) + frame("TRCK", "TRK", "\0003/4"s) +
           frame("TXXX", "TXX", "\1\xFF\xFE\0\0"s + wide) + frame("WXXX", "WXX", "\0d\0u"s) +
           frame("UFID", "UFI", "o\0id"s) + frame("POPM", "POP", "e\0\x80"s) +
           (version == 2 ? Frame(2, "PIC", "\0JPG\3\0"s + jpeg)
                         : Frame(version, "APIC", "\1image/jpeg\0\3\0\0"s + jpeg));
  };
  const std::string flagged = Frame(4, "TIT2", "\0\0\0\6\2\0\xFF\0b\0c"s, 3) + "TALB\0\0\1\0\0\0"s +
                              '\0' + std::string(255, 'x') + frames(4);
  const std::string audio = MpegFrames(k128, 4) + MpegFrames(k128 + 2, 3) + V1Block("v1", 3, 4);
  std::string info = audio;
  info.replace(36, 4, "Info").replace(156, 9, "LAME3.99r");
  const std::string deflated =
      "x\x9C\x63\x48\xCE\xCF\x2D\x28\x4A\x2D\x2E\x4E\x4D\x51\x28\xC9\x2C\xC9\x49\x05\0\x37\xC5\x06\x78"s;
  std::string vbri = MpegFrames(k128, 3);
  vbri.replace(36, 18, "VBRI\0\1\0\0\0\0\0\0\1\0\0\0\0\2"s);
  const std::string comm = CommChunk(2, 44100, 16);
  return {
      V2Tag(2, frames(2)) + audio,
      V2Tag(3, frames(3)) + info,
      V2Tag(3, Frame(3, "TIT2", Big32(17) + deflated, 0x80) + frames(3), 0x80) + vbri,
      V2Tag(4, frames(4) + std::string(20, '\0')) + audio,
      V2Tag(4, flagged) + info,
      V2Tag(3, Big32(6) + std::string(6, '\0') + frames(3), 0x40) + audio,
      audio,
      Aiff("AIFF", comm + Chunk("SSND", std::string(99, 's')) + Chunk("ID3 ", V2Tag(3, frames(3)))),
      Aiff("AIFC", Chunk("ID3 ", V2Tag(2, frames(2))) + comm),
      // Pictures, for the reading of their sizes.
      PngHead(64, 64, 8, 2),
      BmpPicture(8, 8, 24, "", "rows"),
      "\xFF\xD8\xFF\xE0\0\6JFIF\xFF\xC2\0\x0B\x08\0\x10\0\x10\3"s,
      "GIF89a\4\0\4\0\x80\0\0pppppp!\xF9\4....\0,\0\0\0\0\4\0\4\0\0\2\1x\0;"s,
      "MM\0*\0\0\0\x08\0\2\1\0\0\3\0\0\0\1\0\x09\0\0\1\1\0\4\0\0\0\1\0\0\0\x09"s,
  };
}

std::string ReadFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class Mutator {
 public:
  explicit Mutator(std::vector<std::string> seeds) : seeds_(std::move(seeds)) {}

  std::string Next() {
    std::string input = Seed();
    for (std::size_t i = 0, count = 1 + Below(6); i < count; ++i) {
      Mutate(input);
    }
    return input;
  }

 private:
  std::size_t Below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }
  const std::string& Seed() { return seeds_[Below(seeds_.size())]; }

  /// Half of the places lie near the beginning, where the headers are.
  std::size_t Place(const std::string& input) {
    return Below(2) == 0 ? Below(input.size()) : Below(std::min<std::size_t>(input.size(), 64));
  }

  void Mutate(std::string& input) {
    static constexpr std::string_view kWords[] = {"\0"sv,
                                                  "\xFF"sv,
                                                  "\x7F"sv,
                                                  "\x80"sv,
                                                  "\0\0\0\0"sv,
                                                  "ID3"sv,
                                                  "LAME"sv,
                                                  "\xFF\xFB\x90"sv,
                                                  "\xFF\xFF\xFF\xFF"sv,
                                                  "\x7F\x7F\x7F\x7F"sv,
                                                  "Xing"sv,
                                                  "\xFF\xFE"sv,
                                                  "\r"sv,
                                                  "\n"sv,
                                                  "\xFF\xFB\x02\0"sv,
                                                  "ID3 "sv,
                                                  "COMM"sv,
                                                  "TCON"sv,
                                                  "\0\0\0\1"sv,
                                                  "\xFF\xFB\x9C\0"sv};
    const std::size_t place = Place(input);
    switch (Below(7)) {
      case 0:
        if (!input.empty()) {
          input[place] = static_cast<char>(random_());
        }
        break;
      case 1:
        if (!input.empty()) {
          input[place] = static_cast<char>(input[place] ^ (1 << Below(8)));
        }
        break;
      case 2: {
        const std::string_view word = kWords[Below(std::size(kWords))];
        input.replace(place, Below(2) * word.size(), word);
        break;
      }
      case 3:
        input.erase(place, Below(Below(2) == 0 ? 8 : 2000));
        break;
      case 4:
        input.insert(place, input.substr(Place(input), Below(600)));
        break;
      case 5:
        input.resize(place);
        break;
      default: {
        const std::string& other = Seed();
        input = input.substr(0, place) + other.substr(Below(other.size()));
      }
    }
  }

  std::vector<std::string> seeds_;
  std::mt19937 random_{20240517};
};

/// A file under both names, whose content is replaced for each input.
class TrackFile {
 public:
  TrackFile() { std::filesystem::create_hard_link(mp3_.Path(), Aiff()); }
  [[nodiscard]] std::string Mp3() const { return mp3_.Path(); }
  [[nodiscard]] std::string Aiff() const { return Mp3() + ".aif"; }
  void Fill(const std::string& content) const {
    std::ofstream(Mp3(), std::ios::binary | std::ios::trunc) << content;
  }

 private:
  TemporaryFile mp3_{"fuzz.mp3", ""};
};

void OpenFile(const std::string& path, std::uint32_t scanMode) {
  ID3Tag tag;
  tag.ignoreSizeErrors = true;
  tag.keepUnicode = scanMode != 1;
  tag.extraFramesMode = static_cast<ExtraFramesMode>(scanMode);
  OpenTrackFromFile(tag, path.c_str(), scanMode, nullptr, false);
}

void OpenStream(const std::string& content, const char* name) {
  MemorySource source(Bytes(content), name);
  ID3Tag tag;
  OpenTrackFromStream(&source, &tag);
}

void OpenInStandardReading(const std::string& content, const char* name) {
  MemorySource source(Bytes(content), name);
  ID3Tag tag;
  tag.extraFramesMode = ExtraFramesMode::kKeepAll;
  standard::OpenStream(&source, &tag);
}

/// What is wrong with how the input was handled; empty: nothing.
std::string Try(const TrackFile& file, const std::string& input) {
  // Texts become UTF-16 in buffers of twice their size and more; the large block comes on top.
  const std::size_t mostAllocated = 16 * input.size() + 200'000;
  const auto start = std::chrono::steady_clock::now();
  file.Fill(input);
  for (const std::string& path : {file.Mp3(), file.Aiff()}) {
    for (const std::uint32_t scanMode : {0U, 1U, 2U}) {
      allocated = 0;
      OpenFile(path, scanMode);
      if (allocated > mostAllocated) {
        return "opening " + path + " allocated " + std::to_string(allocated) + " bytes";
      }
    }
  }
  for (const char* name : {"s.mp3", "s.aif"}) {
    allocated = 0;
    OpenStream(input, name);
    if (allocated > mostAllocated) {
      return "opening a stream allocated " + std::to_string(allocated) + " bytes";
    }
  }
  for (const char* name : {"s.mp3", "s.aif", ""}) {
    allocated = 0;
    OpenInStandardReading(input, name);
    // Compressed frames may become 32 times as large, and so do their texts again.
    if (allocated > 128 * input.size() + 200'000) {
      return "the standard reading allocated " + std::to_string(allocated) + " bytes";
    }
  }
  ReadPictureSize(Bytes(input));
  const auto taken = std::chrono::steady_clock::now() - start;
  return taken > std::chrono::seconds(5) ? "took more than 5 seconds" : "";
}

int Run(long rounds, std::vector<std::string> seeds) {
  ConfigureLog(kLogInformation, std::fopen("/dev/null", "w"), nullptr, false, LogLetters::kNone);
  const TrackFile file;
  for (const std::string& seed : seeds) {
    Try(file, seed);
  }
  Mutator mutator(std::move(seeds));
  for (long round = 0; round < rounds; ++round) {
    const std::string input = mutator.Next();
    const std::string problem = Try(file, input);
    if (!problem.empty()) {
      std::ofstream("fuzz-finding.bin", std::ios::binary) << input;
      std::fprintf(stderr, "round %ld: %s (input in fuzz-finding.bin)\n", round, problem.c_str());
      return 1;
    }
  }
  std::printf("%ld mutated inputs, each opened in 11 ways\n", rounds);
  return 0;
}

}  // namespace
}  // namespace tagsmith::test

int main(int argc, char** argv) {
  std::vector<std::string> seeds = tagsmith::test::BuiltInSeeds();
  for (int i = 2; i < argc; ++i) {
    seeds.push_back(tagsmith::test::ReadFile(argv[i]));
  }
  return tagsmith::test::Run(argc > 1 ? std::strtol(argv[1], nullptr, 10) : 10'000,
                             std::move(seeds));
}
