// Reads the input as the header of a picture.
#include "fuzz/target.h"
#include "tags/picture_size.h"

namespace tagsmith::fuzz {

void CheckPicture(std::string_view input) {
  if (const auto size = ReadPictureSize(test::Bytes(input))) {
    Require(size->DecodedBytes() >= std::uint64_t{size->width} * size->height,
            "a decoded picture has a byte a pixel at least");
  }
}

}  // namespace tagsmith::fuzz
