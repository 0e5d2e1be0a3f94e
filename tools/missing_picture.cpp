#include "tools/missing_picture.h"

#include "handlers/com_stream_source.h"
#include "handlers/decoded_image.h"
#include "tags/aiff_chunks.h"
#include "tags/picture_size.h"
#include "tags/standard/frames.h"
#include "tags/standard/pictures.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

/// Of a picture that the reading took from the tag.
std::string WhyNotShown(const TagPicture& picture) {
  const std::string what = "the first picture in the tag (" + std::string(picture.format.data()) +
                           ", " + std::to_string(picture.data.size()) + " bytes";
  const std::optional<PictureSize> size = ReadPictureSize(picture.data);
  if (!size) {
    return what + ") is damaged: its size in pixels cannot be read";
  }
  const std::string whole = what + ", " + std::to_string(size->width) + " x " +
                            std::to_string(size->height) + " pixels) ";
  return whole + (size->DecodedBytes() > DecodedImage::kLargestPicture
                      ? "is too large to be decoded"
                      : "cannot be decoded: it is damaged, cut short or of an unknown kind");
}

/// Of a frame with a picture that the reading left out.
std::string WhyNotTaken(const standard::Frame& frame) {
  const ByteView afterEncoding = frame.body.subspan(1);
  const std::string type(frame.id == FrameId("PIC") ? AsText(afterEncoding).substr(0, 3)
                                                    : UpToZero(AsText(afterEncoding)));
  if (type == "-->") {
    return "the tag only links to a picture";
  }
  const auto picture = standard::FindPicture(frame);
  return picture ? "the picture in the tag (" + std::string(picture->format) + ", announced as \"" +
                       type + "\") is not taken by this reading"
                 : "the picture in the tag (announced as \"" + type +
                       "\") is of no format that is shown: JPEG, PNG, GIF, BMP or TIFF";
}

/// Goes to the ID3v2 tag, as far as there is one.
void FindTag(const ID3Tag& tag, SourceReader& reader) {
  constexpr std::uint64_t kFormHeaderSize = 12;
  reader.SeekTo(tag.isAiff ? kFormHeaderSize : 0);
  for (auto header = tag.isAiff ? ReadChunkHeader(reader) : std::nullopt;
       header && !BeginsWithWord(header->id, "ID3 "); header = ReadChunkHeader(reader)) {
    reader.Skip(std::int64_t{header->size} + header->size % 2);
  }
}

}  // namespace

MissingPicture ExplainMissingPicture(const ID3Tag& tag, IStream& stream) {
  if (!tag.pictures.empty()) {
    return {WhyNotShown(tag.pictures.front()), true};
  }
  ComStreamSource source(stream);
  SourceReader reader(source, source.Status().size);
  FindTag(tag, reader);
  const auto header = standard::ReadTagHeader(reader.Peek(kV2HeaderSize));
  if (!header) {
    return {"there is no ID3v2 tag, which would hold it"};
  }
  const std::span<std::byte> bytes = reader.Take(header->TagSize());
  standard::TagFrameWalk walk(*header, bytes.subspan(std::min(kV2HeaderSize, bytes.size())));
  while (const auto frame = walk.Next()) {
    if (frame->id == FrameId("APIC") || frame->id == FrameId("PIC")) {
      return {WhyNotTaken(*frame), true};
    }
  }
  return {"there is none in the tag"};
}

}  // namespace tagsmith
