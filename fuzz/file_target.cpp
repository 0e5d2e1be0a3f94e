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
      tag.mostPictures = mode;
      tag.ignoreSizeErrors = mode != kScanConstant;
      tag.extraFramesMode = static_cast<ExtraFramesMode>(mode);
      MemorySource source(test::Bytes(input), name);
      const bool opened = ReadTrackFile(tag, source, name, mode, [](const char* text, int percent) {
        Require(*text != '\0' && percent >= 0 && percent <= 100, "progress is told in percent");
      });
      Require(!opened || tag.GetSampleRateKHz() > 0, "a track has a sample rate");
      tag.Clear(true);
      Require(!tag.HasFields() && tag.GetPicture(0) == nullptr && tag.details.frameCount == 0,
              "a cleared tag is empty");
    }
  }
}

}  // namespace tagsmith::fuzz
