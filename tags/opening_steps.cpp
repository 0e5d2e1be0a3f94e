#include "tags/opening_steps.h"

#include <algorithm>
#include <cerrno>
#include <span>
#include <string>

#include "diag/log.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

/// What a track is by the extension of its name.
struct TrackKind {
  std::string_view extension;
  bool ID3Tag::*flag;
};
constexpr TrackKind kTrackKinds[] = {
    {".mp3", &ID3Tag::isMpeg},
    {".aif", &ID3Tag::isAiff},
    {".tdf", &ID3Tag::isTdf},
};
constexpr std::span kStreamKinds = std::span(kTrackKinds).first<2>();

/// Sets the flags of these kinds; true when the name has the extension of one of them.
bool MarkKind(ID3Tag& tag, std::string_view name, std::span<const TrackKind> kinds) {
  bool isKnown = false;
  for (const TrackKind& kind : kinds) {
    tag.*kind.flag = HasExtension(name, kind.extension);
    isKnown = isKnown || tag.*kind.flag;
  }
  return isKnown;
}

/// The stream's name once more, for a message.
std::string NameOf(ByteSource& source) {
  try {
    return std::string(source.Status().name);
  } catch (...) {
    return {};
  }
}

}  // namespace

bool MarkStreamKind(ID3Tag& tag, std::string_view name) {
  return MarkKind(tag, name, kStreamKinds);
}

bool CheckExtension(std::string_view path, ID3Tag* tag) {
  if (tag != nullptr) {
    return MarkKind(*tag, path, kTrackKinds);
  }
  return std::any_of(std::begin(kTrackKinds), std::end(kTrackKinds),
                     [path](const TrackKind& kind) { return HasExtension(path, kind.extension); });
}

bool IsReadOnly(const char* path) {
  errno = 0;
  if (OpenFile(path, "rb+")) {
    return false;
  }
  const int error = errno;
  if (error != EPERM && error != EACCES) {
    WriteLogLine(kLogError, "Open file write check error: %.256s (%d)", ErrorText(error), error);
  }
  return true;
}

FilePointer OpenTrackFile(const char* path) {
  errno = 0;
  FilePointer file = OpenFile(path, "rb");
  if (!file) {
    WriteLogLine(kLogError, "Failed to open the file '%s' for reading (error: %s)", path,
                 ErrorText(errno));
  }
  return file;
}

bool ContainStreamFaults(ByteSource* source, ID3Tag* tag, StreamReading read) {
  if (source == nullptr || tag == nullptr) {
    WriteLogLine(kLogError, "Invalid MP3 data stream (%d)", source != nullptr ? 1 : 0);
    return false;
  }
  bool result = false;
  try {
    read(*tag, *source, result);
  } catch (...) {
    WriteLogLine(kLogError, "Failed to create the tag data for the stream '%s'",
                 NameOf(*source).c_str());
  }
  return result;
}

}  // namespace tagsmith
