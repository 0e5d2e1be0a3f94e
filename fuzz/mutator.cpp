#include "fuzz/mutator.h"

#include <algorithm>
#include <iterator>
#include <random>

#include "tests/unit/test_support.h"

namespace tagsmith::fuzz {
namespace {

using namespace test;

class Mutation final {
 public:
  Mutation(std::string& input, std::uint32_t seed) : input_(input), random_(seed) {}

  void Make() {
    using Change = void (Mutation::*)();
    static constexpr Change kChanges[] = {&Mutation::InsertFrame, &Mutation::InsertFrame,
                                          &Mutation::InsertChunk, &Mutation::InsertAudio,
                                          &Mutation::WriteSize,   &Mutation::WriteSize,
                                          &Mutation::RepeatPart,  &Mutation::DropPart,
                                          &Mutation::SetVersion,  &Mutation::AppendV1Block};
    (this->*kChanges[Below(std::size(kChanges))])();
    if (Below(3) != 0) {
      MendSize();
    }
  }

 private:
  std::size_t Below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }
  template <std::size_t Count>
  std::string_view Choose(const std::string_view (&choices)[Count]) {
    return choices[Below(Count)];
  }

  [[nodiscard]] bool IsTag() const { return input_.starts_with("ID3") && input_.size() >= 10; }
  [[nodiscard]] int Version() const { return IsTag() ? input_[3] : 3; }

  /// Where a frame begins, in a tag whose sizes can be followed; else anywhere.
  std::size_t FramePlace() {
    std::size_t place = 10;
    for (std::size_t frames = Below(8); IsTag() && frames != 0; --frames) {
      const std::size_t header = Version() == 2 ? 6 : 10;
      if (place + header > input_.size()) {
        break;
      }
      const std::size_t idSize = Version() == 2 ? 3 : 4;
      std::size_t size = 0;
      for (std::size_t i = place + idSize; i < place + 2 * idSize; ++i) {
        size = size << (Version() == 4 ? 7U : 8U) | static_cast<unsigned char>(input_[i]);
      }
      if (size > input_.size() - place - header) {
        break;
      }
      place += header + size;
    }
    return IsTag() ? std::min(place, input_.size()) : Below(input_.size() + 1);
  }

  std::string Text() {
    static constexpr std::string_view kTexts[] = {"\0plain"sv,
                                                  "\0(17)"sv,
                                                  "\0(4)a)b"sv,
                                                  "\0003/12"sv,
                                                  "\1\xFF\xFEw\0\n\0"sv,
                                                  "\1\xFE\xFF\0w\0\r"sv,
                                                  "\2\0b\0e"sv,
                                                  "\3\xC3\xBC\n"sv,
                                                  "\3\xFFx"sv,
                                                  "\0engd\0c\r"sv,
                                                  "\1eng\xFF\xFE"
                                                  "d\0\0\0\xFF\xFEx\0"sv,
                                                  "\3engiTunX\0y"sv,
                                                  "\1image/png\0\3\0\0\x89PNG...."sv,
                                                  "\0image/jpeg\0\3d\0\xFF\xD8\xFF\xE0"sv,
                                                  "\0PNG\3\0\x89PNG"sv,
                                                  "a\0\xFF\0\0\0\0"sv,
                                                  "\0\0\0\5\0\xFF\0\xFF\0\0"sv,
                                                  "\1"sv,
                                                  ""sv};
    std::string text(Choose(kTexts));
    return Below(8) == 0 ? text + std::string(Below(600), "x\n\0\xFF"[Below(4)]) : text;
  }

  void InsertFrame() {
    static constexpr std::string_view kIds[] = {
        "TIT2", "TPE1", "TALB", "TYER", "TCON", "COMM", "TCOM", "TCOP", "TOPE", "TENC",
        "WXXX", "WOAR", "APIC", "USLT", "TRCK", "TPOS", "TXXX", "UFID", "POPM", "TCMP",
        "TDRL", "TDRC", "PCST", "WFED", "WFD ", "TRTG", "PRIV", "XXXX", "MCDI", "TBPM"};
    static constexpr std::string_view kIds22[] = {"TT2", "TP1", "TCO", "COM", "ULT", "TXX", "WXX",
                                                  "PIC", "UFI", "POP", "TDR", "TRK", "TCP", "CNT"};
    const int version = Version();
    const std::string_view id = version == 2 ? Choose(kIds22) : Choose(kIds);
    std::string frame =
        Frame(version, id, Text(), static_cast<std::uint8_t>(Below(3) == 0 ? Below(256) : 0));
    if (version == 4 && Below(4) == 0 && frame.size() > 138) {
      frame.replace(4, 4, Big32(static_cast<std::uint32_t>(frame.size() - 10)));
    }
    input_.insert(FramePlace(), frame);
  }

