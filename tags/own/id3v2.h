// The ID3v2 tag of versions 2.2, 2.3 and 2.4 (id3v2-00, ID3v2.3.0, ID3v2.4.0 structure): its
// header and the walk over its frames. Bad data is logged; what was read before it stays.
#pragma once

#include <cstdint>

#include "tags/id3v2_layout.h"
#include "tags/source_reader.h"
#include "tags/tag_model.h"

namespace tagsmith {

/// The size in bytes, header included, of the tag whose first bytes these are; 0 when they are no
/// tag header ("ID3" in upper case) or fewer than 10.
std::uint32_t GetV2TagSize(ByteView bytes);

/// GetV2TagSize of the bytes at the beginning (MPEG tracks) or at the reader's position (others),
/// where the reader stands afterwards.
std::uint32_t ProbeV2Tag(const ID3Tag& tag, SourceReader& reader);

/// Reads a tag of `size` bytes from the reader's position and parses it. The `lookAhead` bytes
/// after the tag are fetched with it. False, with nothing parsed, when fewer bytes arrive.
bool LoadV2Tag(ID3Tag& tag, SourceReader& reader, std::uint32_t size, bool keepUnicode,
               std::size_t lookAhead = 0);

/// Parses a whole tag, header first, and sets v2Version and, except after two kinds of fault,
/// v2Present. Values are added to those that the tag model holds. `keepUnicode` false narrows texts
/// to Latin-1. Always true. The buffer stays the caller's and is changed where a frame is not
/// stored as it is needed. Pictures, user texts and raw frames stay in `memory`, which then holds
/// the buffer and must not change any more; without it they are copied.
bool ParseV2Tag(ID3Tag& tag, std::span<std::byte> buffer, bool keepUnicode,
                const SharedMemory& memory = nullptr);

}  // namespace tagsmith
