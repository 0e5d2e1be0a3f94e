#include "tools/log_capture.h"

#include <cstdio>
#include <string_view>
#include <utility>

#include "diag/log.h"
#include "tools/console.h"

namespace tagsmith {
namespace {

std::vector<CapturedLine> lines;

void Capture(std::int32_t level, std::string_view message) {
  lines.push_back({level, std::string(message)});
}

}  // namespace

void StartLogCapture() {
  ConfigureLog(kLogInformation, std::fopen(NullDevice(), "w"), nullptr, false, LogLetters::kAll);
  SetLogObserver(Capture);
}

std::vector<CapturedLine> TakeCapturedLines() { return std::exchange(lines, {}); }

}  // namespace tagsmith
