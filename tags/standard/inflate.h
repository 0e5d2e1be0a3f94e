// Data that a tag holds compressed.
#pragma once

#include <vector>

#include "tags/byte_order.h"

namespace tagsmith::standard {

/// Inflates zlib data (RFC 1950) into `result`, the first `most` bytes of what it holds. Of data
/// that is cut or damaged comes what stands before the damage. False when nothing comes, or more
/// than 32 times its length or 64 MB, which no text or picture reaches.
bool Inflate(ByteView data, std::vector<std::byte>& result, std::size_t most);

}  // namespace tagsmith::standard
