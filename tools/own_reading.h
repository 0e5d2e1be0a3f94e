// What the library within this program reads from a file in the ways that the handlers do: the log
// lines behind their answers, and why something is not shown.
#pragma once

#include <string>
#include <vector>

#include "tags/reading.h"
#include "tools/file_report.h"
#include "tools/log_capture.h"

namespace tagsmith {

struct OwnReading {
  std::string summary;    // tag versions, size, duration and bit rate; empty where none is known
  std::string headline;   // what the handlers do not show, and why; empty where nothing is missing
  std::string noPicture;  // why no thumbnail is to be seen, where that is so
  CapturedLines streamLog;  // of the stream, which properties and thumbnail come from
  CapturedLines fileLog;    // of the path, which columns come from
};

/// Reads the file as the handlers did for `report`, whichever module answered. Lines that only
/// inform are left out of the logs.
OwnReading ReadAsHandlersDo(const FileReport& report, const Reading& reading);

}  // namespace tagsmith
