// What stands around the reading of a track, whichever reading it is: names and rights of files,
// and keeping faults in. Failures go to the log.
#pragma once

#include "diag/log.h"
#include "tags/file_source.h"
#include "tags/platform.h"
#include "tags/tag_model.h"

namespace tagsmith {

/// Told how far the opening of a track has come: a short text and a percentage. May be null.
using ProgressCallback = void (*)(const char* text, int percent);

/// Sets the flags for ".mp3" and ".aif" (also ".aiff") in `tag`; true when one of them is the
/// name's extension.
bool MarkStreamKind(ID3Tag& tag, std::string_view name);

/// Likewise for files, which may also be ".tdf"; `tag` may be null.
bool CheckExtension(std::string_view path, ID3Tag* tag);

/// True when the file cannot be opened for writing. Failures other than missing permission are
/// logged.
bool IsReadOnly(const char* path);

/// Reads a track; what it reached stands in `result` even when it throws.
using StreamReading = void (*)(ID3Tag& tag, ByteSource& source, bool& result);

/// Opens the file at `path` (UTF-8) for reading; null on failure, which is logged.
FilePointer OpenTrackFile(const char* path);

/// The result that `read` reached. Null pointers give false.
bool ContainStreamFaults(ByteSource* source, ID3Tag* tag, StreamReading read);

/// Likewise the result that `open`, called with it, reached of the file at `path`.
template <typename Open>
bool ContainFileFaults(const char* path, Open open) {
  bool result = false;
  try {
    open(result);
  } catch (...) {
    WriteLogLine(kLogError, "Failed to open the ID3 data in the file '%s'", path);
  }
  return result;
}

/// Opens the file and has `read` read it, which takes its source and the result that it reaches.
template <typename Read>
bool ReadFileContained(const char* path, Read read) {
  return ContainFileFaults(path, [&](bool& result) {
    if (FilePointer file = OpenTrackFile(path)) {
      FileSource source(std::move(file), path);
      read(source, result);
    }
  });
}

}  // namespace tagsmith
