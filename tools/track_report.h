// What tsdump prints of an opened track.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "tags/tag_model.h"
#include "tools/json_writer.h"
#include "tools/log_capture.h"

namespace tagsmith {

struct TrackReport {
  std::string file;  // as given
  bool viaStream = false;
  std::uint32_t scanMode = 0;
  bool opened = false;
  const char* reading = "own";  // or "standard"
  const ID3Tag* tag = nullptr;
  CapturedLines log;
};

void WriteJson(JsonWriter& json, const TrackReport& report);

/// Some lines for people: only what is there.
void PrintText(std::FILE* out, const TrackReport& report);

}  // namespace tagsmith
