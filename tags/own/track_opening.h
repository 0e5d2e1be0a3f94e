// Opening a track: from a file's path or a byte stream to a filled ID3Tag.
//
// Both ways read the ID3v1 and ID3v2 tags and the audio details. Nothing is ever written, and no
// other kinds of tags are looked for. Failures go to the log; what was read before them stays.
#pragma once

#include <cstdint>

#include "tags/opening_steps.h"
#include "tags/own/mpeg_audio.h"

namespace tagsmith {

/// Opens the file at `path` (UTF-8) into `tag`, which is cleared first. The extension ".mp3",
/// ".aif", ".aiff" or ".tdf" decides what it is; with another nothing happens. `scanMode` (see
/// ScanMode) tells how far MPEG frames are walked; `checkWritable` asks for the read-only flag.
/// True when the audio details were found. The file is closed again in any case.
bool OpenTrackFromFile(ID3Tag& tag, const char* path, std::uint32_t scanMode,
                       ProgressCallback progress, bool checkWritable);

/// What OpenTrackFromFile does with a file once it is open and `tag` knows what it is.
bool ReadTrackFile(ID3Tag& tag, ByteSource& file, const char* path, std::uint32_t scanMode,
                   ProgressCallback progress);

/// Opens the track in `source` into a fresh `tag`; its name decides what it is. Of MPEG audio only
/// the first frame is read; it must follow the ID3v2 tag at once or, where there is none, the ten
/// bytes that would be the tag's header. The source is left after the last byte that was read, not
/// after what was read ahead. Both pointers stay the caller's; null ones are logged. True when the
/// audio details were found.
bool OpenTrackFromStream(ByteSource* source, ID3Tag* tag);

}  // namespace tagsmith
