// AIFF and AIFF-C in the standard reading (AIFF 1.3, AIFF-C draft 1991): what is there is shown,
// whatever the sizes around it say.
#pragma once

#include <cstdint>

#include "tags/source_reader.h"
#include "tags/tag_model.h"

namespace tagsmith::standard {

/// Whether a file that begins so is AIFF or AIFF-C.
bool IsAiff(ByteView start);

/// Walks the chunks, the reader standing at the beginning, reads the first ID3 tag and fills the
/// track details. False when no sample rate is told.
bool ReadAiff(ID3Tag& tag, SourceReader& reader);

}  // namespace tagsmith::standard
