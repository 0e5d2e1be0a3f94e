// tsprobe: drives the module's handlers through COM, the way the shell does, and prints what they
// answer, as JSON Lines or for people.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "diag/log.h"
#include "handlers/chosen_reading.h"
#include "platform/handle.h"
#include "shellext/base/version_info.h"
#include "tags/reading.h"
#include "tools/arguments.h"
#include "tools/console.h"
#include "tools/file_report.h"
#include "tools/log_capture.h"
#include "tools/own_reading.h"
#include "tools/page_writer.h"
#include "tools/registration_report.h"
#include "tools/shell_host.h"
#include "tools/track_files.h"

namespace tagsmith {
namespace {

constexpr const char* kUsage =
    "usage: tsprobe [--properties] [--thumbnail] [--columns] [--png DIR] [--html FILE] [--text]\n"
    "               [--standard] [--progress] [--module PATH | --registered] FILE|FOLDER...\n"
    "       tsprobe --registration [--text]\n"
    "\n"
    "Of a folder all .mp3, .aif and .aiff files in it and below it are taken.\n"
    "\n"
    "  --properties   ask the property handler\n"
    "  --thumbnail    ask the thumbnail handler\n"
    "  --columns      ask the column handler; without any of these, all are asked\n"
    "  --png DIR      write each thumbnail as a PNG into DIR\n"
    "  --html FILE    write a page that shows all of it as the shell would\n"
    "  --text         print for people, not as JSON Lines\n"
    "  --standard     show the standard reading, whatever the settings say\n"
    "  --progress     tell on standard error how many files are done\n"
    "  --module PATH  load the module at PATH and use its class objects\n"
    "  --registered   use the registered handlers (the default)\n"
    "  --registration show what is registered, and who answers because of it\n";

struct Options {
  bool asksProperties = false;
  bool asksThumbnail = false;
  bool asksColumns = false;
  bool asksForAll = false;  // because none of these was named
  bool text = false;
  bool registration = false;
  bool standard = false;
  bool progress = false;
  std::optional<std::string> png;
  std::optional<std::string> html;
  std::optional<std::string> module;
};

CommandLine ParseArguments(Options& options, std::vector<std::string> arguments) {
  const Option known[] = {
      Flag("properties", options.asksProperties),
      Flag("thumbnail", options.asksThumbnail),
      Flag("columns", options.asksColumns),
      Text("png", options.png),
      Text("html", options.html),
      Flag("text", options.text),
      Flag("registration", options.registration),
      Flag("standard", options.standard),
      Flag("progress", options.progress),
      Text("module", options.module),
      {"registered", nullptr,
       [&](const char* /*none*/) {
         options.module.reset();
         return true;
       }},
  };
  CommandLine line =
      ParseArguments("tsprobe", kUsage, known, std::move(arguments), options.registration);
  if (!options.asksProperties && !options.asksThumbnail && !options.asksColumns) {
    options.asksForAll = true;
    options.asksProperties = true;
    options.asksThumbnail = true;
    options.asksColumns = true;
  }
  return line;
}

const Reading& ReadingOf(const Options& options) {
  return options.standard ? kStandardReading : ChosenReading();
}

bool AreAllAnswered(const FileReport& report, const Options& options) {
  const auto isFine = [](const auto& answers) {
    return !answers || SUCCEEDED(answers->initialize);
  };
  const bool hasWritten =
      !options.png || !report.thumbnail || !report.thumbnail->pixels || report.thumbnail->png;
  return isFine(report.properties) && isFine(report.thumbnail) && isFine(report.columns) &&
         hasWritten;
}

FileReport Ask(const HandlerSource& handlers, const Options& options, const std::string& file) {
  FileReport report;
  report.file = file;
  report.reading = ReadingOf(options).name;
  if (options.asksProperties) {
    report.properties = AskPropertyHandler(handlers, file);
  }
  if (options.asksThumbnail) {
    report.thumbnail = AskThumbnailHandler(handlers, file);
    if (options.png && report.thumbnail->pixels) {
      report.thumbnail->png = WritePng(*report.thumbnail->pixels, *options.png, file);
      if (!report.thumbnail->png) {
        std::fprintf(stderr, "tsprobe: no PNG of %s could be written\n", file.c_str());
      }
    }
  }
  if (options.asksColumns) {
    report.columns = AskColumnHandler(handlers, file);
    if (options.asksForAll && IsNt6OrLater() && report.columns->initialize == REGDB_E_CLASSNOTREG) {
      report.columns.reset();  // shells since Windows Vista have no columns, nor is the class there
    }
  }
  return report;
}

void PrintText(const FileReport& report, const OwnReading& reading) {
  std::string page = report.file + "\n  Reading: " + report.reading + "\n";
  page += reading.headline.empty() ? "" : "  " + reading.headline + "\n";
  page += "  Track, as tsprobe itself reads it\n    " + reading.summary + "\n";
  const auto log = [&](const CapturedLines& captured) {
    for (const CapturedLine* line : captured.Lines()) {
      page += "    Log: " + line->message + "\n";
    }
  };
  const auto append = [&](const char* title, const auto& answers) {
    if (answers) {
      page.append("  ").append(title).append("\n").append(ToText(*answers));
    }
  };
  append("Properties", report.properties);
  append("Thumbnail", report.thumbnail);
  if (report.properties || report.thumbnail) {
    log(reading.streamLog);
  }
  append("Columns", report.columns);
  if (report.columns) {
    log(reading.fileLog);
  }
  std::printf("%s\n", page.c_str());
}

void PrintJson(const FileReport& report) {
  JsonWriter json;
  const auto write = [&](const char* key, const auto& answers) {
    json.Member(key, [&] { answers ? WriteJson(json, *answers) : json.Value(nullptr); });
  };
  json.Object([&] {
    json.Member("file", report.file);
    json.Member("reading", report.reading);
    write("properties", report.properties);
    write("thumbnail", report.thumbnail);
    write("columns", report.columns);
  });
  std::printf("%s\n", json.Result().c_str());
}

void PrintRegistration(bool asText) {
  const RegistrationReport report = ReadRegistration();
  JsonWriter json;
  WriteJson(json, report);
  std::printf("%s\n", asText ? ToText(report).c_str() : json.Result().c_str());
}

/// Tells on standard error how far a long run has come, a few times a second.
class Progress {
 public:
  Progress(bool isWanted, std::size_t total) : isWanted_(isWanted), total_(total) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() {
    if (isWanted_) {
      std::fputc('\n', stderr);
    }
  }

