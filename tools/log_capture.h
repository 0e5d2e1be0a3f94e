// The log lines that are written while a tool works on a file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tagsmith {

struct CapturedLine {
  std::int32_t level = 0;
  std::string message;  // without time stamp and closing line feed
};

/// Turns the process's log to a file that keeps nothing, and collects its lines of levels 0 to 3.
void StartLogCapture();

/// The lines collected since the last call.
std::vector<CapturedLine> TakeCapturedLines();

}  // namespace tagsmith
