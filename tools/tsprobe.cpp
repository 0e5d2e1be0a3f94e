// tsprobe: drives the module's handlers through COM, the way the shell does, and prints what they
// answer, as JSON Lines or for people.
#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "diag/log.h"
#include "platform/handle.h"
#include "tags/reading.h"
#include "tools/arguments.h"
#include "tools/console.h"
#include "tools/file_report.h"
#include "tools/html_report.h"
#include "tools/log_capture.h"
#include "tools/registration_report.h"
#include "tools/shell_host.h"

namespace tagsmith {
namespace {

constexpr const char* kUsage =
    "usage: tsprobe [--properties] [--thumbnail] [--columns] [--png DIR] [--html FILE] [--text]\n"
    "               [--standard] [--module PATH | --registered] FILE...\n"
    "       tsprobe --registration [--text]\n"
    "\n"
    "  --properties   ask the property handler\n"
    "  --thumbnail    ask the thumbnail handler\n"
    "  --columns      ask the column handler; without any of these, all are asked\n"
    "  --png DIR      write each thumbnail as a PNG into DIR\n"
    "  --html FILE    write a page that shows all of it as the shell would\n"
    "  --text         print for people, not as JSON Lines\n"
    "  --standard     show the standard reading, whatever the settings say\n"
    "  --module PATH  load the module at PATH and use its class objects\n"
    "  --registered   use the registered handlers (the default)\n"
    "  --registration show what is registered, and who answers because of it\n";

struct Options {
  bool asksProperties = false;
  bool asksThumbnail = false;
  bool asksColumns = false;
  bool text = false;
  bool registration = false;
  bool standard = false;
  std::optional<std::string> png;
  std::optional<std::string> html;
  std::optional<std::string> module;
};

/// The files; nothing when the arguments are not understood.
std::optional<std::vector<std::string>> ParseArguments(Options& options,
                                                       std::vector<std::string> arguments) {
  const Option known[] = {
      Flag("properties", options.asksProperties),
      Flag("thumbnail", options.asksThumbnail),
      Flag("columns", options.asksColumns),
      Text("png", options.png),
      Text("html", options.html),
      Flag("text", options.text),
      Flag("registration", options.registration),
      Flag("standard", options.standard),
      Text("module", options.module),
      {"registered", nullptr,
       [&](const char* /*none*/) {
         options.module.reset();
         return true;
       }},
  };
  auto files = ParseArguments("tsprobe", kUsage, known, std::move(arguments), options.registration);
  if (!options.asksProperties && !options.asksThumbnail && !options.asksColumns) {
    options.asksProperties = true;
    options.asksThumbnail = true;
    options.asksColumns = true;
  }
  return files;
}

/// What no handler answers: versions, size and bit rate as texts, and why a track is not read. Read
/// by the library that is part of this program, whatever module is shown.
std::string OwnTexts(const std::string& file, const Reading& reading) {
  ID3Tag tag;
  reading.openFile(tag, file.c_str(), kScanAll, nullptr, false);
  std::string line;
  for (const char* text : {tag.tagVersionText.data(), tag.fileSizeText.data(),
                           tag.details.durationText.data(), tag.details.bitRateText.data()}) {
    if (*text != '\0') {
      line += (line.empty() ? "    " : ", ") + std::string(text);
    }
  }
  std::string page = line.empty() ? "" : line + "\n";
  for (const CapturedLine& logged : TakeCapturedLines()) {
    if (logged.level != kLogInformation) {
      page += "    Log: " + logged.message + "\n";
    }
  }
  return page;
}

const Reading& ReadingOf(const Options& options) {
  return options.standard ? kStandardReading : kOwnReading;
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
  }
  return report;
}

void PrintText(const FileReport& report, const Reading& reading) {
  std::string page = report.file + "\n  Reading: " + reading.name +
                     "\n  Track, as tsprobe itself reads it\n" + OwnTexts(report.file, reading);
  const auto append = [&](const char* title, const auto& answers) {
    if (answers) {
      page.append("  ").append(title).append("\n").append(ToText(*answers));
    }
  };
  append("Properties", report.properties);
  append("Thumbnail", report.thumbnail);
  append("Columns", report.columns);
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

bool WritePage(const std::string& path, std::span<const FileReport> reports) {
  std::ofstream file(std::filesystem::path(std::u8string(path.begin(), path.end())),
                     std::ios::binary);
  file << ToHtml(reports);
  return static_cast<bool>(file.flush());
}

int Run(std::vector<std::string> arguments) {
  Options options;
  const auto files = ParseArguments(options, std::move(arguments));
  if (!files) {
    return kWrongUsage;
  }
  UseBinaryOutput();
  if (options.registration) {
    PrintRegistration(options.text);
    return kDoneAll;
  }
  StartLogCapture();
  UsePropertySystemDouble();
  if (FAILED(CoInitialize(nullptr))) {
    return kFailedSome;
  }
  const AtEnd leaveCom([] { CoUninitialize(); });
  HandlerSource handlers =
      options.module ? HandlerSource(WidenUtf8(*options.module)) : HandlerSource();
  int status = kDoneAll;
  std::vector<FileReport> reports;  // for the page
  if (options.standard) {
    handlers.UseStandardReading();
  }
  for (const std::string& file : *files) {
    FileReport report = Ask(handlers, options, file);
    if (options.text) {
      PrintText(report, ReadingOf(options));
    } else {
      PrintJson(report);
    }
    std::fflush(stdout);
    if (!AreAllAnswered(report, options)) {
      status = kFailedSome;
    }
    if (options.html) {
      reports.push_back(std::move(report));
    }
  }
  if (options.html && !WritePage(*options.html, reports)) {
    std::fprintf(stderr, "tsprobe: %s could not be written\n", options.html->c_str());
    status = kFailedSome;
  }
  return status;
}

}  // namespace
}  // namespace tagsmith

int main(int argc, char** argv) { return tagsmith::Run(tagsmith::ProgramArguments(argc, argv)); }
