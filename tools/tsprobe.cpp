// tsprobe: drives the module's handlers through COM, the way the shell does, and prints what they
// answer, as JSON Lines or for people.
#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tags/track_opening.h"
#include "tools/console.h"
#include "tools/file_report.h"
#include "tools/html_report.h"
#include "tools/log_capture.h"
#include "tools/shell_host.h"

namespace tagsmith {
namespace {

constexpr int kAnsweredAll = 0;
constexpr int kFailedSome = 1;
constexpr int kWrongUsage = 2;

constexpr const char* kUsage =
    "usage: tsprobe [--properties] [--thumbnail] [--columns] [--png DIR] [--html FILE] [--text]\n"
    "               [--module PATH | --registered] FILE...\n"
    "\n"
    "  --properties   ask the property handler\n"
    "  --thumbnail    ask the thumbnail handler\n"
    "  --columns      ask the column handler; without any of these, all are asked\n"
    "  --png DIR      write each thumbnail as a PNG into DIR\n"
    "  --html FILE    write a page that shows all of it as the shell would\n"
    "  --text         print for people, not as JSON Lines\n"
    "  --module PATH  load the module at PATH and use its class objects\n"
    "  --registered   use the registered handlers (the default)\n";

struct Options {
  bool asksProperties = false;
  bool asksThumbnail = false;
  bool asksColumns = false;
  bool text = false;
  std::optional<std::string> png;
  std::optional<std::string> html;
  std::optional<std::string> module;
  std::vector<std::string> files;
};

std::optional<Options> ParseArguments(std::span<const std::string> arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const bool hasValue = i + 1 < arguments.size();
    if (argument == "--properties") {
      options.asksProperties = true;
    } else if (argument == "--thumbnail") {
      options.asksThumbnail = true;
    } else if (argument == "--columns") {
      options.asksColumns = true;
    } else if (argument == "--png" && hasValue) {
      options.png = arguments[++i];
    } else if (argument == "--html" && hasValue) {
      options.html = arguments[++i];
    } else if (argument == "--text") {
      options.text = true;
    } else if (argument == "--module" && hasValue) {
      options.module = arguments[++i];
    } else if (argument == "--registered") {
      options.module.reset();
    } else if (argument.starts_with("--")) {
      std::fprintf(stderr, "tsprobe: %s is not understood\n\n%s", argument.c_str(), kUsage);
      return std::nullopt;
    } else {
      options.files.push_back(argument);
    }
  }
  if (options.files.empty()) {
    std::fprintf(stderr, "tsprobe: no file given\n\n%s", kUsage);
    return std::nullopt;
  }
  if (!options.asksProperties && !options.asksThumbnail && !options.asksColumns) {
    options.asksProperties = true;
    options.asksThumbnail = true;
    options.asksColumns = true;
  }
  return options;
}

/// The texts that the shell shows beside the properties, read by the library itself.
std::string TrackTexts(const std::string& file) {
  ID3Tag tag;
  OpenTrackFromFile(tag, file.c_str(), kScanAll, nullptr, false);
  std::string texts;
  for (const char* text : {tag.tagVersionText.data(), tag.fileSizeText.data(),
                           tag.details.durationText.data(), tag.details.bitRateText.data()}) {
    if (*text != '\0') {
      texts += (texts.empty() ? "  " : ", ") + std::string(text);
    }
  }
  for (const CapturedLine& line : TakeCapturedLines()) {
    if (line.level != 3) {
      texts += "\n  Log: " + line.message;
    }
  }
  return texts + "\n";
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

void PrintText(const FileReport& report) {
  std::string page = report.file + "\n" + TrackTexts(report.file);
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
    json.Key(key);
    if (answers) {
      WriteJson(json, *answers);
    } else {
      json.Null();
    }
  };
  json.BeginObject();
  json.Key("file");
  json.Utf8(report.file);
  write("properties", report.properties);
  write("thumbnail", report.thumbnail);
  write("columns", report.columns);
  json.EndObject();
  std::printf("%s\n", json.Result().c_str());
}

bool WritePage(const std::string& path, std::span<const FileReport> reports) {
  std::ofstream file(std::filesystem::path(std::u8string(path.begin(), path.end())),
                     std::ios::binary);
  file << ToHtml(reports);
  return static_cast<bool>(file.flush());
}

int Run(std::span<const std::string> arguments) {
  const std::optional<Options> options = ParseArguments(arguments);
  if (!options) {
    return kWrongUsage;
  }
  UseBinaryOutput();
  StartLogCapture();
  UsePropertySystemDouble();
  if (FAILED(CoInitialize(nullptr))) {
    return kFailedSome;
  }
  int status = kAnsweredAll;
  std::vector<FileReport> reports;  // for the page
  {
    const HandlerSource handlers =
        options->module ? HandlerSource(WidenUtf8(*options->module)) : HandlerSource();
    for (const std::string& file : options->files) {
      FileReport report = Ask(handlers, *options, file);
      (options->text ? PrintText : PrintJson)(report);
      std::fflush(stdout);
      if (!AreAllAnswered(report, *options)) {
        status = kFailedSome;
      }
      if (options->html) {
        reports.push_back(std::move(report));
      }
    }
  }
  if (options->html && !WritePage(*options->html, reports)) {
    std::fprintf(stderr, "tsprobe: %s could not be written\n", options->html->c_str());
    status = kFailedSome;
  }
  CoUninitialize();
  return status;
}

}  // namespace
}  // namespace tagsmith

int main(int argc, char** argv) { return tagsmith::Run(tagsmith::ProgramArguments(argc, argv)); }
