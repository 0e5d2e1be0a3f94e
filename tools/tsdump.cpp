// tsdump: shows what the tag reading library makes of files, as JSON Lines or for people.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tags/file_source.h"
#include "tags/platform.h"
#include "tags/track_opening.h"
#include "tools/console.h"
#include "tools/log_capture.h"
#include "tools/track_report.h"

namespace tagsmith {
namespace {

constexpr int kOpenedAll = 0;
constexpr int kFailedSome = 1;
constexpr int kWrongUsage = 2;

constexpr const char* kUsage =
    "usage: tsdump [--stream] [--scan-mode N] [--write-check] [--narrow] [--extra-frames N]\n"
    "              [--ignore-size-errors] [--text] FILE...\n"
    "\n"
    "  --stream              open through the stream path of track opening\n"
    "  --scan-mode N         0 every frame (default), 1 quick, 2 constant bit rate\n"
    "  --write-check         find out whether the file can be written\n"
    "  --narrow              narrow texts to Latin-1 instead of keeping Unicode\n"
    "  --extra-frames N      frames without a field: 0 ignore, 1 keep known (default), 2 keep all\n"
    "  --ignore-size-errors  go on with an AIFF file whose size is not what its header says\n"
    "  --text                print for people, not as JSON Lines\n";

struct Options {
  bool stream = false;
  std::uint32_t scanMode = 0;
  bool writeCheck = false;
  bool narrow = false;
  ExtraFramesMode extraFrames = ExtraFramesMode::kKeepKnown;
  bool ignoreSizeErrors = false;
  bool text = false;
  std::vector<std::string> files;
};

std::optional<std::uint32_t> ParseNumber(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

struct Flag {
  std::string_view name;
  bool Options::*member;
};
constexpr Flag kFlags[] = {
    {"--stream", &Options::stream}, {"--write-check", &Options::writeCheck},
    {"--narrow", &Options::narrow}, {"--ignore-size-errors", &Options::ignoreSizeErrors},
    {"--text", &Options::text},
};

bool TakeFlag(Options& options, std::string_view argument) {
  const auto* flag = std::find_if(std::begin(kFlags), std::end(kFlags),
                                  [&](const Flag& f) { return f.name == argument; });
  if (flag == std::end(kFlags)) {
    return false;
  }
  options.*flag->member = true;
  return true;
}

/// Nothing, with a message on standard error, when the arguments are not understood.
std::optional<Options> ParseArguments(std::span<const std::string> arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--") {
      options.files.insert(options.files.end(),
                           arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1, arguments.end());
      break;
    }
    if (!argument.starts_with("--")) {
      options.files.push_back(argument);
    } else if (argument == "--scan-mode" || argument == "--extra-frames") {
      const auto number = i + 1 < arguments.size() ? ParseNumber(arguments[i + 1]) : std::nullopt;
      const bool isExtraFrames = argument == "--extra-frames";
      if (!number || (isExtraFrames && *number > 2)) {
        std::fprintf(stderr, "tsdump: %s takes a number\n\n%s", argument.c_str(), kUsage);
        return std::nullopt;
      }
      if (isExtraFrames) {
        options.extraFrames = static_cast<ExtraFramesMode>(*number);
      } else {
        options.scanMode = *number;
      }
      ++i;
    } else if (!TakeFlag(options, argument)) {
      std::fprintf(stderr, "tsdump: unknown option %s\n\n%s", argument.c_str(), kUsage);
      return std::nullopt;
    }
  }
  if (options.files.empty()) {
    std::fprintf(stderr, "tsdump: no file given\n\n%s", kUsage);
    return std::nullopt;
  }
  return options;
}

bool OpenAsStream(ID3Tag& tag, const std::string& path) {
  FilePointer file = OpenFile(path.c_str(), "rb");
  if (file == nullptr) {
    return OpenTrackFromStream(nullptr, &tag);
  }
  FileSource source(std::move(file), path);
  return OpenTrackFromStream(&source, &tag);
}

bool Dump(const std::string& path, const Options& options) {
  ID3Tag tag;
  tag.keepUnicode = !options.narrow;
  tag.extraFramesMode = options.extraFrames;
  tag.ignoreSizeErrors = options.ignoreSizeErrors;
  const bool opened = options.stream ? OpenAsStream(tag, path)
                                     : OpenTrackFromFile(tag, path.c_str(), options.scanMode,
                                                         nullptr, options.writeCheck);
  const TrackReport report{.file = path,
                           .viaStream = options.stream,
                           .scanMode = options.scanMode,
                           .opened = opened,
                           .tag = &tag,
                           .log = TakeCapturedLines()};
  const std::string text = options.text ? ReportAsText(report) : ReportAsJson(report);
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
  return opened;
}

int Run(std::span<const std::string> arguments) {
  const std::optional<Options> options = ParseArguments(arguments);
  if (!options) {
    return kWrongUsage;
  }
  UseBinaryOutput();
  StartLogCapture();
  int status = kOpenedAll;
  for (const std::string& file : options->files) {
    if (!Dump(file, *options)) {
      status = kFailedSome;
    }
  }
  return status;
}

}  // namespace
}  // namespace tagsmith

int main(int argc, char** argv) { return tagsmith::Run(tagsmith::ProgramArguments(argc, argv)); }
