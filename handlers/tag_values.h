// What the property store and the columns show of a tag alike, beside plain texts.
#pragma once

#include <cstdint>

#include "handlers/wide_text.h"
#include "tags/tag_model.h"

namespace tagsmith {

/// "disc/count" into `text`; false, and `text` stays, when one of them is unknown.
bool ReadPartOfSet(const ID3Tag& tag, WideText& text);

/// In units of 100 nanoseconds.
std::uint64_t ReadDuration(const ID3Tag& tag);

/// In bits per second.
std::uint32_t ReadBitRate(const ID3Tag& tag);

/// In hertz, truncated; saturates.
std::uint32_t ReadSampleRate(const ID3Tag& tag);

}  // namespace tagsmith
