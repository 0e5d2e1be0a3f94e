#include "tools/log_capture.h"

#include <cstdio>
#include <string_view>
#include <utility>

#include "diag/log.h"
#include "tools/console.h"

namespace tagsmith {
namespace {

CapturedLines& Lines() {
  static CapturedLines lines;
  return lines;
}

void Capture(std::int32_t level, std::string_view message) {
  Lines().Add({level, std::string(message)});
}

}  // namespace

void StartLogCapture(std::int32_t level) {
  ConfigureLog(level, std::fopen(NullDevice(), "w"), nullptr, false, LogLetters::kAll);
  SetLogObserver(Capture);
}

CapturedLines TakeCapturedLines() { return std::exchange(Lines(), {}); }

}  // namespace tagsmith
