// Opening a track in the standard reading: the values that the formats' documents tell of.
//
// It fills the same tag model as the system's own reading (own/track_opening.h), with as few
// calls on the source. Nothing is ever written; damage costs what is damaged, not the rest.
#pragma once

#include "tags/opening_steps.h"
#include "tags/source_reader.h"

namespace tagsmith::standard {

/// Opens the track in `source`, which stands at its beginning, into a fresh `tag`. Its content
/// tells what it is; its name, if it has one, must have one of the extensions. An MPEG source is
/// called about 60 times at the most, one of AIFF twice for each of 4,096 chunks at the most, as
/// long as it delivers what it is asked for. Where it is left does not matter. Both pointers stay
/// the caller's; null ones are logged. True when a tag or the audio details were found.
bool OpenStream(ByteSource* source, ID3Tag* tag);

/// Likewise the file at `path` (UTF-8), which is closed again in any case. How far the frames of
/// the system's own reading are walked does not matter; `checkWritable` asks for the read-only
/// flag.
bool OpenPath(ID3Tag& tag, const char* path, std::uint32_t scanMode, ProgressCallback progress,
              bool checkWritable);

/// Reads the ID3v2 tag at the reader's position, if there is one, and fetches `lookAhead` bytes
/// after it, fewer where they do not fit into the reader's block with a short tag. When there is
/// none, the reader stays where it is.
void ReadV2(ID3Tag& tag, SourceReader& reader, std::size_t lookAhead);

}  // namespace tagsmith::standard
