// Opens the input as a stream and as a file; both must agree in all but what is named here.
#include "fuzz/target.h"
#include "tags/own/track_opening.h"
#include "tags/text_helpers.h"

namespace tagsmith::fuzz {
namespace {

void Compare(std::string_view input, const char* name) {
  ID3Tag file;
  CheckExtension(name, &file);
  file.ignoreSizeErrors = true;
  MemorySource fileSource(test::Bytes(input), name);
  const bool fileOpened = ReadTrackFile(file, fileSource, name, kScanAll, nullptr);
  // Only files are looked at before they are read, and compressed AIFF is read from files only.
  const bool isRefused = !file.fileName;
  const bool isCompressed =
      file.isAiff && input.size() >= 12 && BeginsWithWord(test::Bytes(input).subspan(8), "AIFC");
  if (isRefused || isCompressed) {
    return;
  }
  ID3Tag stream;
  MemorySource streamSource(test::Bytes(input), name);
  const bool streamOpened = OpenTrackFromStream(&streamSource, &stream);

  if (file.isAiff) {
    Require(fileOpened == streamOpened, "AIFF audio is read alike");
    Require(stream.details.audioOffset == file.id3AreaSize, "the tag's chunk has one size");
  } else if (fileOpened && streamOpened && file.details.audioOffset == stream.details.audioOffset) {
    // Streams tell of the first frame only, files of all; of the header both tell the same, unless
    // the stream took a later byte for its second one.
    const std::size_t second = file.details.audioOffset + 1;
    constexpr unsigned kSecondBits = 0xF2;
    if ((static_cast<unsigned char>(input[second]) & kSecondBits) == kSecondBits) {
      Require(file.details.versionIndex == stream.details.versionIndex, "MPEG version");
      Require(file.details.layerIndex == stream.details.layerIndex, "layer");
      Require(file.details.sampleRateField == stream.details.sampleRateField, "sample rate");
      Require(file.details.channelMode == stream.details.channelMode, "channel mode");
    }
  }
  // From here on the named differences are made equal: what is left are the tags.
  stream.id3AreaSize = file.id3AreaSize;
  stream.fileName = file.fileName;
  stream.v2Loaded = file.v2Loaded;  // also set where a file's tag was cut
  if (file.isMpeg) {
    stream.details = file.details;
  } else {
    stream.details.audioOffset = file.details.audioOffset;
  }
  const std::string ofStream = AsJson(stream);
  const std::string ofFile = AsJson(file);
  Require(ofStream == ofFile, "both paths agree:\n" + ofStream + "\n" + ofFile);
}

}  // namespace

void CheckBothPaths(std::string_view input) {
  Compare(input, "s.mp3");
  Compare(input, "s.aif");
}

}  // namespace tagsmith::fuzz
