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
  constexpr std::uint32_t kGrey = 0;
  constexpr std::uint32_t kColour = 2;
  constexpr std::uint32_t kPalette = 3;
  const std::uint32_t depth = fields.Get8(24);
  const std::uint32_t colourType = fields.Get8(25);
  std::uint32_t bits = 32;
  if (colourType == kPalette || (colourType == kGrey && depth < 8)) {
    bits = depth;
  } else if (colourType == kColour && depth == 8) {
    bits = 24;
  }
  return PictureSize{fields.Get32(16), fields.Get32(20), bits};
}

/// T.81, B.1 and B.2.2: the first frame header among the marker segments.
FoundSize ReadJpeg(ByteView picture) {
  const Fields fields(picture);
  std::size_t at = 2;
  while (!fields.IsAtEnd(at)) {
    if (fields.Get8(at) != 0xFF) {
      ++at;
      continue;
    }
    const std::uint32_t marker = fields.Get8(++at);
    const bool isFill = marker == 0xFF || marker == 0;
    const bool standsAlone = marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7);
    if (isFill || standsAlone) {
      continue;
    }
    ++at;
    const bool isTable = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
    if (marker >= 0xC0 && marker <= 0xCF && !isTable) {
      const std::uint32_t components = fields.Get8(at + 7);
      return PictureSize{fields.Get16(at + 5), fields.Get16(at + 3),
                         components == 1   ? 8U
                         : components == 3 ? 24U
                                           : 32U};
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

/// Logical screen and image descriptors. Decoders give up the palette when there are several
/// images.
FoundSize ReadGif(ByteView picture) {
  const Fields fields(picture, false);
  const auto sizeAt = [&](std::size_t at) {
    return PictureSize{fields.Get16(at), fields.Get16(at + 2), 8};
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
  int images = 0;
  std::size_t at = 13 + tableBytes(fields.Get8(10));
  while (!fields.IsAtEnd(at)) {
    const std::uint32_t block = fields.Get8(at);
    if (block == 0x21) {  // extension: its label, then blocks
      at = skipBlocks(at + 2);
    } else if (block == 0x2C) {  // image: its descriptor, code size, then blocks
      const PictureSize size = sizeAt(at + 5);
      largest.width = std::max(largest.width, size.width);
      largest.height = std::max(largest.height, size.height);
      largest.bitsPerPixel = ++images > 1 ? 32 : 8;
      at = skipBlocks(at + 11 + tableBytes(fields.Get8(at + 9)));
    } else {
      break;
    }
  }
  return largest;
}

std::uint32_t BmpBits(std::uint32_t bits) {
  const bool isKept = bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24;
  return isKept ? bits : 32;
}

std::uint32_t Magnitude(std::uint32_t number) {
  return static_cast<std::int32_t>(number) < 0 ? 0 - number : number;
}

/// Run-length coded rows become 32-bit ones.
FoundSize ReadBmp(ByteView picture) {
  const Fields fields(picture, false);
  constexpr std::uint32_t kCoreHeader = 12;
  if (fields.Get32(14) == kCoreHeader) {
    return PictureSize{fields.Get16(18), fields.Get16(20), BmpBits(fields.Get16(24))};
  }
  const std::uint32_t compression = fields.Get32(30);
  const bool isRunLength = compression == 1 || compression == 2;
  return PictureSize{Magnitude(fields.Get32(18)), Magnitude(fields.Get32(22)),
                     isRunLength ? 32 : BmpBits(fields.Get16(28))};
}

/// TIFF 6.0, section 2: the first directory. Of an entry that is there twice the larger value
/// counts.
FoundSize ReadTiff(ByteView picture) {
  const Fields fields(picture);
  const std::size_t directory = fields.Get32(4);
  PictureSize size;
  std::uint32_t bitsPerSample = 1;
  std::uint32_t samples = 1;
  const std::pair<std::uint32_t, std::uint32_t&> known[] = {
      {256, size.width}, {257, size.height}, {258, bitsPerSample}, {277, samples}};
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
  // The depths of several samples are stored elsewhere; they are mostly 8 bits each.
  size.bitsPerPixel = samples == 3 ? 24 : samples == 1 && bitsPerSample <= 8 ? bitsPerSample : 32;
  return size;
}

struct Format {
  std::string_view magic;
  FoundSize (*read)(ByteView picture);
};
constexpr Format kFormats[] = {
    {"\xFF\xD8"sv, ReadJpeg}, {"\x89PNG\r\n\x1A\n"sv, ReadPng},
    {"GIF8"sv, ReadGif},      {"BM"sv, ReadBmp},
    {"MM\0*"sv, ReadTiff},
};

}  // namespace

std::uint64_t PictureSize::BitmapBytes() const {
  const std::uint64_t rowBytes = (std::uint64_t{width} * bitsPerPixel + 31) / 32 * 4;
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
  return rowBytes != 0 && height > kLargest / rowBytes ? kLargest : rowBytes * height;
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
