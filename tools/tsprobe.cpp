// tsprobe: drives the module's handlers through COM, the way the shell does, and prints what they
// answer, as JSON Lines or for people.
#include <windows.h>

#include <propsys.h>

#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "shellext/class_objects.h"
#include "tags/track_opening.h"
#include "tools/console.h"
#include "tools/log_capture.h"
#include "tools/property_report.h"
#include "tools/shell_host.h"

namespace tagsmith {
namespace {

constexpr int kAnsweredAll = 0;
constexpr int kFailedSome = 1;
constexpr int kWrongUsage = 2;

constexpr const char* kUsage =
    "usage: tsprobe [--properties] [--text] [--module PATH | --registered] FILE...\n"
    "\n"
    "  --properties   ask the property handler (the default)\n"
    "  --text         print for people, not as JSON Lines\n"
    "  --module PATH  load the module at PATH and use its class objects\n"
    "  --registered   use the registered handler (the default)\n";

struct Options {
  bool text = false;
  std::optional<std::string> module;
  std::vector<std::string> files;
};

std::optional<Options> ParseArguments(std::span<const std::string> arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--text") {
      options.text = true;
    } else if (argument == "--module" && i + 1 < arguments.size()) {
      options.module = arguments[++i];
    } else if (argument == "--registered") {
      options.module.reset();
    } else if (argument.starts_with("--") && argument != "--properties") {
      std::fprintf(stderr, "tsprobe: %s is not understood\n\n%s", argument.c_str(), kUsage);
      return std::nullopt;
    } else if (argument != "--properties") {
      options.files.push_back(argument);
    }
  }
  if (options.files.empty()) {
    std::fprintf(stderr, "tsprobe: no file given\n\n%s", kUsage);
    return std::nullopt;
  }
  return options;
}

PropertyReport AskPropertyHandler(const HandlerSource& handlers, const std::string& file) {
  PropertyReport report;
  ComPointer<IStream> stream;
  report.initialize = OpenStream(WidenUtf8(file), stream);
  if (FAILED(report.initialize)) {
    return report;
  }
  ComPointer<IInitializeWithStream> handler;
  report.initialize = handlers.Create(kPropertyHandlerClsid, __uuidof(IInitializeWithStream),
                                      handler.ReceiveVoid());
  if (FAILED(report.initialize)) {
    return report;
  }
  report.initialize = handler->Initialize(stream.Get(), STGM_READ);
  ComPointer<IPropertyStore> store;
  if (SUCCEEDED(report.initialize) &&
      SUCCEEDED(handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid()))) {
    report.items = ReadItems(*store);
  }
  return report;
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

bool Probe(const HandlerSource& handlers, const std::string& file, bool asText) {
  const PropertyReport properties = AskPropertyHandler(handlers, file);
  if (asText) {
    std::printf("%s\n%s%s\n", file.c_str(), TrackTexts(file).c_str(), ToText(properties).c_str());
  } else {
    JsonWriter json;
    json.BeginObject();
    json.Key("file");
    json.Utf8(file);
    WriteJson(json, properties);
    json.Key("thumbnail");
    json.Null();
    json.Key("columns");
    json.Null();
    json.EndObject();
    std::printf("%s\n", json.Result().c_str());
  }
  std::fflush(stdout);
  return SUCCEEDED(properties.initialize);
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
  {
    const HandlerSource handlers =
        options->module ? HandlerSource(WidenUtf8(*options->module)) : HandlerSource();
    for (const std::string& file : options->files) {
      if (!Probe(handlers, file, options->text)) {
        status = kFailedSome;
      }
    }
  }
  CoUninitialize();
  return status;
}

}  // namespace
}  // namespace tagsmith

int main(int argc, char** argv) { return tagsmith::Run(tagsmith::ProgramArguments(argc, argv)); }
