#include "tools/log_capture.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>

#include "diag/log.h"
#include "tools/console.h"

namespace tagsmith {
namespace {

std::vector<CapturedLine> lines;

/// Takes "yyyy-mm-dd hh:mm:ss [L]: message" apart.
void Capture(int /*zero*/, const char* line) {
  constexpr std::string_view kLetters = "XEWSNVD";
  constexpr std::size_t kLetterPosition = 21;
  constexpr std::size_t kMessagePosition = 25;
  std::string_view text(line);
  if (text.ends_with('\n')) {
    text.remove_suffix(1);
  }
  if (text.size() < kMessagePosition) {
    return;
  }
  const auto level = static_cast<std::int32_t>(kLetters.find(text[kLetterPosition]));
  lines.push_back({level, std::string(text.substr(kMessagePosition))});
}

}  // namespace

void StartLogCapture() {
  ConfigureLog(kLogInformation, std::fopen(NullDevice(), "w"), nullptr, false, LogLetters::kAll);
  SetLogLineCallback(Capture);
}

std::vector<CapturedLine> TakeCapturedLines() { return std::exchange(lines, {}); }

}  // namespace tagsmith
