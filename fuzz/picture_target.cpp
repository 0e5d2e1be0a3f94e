// Reads the input as the header of a picture.
#include "fuzz/target.h"
#include "tags/picture_size.h"

namespace tagsmith::fuzz {

void CheckPicture(std::string_view input) { ReadPictureSize(test::Bytes(input)); }

}  // namespace tagsmith::fuzz
