// Opens the input in both readings while the n-th call of its source goes wrong, or the n-th
// allocation fails, for every n: nothing escapes, nothing leaks, and it ends.
#include <algorithm>
#include <fstream>

#include "fuzz/counted_memory.h"
#include "fuzz/target.h"
#include "tags/reading.h"

namespace tagsmith::fuzz {
namespace {

constexpr int kMostFaults = 300;  // of an input that takes more calls or allocations

enum class Fault { kNone, kFails, kFailsFromThere, kIsShort, kOverstates, kThrows };

/// A source one call of which goes wrong.
class FaultySource : public MemorySource {
 public:
  FaultySource(std::string_view content, const char* name, Fault fault, int call)
      : MemorySource(test::Bytes(content), name), fault_(fault), left_(call) {}

  ReadResult Read(std::span<std::byte> into) override {
    const Fault fault = Next();
    if (fault == Fault::kFails) {
      return {0, EIO};
    }
    if (fault == Fault::kIsShort) {
      into = into.first((into.size() + 1) / 2);
    }
    ReadResult result = MemorySource::Read(into);
    result.count += fault == Fault::kOverstates ? 100'000 : 0;
    return result;
  }
  std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) override {
    const Fault fault = Next();
    std::optional<std::uint64_t> reached;
    if (fault != Fault::kFails) {
      reached = MemorySource::Seek(offset, origin);
    }
    if (reached && fault == Fault::kOverstates) {
      *reached += 100'000;
    }
    return reached;
  }
  SourceStatus Status() override {
    Next();
    return MemorySource::Status();
  }

  [[nodiscard]] bool WasReached() const { return left_ < 0; }
  [[nodiscard]] int Calls() const { return calls_; }

 private:
  /// What becomes of this call.
  Fault Next() {
    ++calls_;
    --left_;
    const bool isDue = fault_ == Fault::kFailsFromThere ? left_ < 0 : left_ == -1;
    if (isDue && fault_ == Fault::kThrows) {
      throw std::runtime_error("source");
    }
    return !isDue ? Fault::kNone : fault_ == Fault::kFailsFromThere ? Fault::kFails : fault_;
  }

  Fault fault_;
  int left_;
  int calls_ = 0;
};

using Open = void (*)(ByteSource& source, const char* name, ID3Tag& tag);
constexpr Open kOpens[] = {
    [](ByteSource& source, const char* /*name*/, ID3Tag& tag) {
      OpenTrackFromStream(&source, &tag);
    },
    [](ByteSource& source, const char* name, ID3Tag& tag) {
      CheckExtension(name, &tag);
      ReadTrackFile(tag, source, name, kScanAll, nullptr);
    },
    [](ByteSource& source, const char* /*name*/, ID3Tag& tag) {
      standard::OpenStream(&source, &tag);
    },
};

/// Opens the input with a fault at each call in turn.
void SpoilSources(std::string_view input, const char* name, Open open) {
  ID3Tag whole;
  FaultySource good(input, name, Fault::kNone, 0);
  open(good, name, whole);
  const std::string expected = AsJson(whole);
  for (const Fault fault : {Fault::kFails, Fault::kFailsFromThere, Fault::kIsShort,
                            Fault::kOverstates, Fault::kThrows}) {
    bool isReached = true;
    for (int call = 0; isReached && call < kMostFaults; ++call) {
      const std::size_t before = memory.live;
      {
        ID3Tag tag;
        FaultySource source(input, name, fault, call);
        open(source, name, tag);
        isReached = source.WasReached();
        Require(source.Calls() <= 200 + 4 * good.Calls(), "a fault causes few calls");
        Require(fault != Fault::kIsShort || AsJson(tag) == expected,
                "a short read changes nothing");
      }
      Require(memory.live == before, "a faulty source leaks nothing");
    }
  }
}

/// Has each allocation fail in turn.
void DenyMemory(const Reading& reading, std::string_view input, const char* name,
                const std::string& path) {
  bool isReached = true;
  for (unsigned i = 0; isReached && i < kMostFaults; ++i) {
    const std::size_t before = memory.live;
    {
      ID3Tag tag;
      MemorySource source(test::Bytes(input), name);
      memory.failing = memory.allocations + i;
      reading.openStream(&source, &tag);
      isReached = memory.allocations > memory.failing;
      memory.failing = memory.allocations + i;
      ID3Tag tagOfFile;
      reading.openFile(tagOfFile, path.c_str(), kScanAll, nullptr, true);
      isReached = isReached || memory.allocations > memory.failing;
      memory.failing = UINT64_MAX;
    }
    Require(memory.live == before, "a failed allocation leaks nothing");
  }
}

void Check(std::string_view input, const char* name) {
  for (const Open open : kOpens) {
    SpoilSources(input, name, open);
  }
  static const test::TemporaryFile file("s", "");
  const std::string path = std::string(file.Path()) + (name + 1);
  std::ofstream(path, std::ios::binary) << input;
  for (const Reading* reading : {&kOwnReading, &kStandardReading}) {
    DenyMemory(*reading, input, name, path);
  }
}

}  // namespace

void CheckFaults(std::string_view input) {
  Check(input, "s.mp3");
  Check(input, "s.aif");
}

}  // namespace tagsmith::fuzz
