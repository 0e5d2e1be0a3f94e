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
  const std::optional<PictureSize> size = ReadPictureSize(picture.data);
  const bool isTooLarge = size && size->DecodedBytes() > DecodedImage::kLargestPicture;
  const std::string fault = !size        ? "damaged"
                            : isTooLarge ? "too large to be decoded"
                                         : "damaged, cut short or of an unknown kind";
  const std::string pixels =
      size ? std::to_string(size->width) + " x " + std::to_string(size->height) + " pixels"
           : "no size in pixels";
  return "the first picture is " + fault + " (" + picture.format.data() + ", " +
         std::to_string(picture.data.size()) + " bytes, " + pixels + ")";
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
  return (picture ? "the picture is not taken by this reading (" + std::string(picture->format)
                  : "the picture is of no format that is shown (it is not JPEG, PNG, GIF, BMP or "
                    "TIFF") +
         ", announced as \"" + type + "\")";
}

/// Goes to the ID3v2 tag, as far as there is one.
void FindTag(const ID3Tag& tag, SourceReader& reader) {
  constexpr std::uint64_t kFormHeaderSize = 12;
  constexpr int kMostChunks = 4096;
  reader.SeekTo(tag.isAiff ? kFormHeaderSize : 0);
  for (int i = 0; tag.isAiff && i < kMostChunks; ++i) {
    const auto header = ReadChunkHeader(reader);
    if (!header || BeginsWithWord(header->id, "ID3 ")) {
      return;
    }
    reader.Skip(std::int64_t{header->size} + header->size % 2);
  }
}

}  // namespace

MissingPicture ExplainMissingPicture(const ID3Tag& tag, IStream& stream) {
  if (!tag.pictures.IsEmpty()) {
    return {WhyNotShown(tag.pictures[0]), true};
  }
  ComStreamSource source(stream);
  SourceReader reader(source, source.Status().size);
  FindTag(tag, reader);
  const auto header = standard::ReadTagHeader(reader.Peek(kV2HeaderSize));
  if (!header) {
    return {"there is no ID3v2 tag, which would hold it"};
  }
  const std::span<std::byte> bytes = reader.Take(header->TagSize());
  standard::TagFrameWalk walk(*header, bytes.subspan(std::min(kV2HeaderSize, bytes.size())), {});
  while (const auto frame = walk.Next()) {
    if (frame->id == FrameId("APIC") || frame->id == FrameId("PIC")) {
      return {WhyNotTaken(*frame), true};
    }
  }
  return {"there is none in the tag"};
}

}  // namespace tagsmith
