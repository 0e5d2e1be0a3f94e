#include "tags/picture_size.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

using namespace std::string_view_literals;

/// Numbers at places of a picture; places beyond its end hold zeros.
class Fields {
 public:
  explicit Fields(ByteView bytes, bool isBigEndian = true)
      : bytes_(bytes), isBigEndian_(isBigEndian) {}

  [[nodiscard]] std::uint32_t Get8(std::size_t at) const { return Get(at, 1); }
  [[nodiscard]] std::uint32_t Get16(std::size_t at) const { return Get(at, 2); }
  [[nodiscard]] std::uint32_t Get32(std::size_t at) const { return Get(at, 4); }
  [[nodiscard]] bool IsAtEnd(std::size_t at) const { return at >= bytes_.size(); }
  [[nodiscard]] ByteView From(std::size_t at) const {
    return IsAtEnd(at) ? ByteView() : bytes_.subspan(at);
  }

 private:
  [[nodiscard]] std::uint32_t Get(std::size_t at, std::size_t count) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t place = at + (isBigEndian_ ? i : count - 1 - i);
      value =
          value << 8U | (place < bytes_.size() ? std::to_integer<std::uint32_t>(bytes_[place]) : 0);
    }
    return value;
  }

  ByteView bytes_;
  bool isBigEndian_;
};

using FoundSize = std::optional<PictureSize>;

FoundSize ReadPng(ByteView picture) {
  const Fields fields(picture);
  if (!AsText(fields.From(12)).starts_with("IHDR")) {
    return std::nullopt;
  }
  return PictureSize{fields.Get32(16), fields.Get32(20)};
}

/// T.81, B.1 and B.2.2: the first frame header among the marker segments.
FoundSize ReadJpeg(ByteView picture) {
  const Fields fields(picture);
  constexpr std::byte kMarker{0xFF};
  for (std::size_t at = FindByte(picture, kMarker, 2); !fields.IsAtEnd(at);
       at = FindByte(picture, kMarker, at)) {
    const std::uint32_t marker = fields.Get8(++at);
    const bool isFill = marker == 0xFF || marker == 0;
    const bool standsAlone = marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7);
    if (isFill || standsAlone) {
      continue;
    }
    ++at;
    const bool isTable = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
    if (marker >= 0xC0 && marker <= 0xCF && !isTable) {
      return PictureSize{fields.Get16(at + 5), fields.Get16(at + 3)};
    }
    constexpr std::uint32_t kEndOfImage = 0xD9;
    constexpr std::uint32_t kStartOfScan = 0xDA;
    const std::uint32_t length = fields.Get16(at);
    if (marker == kEndOfImage || marker == kStartOfScan) {
      break;
    }
    at += std::max(length, 2U);  // decoders go on after a length that is too small
  }
  return std::nullopt;
}

/// Logical screen and image descriptors.
FoundSize ReadGif(ByteView picture) {
  const Fields fields(picture, false);
  const auto sizeAt = [&](std::size_t at) {
    return PictureSize{fields.Get16(at), fields.Get16(at + 2)};
  };
  const auto tableBytes = [](std::uint32_t flags) {
    return (flags & 0x80U) != 0 ? std::size_t{3} << ((flags & 7U) + 1) : 0;
  };
  const auto skipBlocks = [&](std::size_t at) {
    while (fields.Get8(at) != 0) {
      at += fields.Get8(at) + 1;
    }
    return at + 1;
  };
  PictureSize largest = sizeAt(6);
  std::size_t at = 13 + tableBytes(fields.Get8(10));
  while (!fields.IsAtEnd(at)) {
    const std::uint32_t block = fields.Get8(at);
    if (block == 0x21) {  // extension: its label, then blocks
      at = skipBlocks(at + 2);
    } else if (block == 0x2C) {  // image: its descriptor, code size, then blocks
      const PictureSize size = sizeAt(at + 5);
      largest.width = std::max(largest.width, size.width);
      largest.height = std::max(largest.height, size.height);
      at = skipBlocks(at + 11 + tableBytes(fields.Get8(at + 9)));
    } else {
      break;
    }
  }
  return largest;
}

std::uint32_t Magnitude(std::uint32_t number) {
  return static_cast<std::int32_t>(number) < 0 ? 0 - number : number;
}

FoundSize ReadBmp(ByteView picture) {
  const Fields fields(picture, false);
  constexpr std::uint32_t kCoreHeader = 12;
  if (fields.Get32(14) == kCoreHeader) {
    return PictureSize{fields.Get16(18), fields.Get16(20)};
  }
  return PictureSize{Magnitude(fields.Get32(18)), Magnitude(fields.Get32(22))};
}

/// TIFF 6.0, section 2: the first directory. Of an entry that is there twice the larger value
/// counts.
FoundSize ReadTiff(ByteView picture) {
  const Fields fields(picture, AsText(picture).starts_with('M'));
  const std::size_t directory = fields.Get32(4);
  PictureSize size;
  const std::pair<std::uint32_t, std::uint32_t&> known[] = {{256, size.width}, {257, size.height}};
  const std::size_t end = directory + 2 + std::size_t{12} * fields.Get16(directory);
  for (std::size_t entry = directory + 2; entry < end && !fields.IsAtEnd(entry); entry += 12) {
    constexpr std::uint32_t kShort = 3;
    const bool isShort = fields.Get16(entry + 2) == kShort;
    const std::uint32_t value = isShort ? fields.Get16(entry + 8) : fields.Get32(entry + 8);
    for (const auto& [tag, field] : known) {
      if (tag == fields.Get16(entry)) {
        field = std::max(field, value);
      }
    }
  }
  return size;
}

struct Format {
  std::string_view magic;
  FoundSize (*read)(ByteView picture);
};
constexpr Format kFormats[] = {
    {"\xFF\xD8"sv, ReadJpeg}, {"\x89PNG\r\n\x1A\n"sv, ReadPng},
    {"GIF8"sv, ReadGif},      {"BM"sv, ReadBmp},
    {"MM\0*"sv, ReadTiff},    {"II*\0"sv, ReadTiff},
};

}  // namespace

std::uint64_t PictureSize::DecodedBytes() const {
  const std::uint64_t pixels = std::uint64_t{width} * height;
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
  return pixels > kLargest / 4 ? kLargest : pixels * 4;
}

FoundSize ReadPictureSize(ByteView picture) {
  for (const Format& format : kFormats) {
    if (AsText(picture).starts_with(format.magic)) {
      return format.read(picture);
    }
  }
  return std::nullopt;
}

}  // namespace tagsmith
