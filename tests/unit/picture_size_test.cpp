#include "tags/picture_size.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

std::string Shown(std::string_view picture) {
  const auto size = ReadPictureSize(Bytes(picture));
  return size ? std::to_string(size->width) + "x" + std::to_string(size->height) + "x" +
                    std::to_string(size->bitsPerPixel)
              : "none";
}

std::string Segment(char marker, std::string_view body) {
  return "\xFF"s + marker + Big16(static_cast<std::uint16_t>(body.size() + 2)) + std::string(body);
}

std::string JpegFrame(char marker, std::uint16_t width, std::uint16_t height, char components) {
  return Segment(marker, "\x08"s + Big16(height) + Big16(width) + components + "..."s);
}

std::string GifImage(std::uint16_t width, std::uint16_t height, std::string_view table) {
  const char flags = table.empty() ? '\0' : '\x80';
  return ",\0\0\0\0"s + Little16(width) + Little16(height) + flags + std::string(table) +
         "\x02\x03" + "abc" + "\x01" + "d" + "\0"s;
}

/// With two entries for the height: 300 and another.
std::string Tiff(std::uint16_t samples, std::uint16_t otherHeight) {
  const auto entry = [](std::uint16_t tag, std::uint16_t value) {
    return Big16(tag) + Big16(3) + Big32(1) + Big16(value) + Big16(0);
  };
  return "MM\0*"s + Big32(12) + "...." + Big16(6) + entry(254, 9) + Big16(256) + Big16(4) +
         Big32(1) + Big32(70'000) + entry(257, 300) + entry(257, otherHeight) + entry(258, 8) +
         entry(277, samples);
}

TEST(PictureSizes, AreReadFromTheHeader) {
  const std::string start = "\xFF\xD8" + Segment('\xE0', "JFIF..");
  const std::string gif = "GIF89a" + Little16(4) + Little16(5);
  const std::string extension = "!\xF9\x04"s + "....\0"s;
  const std::string bmp = BmpPicture(-7, -9, 16, "", "");
  const std::string core =
      bmp.substr(0, 14) + Little32(12) + Little16(640) + Little16(480) + Little16(1) + Little16(8);
  const std::pair<std::string, std::string> cases[] = {
      {PngHead(30'000, 20'000, 8, 2), "30000x20000x24"},
      {PngHead(3, 4, 16, 2), "3x4x32"},
      {PngHead(3, 4, 2, 3), "3x4x2"},
      {PngHead(3, 4, 2, 3).replace(12, 4, "IDAT"), "none"},
      {start + JpegFrame('\xC0', 640, 480, 3), "640x480x24"},
      {start + "\xFF\xFF" + JpegFrame('\xC2', 640, 480, 1), "640x480x8"},
      {start + Segment('\xC4', "table") + "junk" + JpegFrame('\xC1', 1, 65'500, 4), "1x65500x32"},
      {start + Segment('\xDA', "scan") + JpegFrame('\xC0', 640, 480, 3), "none"},
      {start + "\xFF\xFE\0\0"s + JpegFrame('\xC0', 640, 480, 3), "640x480x24"},
      {gif + "\0\0\0"s, "4x5x8"},
      {gif + "\0\0\0"s + extension + GifImage(60'000, 2, "") + GifImage(3, 4, ""), "60000x5x32"},
      {gif + "\x81\0\0"s + std::string(12, 'p') + GifImage(30, 20, "123456") +
           GifImage(300, 200, "123456") + ";" + GifImage(400, 400, ""),
       "300x200x32"},
      {bmp, "7x9x16"},
      {BmpPicture(5, 6, 8, "", "").replace(30, 1, "\1"), "5x6x32"},
      {BmpPicture(5, 6, 0, "", ""), "5x6x32"},
      {BmpPicture(5, 6, 4, "", ""), "5x6x4"},
      {core, "640x480x8"},
      {Tiff(1, 400), "70000x400x8"},
      {Tiff(3, 200), "70000x300x24"},
      {Tiff(4, 200), "70000x300x32"},
      {"", "none"},
      {"\xFF", "none"},
      {"RIFF....WEBP", "none"},
  };
  for (const auto& [picture, expected] : cases) {
    EXPECT_EQ(Shown(picture), expected);
    for (std::size_t length = 0; length < picture.size(); ++length) {
      // In memory of its own, so that a byte too far is seen.
      const std::vector<char> cut(picture.begin(), picture.begin() + static_cast<int>(length));
      Shown({cut.data(), cut.size()});
    }
  }
}

TEST(PictureSizes, TellTheBitmapsBytes) {
  EXPECT_EQ((PictureSize{3, 2, 24}.BitmapBytes()), 24U);
  EXPECT_EQ((PictureSize{33, 1, 1}.BitmapBytes()), 8U);
  EXPECT_EQ((PictureSize{0, 5, 8}.BitmapBytes()), 0U);
  EXPECT_EQ((PictureSize{0xFFFFFFFF, 0xFFFFFFFF, 32}.BitmapBytes()), UINT64_MAX);
}

}  // namespace
}  // namespace tagsmith::test
