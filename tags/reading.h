// The two ways to read a track: the editor's, by which its users know their files, and that of the
// formats' documents. They fill the same tag model; either does without the other.
#pragma once

#include "tags/own/track_opening.h"
#include "tags/standard/opening.h"

namespace tagsmith {

struct Reading {
  const char* name;
  bool (*openStream)(ByteSource* source, ID3Tag* tag);
  bool (*openFile)(ID3Tag& tag, const char* path, std::uint32_t scanMode, ProgressCallback progress,
                   bool checkWritable);
};

inline constexpr Reading kOwnReading{
    .name = "own",
    .openStream = OpenTrackFromStream,
    .openFile = OpenTrackFromFile,
};

inline constexpr Reading kStandardReading{
    .name = "standard",
    .openStream = standard::OpenStream,
    .openFile = standard::OpenPath,
};

}  // namespace tagsmith
