// Reads the input as the header of a picture.
#include "fuzz/target.h"
#include "tags/picture_size.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tagsmith::ReadPictureSize(tagsmith::test::Bytes(tagsmith::fuzz::AsInput(data, size)));
  return 0;
}
