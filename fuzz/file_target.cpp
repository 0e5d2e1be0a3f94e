// Opens the input as a file of each name in all modes.
#include "fuzz/target.h"
#include "tags/own/track_opening.h"

namespace tagsmith::fuzz {

void CheckFile(std::string_view input) {
  for (const char* name : {"f.mp3", "f.aif", "f.tdf"}) {
    for (const std::uint32_t mode : {kScanAll, kScanQuick, kScanConstant}) {
      ID3Tag tag;
      CheckExtension(name, &tag);
      tag.keepUnicode = mode != kScanQuick;
      tag.keepPictures = mode != kScanConstant;
      tag.ignoreSizeErrors = mode != kScanConstant;
      tag.extraFramesMode = static_cast<ExtraFramesMode>(mode);
      MemorySource source(test::Bytes(input), name);
      ReadTrackFile(tag, source, name, mode, nullptr);
    }
  }
}

}  // namespace tagsmith::fuzz
