// tsdump: shows what the tag reading library makes of files, as JSON Lines or for people.
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "diag/log.h"
#include "tags/file_source.h"
#include "tags/platform.h"
#include "tags/reading.h"
#include "tools/arguments.h"
#include "tools/console.h"
#include "tools/log_capture.h"
#include "tools/track_report.h"

namespace tagsmith {
namespace {

constexpr const char* kUsage =
    "usage: tsdump [--stream] [--scan-mode N] [--write-check] [--narrow] [--extra-frames N]\n"
    "              [--ignore-size-errors] [--standard] [--text] FILE...\n"
    "\n"
    "  --stream              open through the stream path of track opening\n"
    "  --scan-mode N         0 every frame (default), 1 quick, 2 constant bit rate\n"
    "  --write-check         find out whether the file can be written\n"
    "  --narrow              narrow texts to Latin-1 instead of keeping Unicode\n"
    "  --extra-frames N      frames without a field: 0 ignore, 1 keep known (default), 2 keep all\n"
    "  --ignore-size-errors  go on with an AIFF file whose size is not what its header says\n"
    "  --standard            take the standard reading, not the system's own\n"
    "  --text                print for people, not as JSON Lines\n";

struct Options {
  bool stream = false;
  std::uint32_t scanMode = 0;
  bool writeCheck = false;
  bool narrow = false;
  std::uint32_t extraFrames = static_cast<std::uint32_t>(ExtraFramesMode::kKeepKnown);
  bool ignoreSizeErrors = false;
  bool standard = false;
  bool text = false;
};

bool OpenAsStream(ID3Tag& tag, const std::string& path, const Reading& reading) {
  FilePointer file = OpenFile(path.c_str(), "rb");
  if (!file) {
    return reading.openStream(nullptr, &tag);
  }
  FileSource source(std::move(file), path);
  return reading.openStream(&source, &tag);
}

bool Dump(const std::string& path, const Options& options) {
  ID3Tag tag;
  tag.keepUnicode = !options.narrow;
  tag.extraFramesMode = static_cast<ExtraFramesMode>(options.extraFrames);
  tag.ignoreSizeErrors = options.ignoreSizeErrors;
  const Reading& reading = options.standard ? kStandardReading : kOwnReading;
  const bool opened = options.stream ? OpenAsStream(tag, path, reading)
                                     : reading.openFile(tag, path.c_str(), options.scanMode,
                                                        nullptr, options.writeCheck);
  const TrackReport report{.file = path,
                           .viaStream = options.stream,
                           .scanMode = options.scanMode,
                           .opened = opened,
                           .reading = reading.name,
                           .tag = &tag,
                           .log = TakeCapturedLines()};
  if (options.text) {
    PrintText(stdout, report);
  } else {
    JsonWriter json(stdout);
    WriteJson(json, report);
  }
  std::printf("\n");
  std::fflush(stdout);
  return opened;
}

int Run(std::vector<std::string> arguments) {
  constexpr auto kMostExtraFrames = static_cast<std::uint32_t>(ExtraFramesMode::kKeepAll);
  Options options;
  const Option known[] = {
      Flag("stream", options.stream),
      Number("scan-mode", options.scanMode),
      Flag("write-check", options.writeCheck),
      Flag("narrow", options.narrow),
      Number("extra-frames", options.extraFrames, kMostExtraFrames),
      Flag("ignore-size-errors", options.ignoreSizeErrors),
      Flag("standard", options.standard),
      Flag("text", options.text),
  };
  const CommandLine line = ParseArguments("tsdump", kUsage, known, std::move(arguments));
  if (line.end) {
    return *line.end;
  }
  UseBinaryOutput();
  StartLogCapture(kLogInformation);
  int status = kDoneAll;
  for (const std::string& file : line.files) {
    if (!Dump(file, options)) {
      status = kFailedSome;
    }
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    std::fprintf(stderr, "tsdump: the output could not be written\n");
    status = kFailedSome;
  }
  return status;
}

}  // namespace
}  // namespace tagsmith

int main(int argc, char** argv) { return tagsmith::Run(tagsmith::ProgramArguments(argc, argv)); }
