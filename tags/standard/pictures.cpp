#include "tags/standard/pictures.h"

#include <algorithm>

#include "tags/text_conversion.h"
#include "tags/text_helpers.h"

namespace tagsmith::standard {
namespace {

using namespace std::string_view_literals;

struct Signature {
  std::string_view firstBytes;
  std::string_view format;
};
constexpr Signature kSignatures[] = {
    {"\xFF\xD8\xFF"sv, "jpeg"}, {"\x89PNG"sv, "png"}, {"GIF8"sv, "gif"}, {"BM"sv, "bmp"},
    {"MM\0*"sv, "tiff"},        {"II*\0"sv, "tiff"},
};

bool IsZero(std::string_view text) {
  return text.find_first_not_of('\0') == std::string_view::npos;
}

/// What follows the description, whose terminator has `unit` bytes, and the zeros after it.
std::string_view AfterDescription(std::string_view text, std::size_t unit) {
  std::size_t end = text.find('\0');
  while (end < text.size() && (end % unit != 0 || !IsZero(text.substr(end, unit)))) {
    end = text.find('\0', end + 1);
  }
  end = text.find_first_not_of('\0', end);
  return text.substr(std::min(end, text.size()));
}

}  // namespace

std::optional<PictureData> FindPicture(const Frame& frame) {
  constexpr std::string_view kLink = "-->";
  constexpr std::size_t kFormatSize22 = 3;
  const ByteView afterEncoding = frame.body.subspan(1);
  const bool isOf22 = frame.id == FrameId("PIC");
  const std::string_view type =
      isOf22 ? AsText(afterEncoding).substr(0, kFormatSize22) : UpToZero(AsText(afterEncoding));
  const std::size_t kindAt = type.size() + (isOf22 ? 0 : 1);
  if (type == kLink || kindAt >= afterEncoding.size()) {
    return std::nullopt;
  }
  const auto kind = static_cast<PictureKind>(std::to_integer<std::uint8_t>(afterEncoding[kindAt]));
  // Writers ended 16-bit descriptions with one zero byte, and the other way round.
  const std::string_view rest = AsText(afterEncoding.subspan(kindAt + 1));
  const bool isWide = frame.body[0] == std::byte{kUtf16} || frame.body[0] == std::byte{kUtf16Be};
  const std::size_t unit = isWide ? 2 : 1;
  for (const std::size_t terminator : {unit, 3 - unit}) {
    const std::string_view image = AfterDescription(rest, terminator);
    for (const Signature& signature : kSignatures) {
      if (image.starts_with(signature.firstBytes)) {
        return PictureData{kind, signature.format, std::as_bytes(std::span(image))};
      }
    }
  }
  return std::nullopt;
}

}  // namespace tagsmith::standard
