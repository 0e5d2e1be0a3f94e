#include "tools/own_reading.h"

#include "diag/log.h"
#include "handlers/com_stream_source.h"
#include "tags/own/id3v2.h"
#include "tags/own/track_opening.h"
#include "tags/text_helpers.h"
#include "tools/missing_picture.h"
#include "tools/report_text.h"

namespace tagsmith {
namespace {

/// A track as one of the two ways of opening left it.
struct Opened {
  ID3Tag tag;
  bool isOpened = false;
  CapturedLines log;
};

std::string LastMessage(const Opened& opened, const char* otherwise) {
  return opened.log.Lines().empty() ? otherwise : opened.log.Lines().back()->message;
}

/// The first bytes, as many as an AIFF form or an ID3v2 tag begins with, as far as they are there.
std::vector<std::byte> ReadStart(IStream& stream) {
  std::vector<std::byte> start(12);
  ULONG count = 0;
  stream.Seek({}, STREAM_SEEK_SET, nullptr);
  stream.Read(start.data(), static_cast<ULONG>(start.size()), &count);
  start.resize(count);
  return start;
}

std::string WhyNoAiffAudio(ByteView start) {
  if (start.size() < 12 || !BeginsWithWord(start, "FORM")) {
    return "the file does not begin as an AIFF form";
  }
  const ByteView type = start.subspan(8);
  return BeginsWithWord(type, "AIFF")   ? "no sample rate in a COMM chunk"
         : BeginsWithWord(type, "AIFC") ? "compressed AIFF (AIFF-C) is not read from a stream"
                                        : "the form holds no audio";
}

/// Why opening the stream failed, for want of audio details if it is a track.
std::string WhyNotOpened(const ID3Tag& tag, IStream& stream, bool isFoundByPath) {
  if (!tag.isMpeg && !tag.isAiff) {
    return "not a track by its name";
  }
  const std::vector<std::byte> start = ReadStart(stream);
  if (start.empty()) {
    return "the file is empty";
  }
  if (tag.isAiff) {
    return WhyNoAiffAudio(start);
  }
  const std::uint32_t tagSize = GetV2TagSize(start);
  if (tagSize > tag.fileSize) {
    return "the file ends within its tag (" + std::to_string(tag.fileSize) + " of " +
           std::to_string(tagSize) + " bytes)";
  }
  const bool hasSync = tag.details.bitsPerSample != 0;
  const std::string place =
      tagSize != 0 ? "right after the tag"
                   : "after the first ten bytes, where a file without an ID3v2 tag must have it";
  return (hasSync ? "no valid frame " : "no frame ") + place +
         (isFoundByPath ? "; columns, which search further on, have one" : "");
}

/// "Properties" and so on of the first handler that did not take the file.
std::string RefusedAnswer(const FileReport& report) {
  std::string text;
  const auto check = [&](const char* name, const auto& answers) {
    if (text.empty() && answers && FAILED(answers->initialize)) {
      text = std::string("No ") + name + ": " + ResultInWords(answers->initialize);
    }
  };
  check("properties", report.properties);
  check("thumbnail", report.thumbnail);
  check("columns", report.columns);
  return text;
}

std::string Headline(const FileReport& report, const Opened& byStream, IStream* stream,
                     const Opened& byPath, const std::string& whyNotOpened,
                     const MissingPicture& picture) {
  const ID3Tag& tag = byStream.tag;
  if (std::string refused = RefusedAnswer(report); !refused.empty() || stream == nullptr) {
    return refused;
  }
  if (!tag.isMpeg && !tag.isAiff) {
    return "Not a track by its name: only .mp3, .aif and .aiff files are read";
  }
  if (!byStream.isOpened && (report.properties || report.thumbnail)) {
    return "No properties, no thumbnail: " + whyNotOpened;
  }
  if (!byPath.isOpened && report.columns) {
    return "No columns: " + LastMessage(byPath, "no frame was found");
  }
  if (tag.details.isMissing) {
    return "No length and no bit rate: no frame was found";
  }
  if (!tag.v1Present && !tag.v2Present) {
    return "Length and bit rate only: " + LastMessage(byStream, "there is no ID3 tag");
  }
  return picture.isThere ? "No thumbnail: " + picture.reason : std::string();
}

}  // namespace

OwnReading ReadAsHandlersDo(const FileReport& report, const Reading& reading) {
  TakeCapturedLines();
  Opened byStream;
  ComPointer<IStream> stream;
  if (SUCCEEDED(OpenStream(WidenUtf8(report.file), stream))) {
    ComStreamSource source(*stream);
    byStream.isOpened = reading.openStream(&source, &byStream.tag);
  }
  byStream.log = TakeCapturedLines();

  Opened byPath;
  byPath.tag.mostPictures = 0;
  byPath.isOpened = reading.openFile(byPath.tag, report.file.c_str(), kScanQuick, nullptr, false);
  byPath.log = TakeCapturedLines();

  OwnReading own;
  for (const char* text :
       {byPath.tag.tagVersionText.data(), byPath.tag.fileSizeText.data(),
        byPath.tag.details.durationText.data(), byPath.tag.details.bitRateText.data()}) {
    if (*text != '\0') {
      own.summary.append(own.summary.empty() ? "" : ", ").append(text);
    }
  }
  const std::string whyNotOpened = stream && !byStream.isOpened
                                       ? WhyNotOpened(byStream.tag, *stream.Get(), byPath.isOpened)
                                       : std::string();
  MissingPicture picture;
  if (report.thumbnail && LacksPicture(*report.thumbnail) && stream) {
    picture = report.thumbnail->pixels ? MissingPicture{"the picture is wholly transparent", true}
              : byStream.isOpened      ? ExplainMissingPicture(byStream.tag, *stream.Get())
                                       : MissingPicture{"the track is not read: " + whyNotOpened};
  }
  own.headline = Headline(report, byStream, stream.Get(), byPath, whyNotOpened, picture);
  own.noPicture = std::move(picture.reason);
  own.streamLog = std::move(byStream.log);
  own.fileLog = std::move(byPath.log);
  return own;
}

}  // namespace tagsmith