  void Show(std::size_t done) {
    const auto now = Clock::now();
    if (!isWanted_ || (now < next_ && done != total_)) {
      return;
    }
    next_ = now + std::chrono::milliseconds(200);
    const double seconds = std::max(std::chrono::duration<double>(now - start_).count(), 0.001);
    const double rate = static_cast<double>(done) / seconds;
    const auto left = std::lround(static_cast<double>(total_ - done) / rate);
    std::fprintf(stderr, "\r%zu of %zu files, %.1f a second, %ld:%02ld left    ", done, total_,
                 rate, left / 60, left % 60);
    std::fflush(stderr);
  }

 private:
  using Clock = std::chrono::steady_clock;
  const bool isWanted_;
  const std::size_t total_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_;
};

std::atomic<bool> isInterrupted = false;

/// On Ctrl-C the file at hand is the last one.
BOOL WINAPI Interrupt(DWORD /*event*/) {
  isInterrupted = true;
  return TRUE;
}

/// Asks and prints; false when not everything was answered and written.
bool Inspect(const HandlerSource& handlers, const Options& options,
             const std::vector<std::string>& files) {
  std::optional<PageWriter> page;
  if (options.html) {
    page.emplace(*options.html, handlers, ReadingOf(options).name);
  }
  Progress progress(options.progress, files.size());
  bool isFine = true;
  std::size_t done = 0;
  for (; done < files.size() && !isInterrupted && !(page && !page->IsWritten());
       progress.Show(++done)) {
    FileReport report = Ask(handlers, options, files[done]);
    isFine = AreAllAnswered(report, options) && isFine;
    const OwnReading reading =
        options.text || page || (report.thumbnail && LacksPicture(*report.thumbnail))
            ? ReadAsHandlersDo(report, ReadingOf(options))
            : OwnReading{};
    if (!reading.noPicture.empty()) {
      report.thumbnail->reason = reading.noPicture;
    }
    if (page) {
      page->Add(report, reading);
    }
    options.text ? PrintText(report, reading) : PrintJson(report);
    std::fflush(stdout);
  }
  const bool isComplete = done == files.size();
  if (page) {
    page->Finish(isComplete);
    if (!page->IsWritten()) {
      std::fprintf(stderr, "tsprobe: %s could not be written\n", options.html->c_str());
      isFine = false;
    }
  }
  return isFine && isComplete;
}

int Run(std::vector<std::string> arguments) {
  Options options;
  const CommandLine given = ParseArguments(options, std::move(arguments));
  if (given.end) {
    return *given.end;
  }
  UseBinaryOutput();
  if (options.registration) {
    PrintRegistration(options.text);
    return kDoneAll;
  }
  StartLogCapture(kLogWarning);
  UsePropertySystemDouble();
  if (FAILED(CoInitialize(nullptr))) {
    return kFailedSome;
  }
  const AtEnd leaveCom([] { CoUninitialize(); });
  SetConsoleCtrlHandler(Interrupt, TRUE);
  bool isFine = true;
  const std::vector<std::string> files = FindTracks(given.files, isFine);
  HandlerSource handlers =
      options.module ? HandlerSource(WidenUtf8(*options.module)) : HandlerSource();
  if (options.standard) {
    handlers.UseStandardReading();
  }
  if (options.html) {
    handlers.ServeColumnsAnyway();
  }
  isFine = Inspect(handlers, options, files) && isFine;
  return isFine ? kDoneAll : kFailedSome;
}

}  // namespace
}  // namespace tagsmith

int main(int argc, char** argv) { return tagsmith::Run(tagsmith::ProgramArguments(argc, argv)); }
