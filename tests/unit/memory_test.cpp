// How much memory a track takes, by what operator new hands out.
#include <zlib.h>

#include <algorithm>
#include <random>

#include "diag/log.h"
#include "fuzz/counted_memory.h"
#include "tags/reading.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

/// The most that was held at once while the content was opened, its source not counted.
std::size_t MemoryToOpen(const Reading& reading, const TagOptions& options,
                         const std::string& content, std::size_t claimed) {
  ProbeSource source(content, "s.mp3");
  source.size = claimed;
  source.tellsMore = claimed > content.size();
  ID3Tag tag;
  static_cast<TagOptions&>(tag) = options;
  const std::size_t before = fuzz::memory.live;
  fuzz::memory.peak = before;
  reading.openStream(&source, &tag);
  return fuzz::memory.peak - before;
}

/// To show fields or a picture takes the tag's size and 1 MB, whatever is in it; to show everything
/// takes so many times the tag's size. A size that lies changes nothing.
TEST(Memory, FollowsTheTag) {
  constexpr std::size_t kSize = std::size_t{2} << 20U;
  constexpr std::size_t kSlack = std::size_t{1} << 20U;
  const auto text = [&](std::string_view id, std::string_view start, std::string_view part) {
    return V2Tag(3, Frame(3, id, std::string(start) + Repeated(part, kSize)));
  };
  const auto compressed = [&](std::string_view id, std::string data, std::size_t size) {
    std::minstd_rand random(1);
    data.resize(size, 'd');
    std::generate_n(data.rbegin(), size / 16, [&] { return 'a' + random() % 26; });
    std::string deflated(compressBound(size), '\0');
    uLongf length = deflated.size();
    compress(reinterpret_cast<Bytef*>(deflated.data()), &length,
             reinterpret_cast<const Bytef*>(data.data()), size);
    const std::string known = Big32(static_cast<std::uint32_t>(size)) + deflated.substr(0, length);
    return V2Tag(3, Repeated(Frame(3, id, known, 0x80), kSize));
  };
  std::string narrow;
  for (const char* id : {"TENC", "TBPM", "TKEY", "TMOO", "TPRO", "TSRC", "TSWC", "TDRL", "MCDI",
                         "WOAR", "WFED", "UFID", "POPM"}) {
    narrow += Frame(4, id, "\0"s + std::string(100'000, 'n'));
  }
  for (const char* id : {"TPE1", "TPE3", "TCOM", "TCON"}) {
    narrow +=
        Frame(4, id, "\0"s + Repeated("one of several names of a kind, and it is long\0"s, 60'000));
  }
  narrow = V2Tag(4, narrow);
  struct Case {
    const char* what;
    std::string tag;
    std::size_t times;
  };
  const Case cases[] = {
      {"user texts", V2Tag(2, Repeated(Frame(2, "TXX", "\0\0"s), kSize)), 4},
      {"raw frames", V2Tag(3, Repeated(Frame(3, "PRIV", "x"), kSize)), 4},
      {"repeated titles", V2Tag(3, Repeated(Frame(3, "TIT2", "\0x"s), kSize)), 4},
      {"line feeds", text("TIT2", "\3", "\n\n\n\n"), 8},
      {"year", text("TYER", "\0"s, "\n2024"), 6},
      {"wide name", text("TENC", "\1\xFF\xFE", "\1\x4E"), 4},
      {"genre", text("TCON", "\1\xFF\xFE)\0"s, "\n\0"s), 5},
      {"comment", text("COMM", "\2eng\0\0"s, "\0\n"s), 6},
      {"owner", text("UFID", "", "owner"), 4},
      {"pictures", V2Tag(2, Repeated(Frame(2, "PIC", "\0PNG\3\0\x89PNG"s), kSize)), 4},
      {"compressed text", compressed("TIT2", "\0"s, kSize), 200},
      {"compressed pictures", compressed("APIC", "\0image/png\0\4\0\x89PNG"s, 300'000), 50},
      {"narrow fields", narrow, 7},
      {"picture", V2Tag(3, PictureFrame("image/png", "\x89PNG" + std::string(kSize, 'p'))), 4},
  };
  ConfigureLog(0, nullptr, nullptr, false, LogLetters::kNone);
  for (const Reading* reading : {&kOwnReading, &kStandardReading}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.what + std::string(", reading: ") + reading->name);
      const std::size_t size = c.tag.size();
      EXPECT_LE(MemoryToOpen(*reading, kFieldOptions, c.tag, size), size + kSlack);
      EXPECT_LE(MemoryToOpen(*reading, kPictureOptions, c.tag, size), size + kSlack);
      EXPECT_LE(MemoryToOpen(*reading, {}, c.tag, size), c.times * size);
      std::string lying = c.tag;
      lying.replace(6, 4, "\x7F\x7F\x7F\x7F");
      for (const std::size_t claimed : {std::size_t{0}, size, 256 * size}) {
        EXPECT_LE(MemoryToOpen(*reading, kFieldOptions, lying, claimed), size + size / 4 + kSlack);
      }
    }
  }
}

}  // namespace
}  // namespace tagsmith::test
