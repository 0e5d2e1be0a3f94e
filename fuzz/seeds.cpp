#include "fuzz/seeds.h"

#include "tests/unit/test_support.h"

namespace tagsmith::fuzz {

using namespace test;

std::vector<std::string> Seeds() {
  constexpr unsigned k128 = 9;
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
  info.replace(36, 8, "Info\0\0\0\x0F"s).replace(156, 9, "LAME3.99r");
  const std::string deflated =
      "x\x9C\x63\x48\xCE\xCF\x2D\x28\x4A\x2D\x2E\x4E\x4D\x51\x28\xC9\x2C\xC9\x49\x05\0\x37\xC5\x06\x78"s;
  std::string vbri = MpegFrames(k128, 3);
  vbri.replace(36, 18, "VBRI\0\1\0\0\0\0\0\0\1\0\0\0\0\2"s);
  // As many frames as the modes that estimate look at.
  const std::string manyFrames = Repeated("\xFF\xF3\x14\xC4" + std::string(20, '\0'), 53'000);
  const std::string oddTexts =
      Frame(3, "TCON", "\0(RX)(CR)((x"s) + Frame(3, "TPE1", "\0AB/CD/efg"s) +
      Frame(3, "TRCK", "\0-3"s) + Frame(3, "TYER", "\0in 2024"s) +
      Frame(3, "TALB", "\1\xFF\xFE"s + Utf16Le(std::u16string(1022, u'a') + u"\U0001F3B5"));
  const std::string comm = CommChunk(2, 44100, 16);
  return {
      V2Tag(2, frames(2)) + audio,
      V2Tag(3, frames(3)) + info,
      V2Tag(3, Frame(3, "TIT2", Big32(17) + deflated, 0x80) + frames(3), 0x80) + vbri,
      V2Tag(4, frames(4) + std::string(20, '\0')) + audio,
      V2Tag(4, flagged) + info,
      V2Tag(3, Big32(6) + std::string(6, '\0') + frames(3), 0x40) + audio,
      V2Tag(3, PictureFrame("image/png", "\x89PNG" + std::string(5000, 'p'))) + audio,
      V2Tag(3, oddTexts) + audio,
      audio,
      manyFrames,
      Aiff("AIFF", comm + Chunk("SSND", std::string(99, 's')) + Chunk("ID3 ", V2Tag(3, frames(3)))),
      Aiff("AIFC", Chunk("ID3 ", V2Tag(2, frames(2))) + comm),
      "plain \r one\nand\r\n\ntwo",
      "gr\xC3\xBC\xC3\x9F \xF0\x9F\x8E\xB5\n\n x",
      "good\xC3\xBC bad \xFF\xFE",
      "\xFF\xFEw\0i\0\n\0d\0\r\0\n\0e\0"s,
      "\xFE\xFF\0w\0i\x01\x02\0d\0e"s,
      "\0b\0\n\0e\0)\0x"s,
      "\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\0\x40\0\0\0\x40\x08\2\0\0\0"s,
      BmpPicture(8, 8, 24, "", "rows"),
      "BM" + std::string(12, '\0') + Little32(12) + Little16(8) + Little16(9),
      "\xFF\xD8\xFF\xE0\0\6JFIF\xFF\xC2\0\x0B\x08\0\x10\0\x10\3"s,
      "GIF89a\4\0\4\0\x80\0\0pppppp!\xF9\4....\0,\0\0\0\0\4\0\4\0\0\2\1x\0;"s,
      "MM\0*\0\0\0\x08\0\2\1\0\0\3\0\0\0\1\0\x09\0\0\1\1\0\4\0\0\0\1\0\0\0\x09"s,
  };
}

}  // namespace tagsmith::fuzz
