// The ID3v1 tag in full: ID3v1.1's track, all genres, blanks cut.
#pragma once

#include "tags/byte_order.h"
#include "tags/tag_model.h"

namespace tagsmith::standard {

/// Fills the ID3v1 values when the last 128 of these bytes are an ID3v1 block.
void ReadV1(ID3Tag& tag, ByteView fileEnd);

}  // namespace tagsmith::standard