  void InsertChunk() {
    const std::string chunks[] = {CommChunk(static_cast<std::uint16_t>(Below(4)), 44100, 16),
                                  Chunk("SSND", std::string(Below(300), 's')),
                                  Chunk("ID3 ", input_), Chunk("abcd", ""),
                                  Chunk("id3 ", V2Tag(3, Frame(3, "TIT2", Text())))};
    const std::string& chunk = chunks[Below(std::size(chunks))];
    if (!input_.starts_with("FORM") && Below(2) == 0) {
      input_ = Aiff(Below(4) == 0 ? "AIFC" : "AIFF", chunk);
    } else {
      input_.insert(std::min<std::size_t>(12, input_.size()), chunk);
    }
  }

  void InsertAudio() {
    std::string header = "\xFF" + std::string(1, static_cast<char>(0xE0 | Below(32))) +
                         static_cast<char>(random_()) + static_cast<char>(random_());
    std::string audio = Below(2) == 0
                            ? MpegFrames(1 + static_cast<unsigned>(Below(14)), 1 + Below(4))
                            : header + std::string(Below(450), '\0');
    if (Below(3) == 0 && audio.size() > 170) {
      audio.replace(36, 4, Below(2) == 0 ? "Xing" : "LAME").replace(156, 9, "LAME3.90a");
    }
    input_.insert(Below(2) == 0 ? FramePlace() : Below(input_.size() + 1), audio);
  }

  void WriteSize() {
    static constexpr std::uint32_t kSizes[] = {0,          1,          127,        128,
                                               255,        256,        0xFFFF,     0x7FFFFFFF,
                                               0x0FFFFFFF, 0x80000000, 0xFFFFFFF8, 0xFFFFFFFF};
    const std::uint32_t size = Below(2) == 0 ? kSizes[Below(std::size(kSizes))]
                                             : static_cast<std::uint32_t>(Below(input_.size() + 9));
    const std::string form = Below(3) == 0   ? Big32(size).substr(1)
                             : Below(2) == 0 ? Big32(size)
                                             : Syncsafe(size & 0x0FFFFFFF);
    const std::size_t offset = Below(2) == 0 ? 4 : Below(9);
    const std::size_t place = std::min(FramePlace() + offset, input_.size());
    input_.replace(place, form.size(), form);
  }

  void RepeatPart() {
    const std::size_t place = FramePlace();
    const std::string part = input_.substr(place, Below(200));
    for (std::size_t i = Below(20); i != 0 && input_.size() < 20'000; --i) {
      input_.insert(place, part);
    }
  }

  void DropPart() {
    const std::size_t place = FramePlace();
    input_.erase(place, Below(Below(2) == 0 ? 8 : 600));
  }

  void SetVersion() {
    if (IsTag()) {
      input_[3] = static_cast<char>(Below(8) == 0 ? random_() : 2 + Below(4));
      input_[5] = static_cast<char>(Below(2) == 0 ? 0 : 1U << Below(8));
    } else {
      input_ = V2Tag(2 + static_cast<int>(Below(3)), input_);
    }
  }

  void AppendV1Block() { input_ += V1Block(Text(), 3, static_cast<std::uint8_t>(random_())); }

  /// Makes the size in the header of the whole right, or nearly so.
  void MendSize() {
    const auto size = static_cast<std::uint32_t>(input_.size());
    if (IsTag()) {
      const std::size_t audio = input_.find("\xFF\xFB", 10);
      const std::size_t end = audio == std::string::npos ? size : audio;
      input_.replace(6, 4, Syncsafe(static_cast<std::uint32_t>(end - 10)));
    } else if (input_.starts_with("FORM") && size >= 8) {
      input_.replace(4, 4, Big32(size - 8));
    }
  }

  std::string& input_;
  std::minstd_rand random_;
};

}  // namespace

void MutateStructure(std::string& input, std::uint32_t seed) { Mutation(input, seed).Make(); }

}  // namespace tagsmith::fuzz
