// The ID3v1 tag: the last 128 bytes of a file, if they begin with "TAG".
#pragma once

#include <span>

#include "tags/id3v1_block.h"
#include "tags/source_reader.h"

namespace tagsmith {

/// Reads the last 128 bytes and, when they begin with "TAG" (upper case), fills the ID3v1 values
/// and sets v1Loaded. False only when the block could not be read whole.
bool LoadV1Tag(ID3Tag& tag, SourceReader& reader);

/// Fills the ID3v1 values from a block that begins with "TAG". Texts end at their first zero byte
/// and keep trailing blanks; the comment has 29 characters at the most; the track byte is read
/// even where an ID3v1.0 comment runs through it; a genre of 80 or more becomes 12.
void ParseV1Block(ID3Tag& tag, std::span<const std::byte, kV1BlockSize> block);

}  // namespace tagsmith
