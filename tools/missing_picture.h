// Why there is no thumbnail of a track to be seen.
#pragma once

#include <objidl.h>

#include <string>

#include "tags/tag_model.h"

namespace tagsmith {

struct MissingPicture {
  std::string reason;    // in words
  bool isThere = false;  // the tag has one, which cannot be shown
};

/// Of a track that was opened from `stream` into `tag`, with its pictures.
MissingPicture ExplainMissingPicture(const ID3Tag& tag, IStream& stream);

}  // namespace tagsmith
