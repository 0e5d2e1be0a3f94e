// What tsdump prints of an opened track.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tags/tag_model.h"
#include "tools/log_capture.h"

namespace tagsmith {

struct TrackReport {
  std::string file;  // as given
  bool viaStream = false;
  std::uint32_t scanMode = 0;
  bool opened = false;
  const char* reading = "own";  // or "standard"
  const ID3Tag* tag = nullptr;
  std::vector<CapturedLine> log;
};

/// One line of JSON, without the line feed.
std::string ReportAsJson(const TrackReport& report);

/// Some lines for people: only what is there.
std::string ReportAsText(const TrackReport& report);

}  // namespace tagsmith
