// The log's side towards the ways of naming its file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ctime>

#include "diag/log.h"

namespace tagsmith {

/// Which lines are written and what their prefixes show.
struct LogLook {
  std::int32_t maximumLevel = kLogInformation;
  bool milliseconds = false;
  LogLetters letters = LogLetters::kNone;
};

/// Asked before each prefix, with the local time and the look of the log; may close the log and
/// use another file.
using LogFileRenewal = void (*)(const std::tm& now, const LogLook& look);

/// Takes `stream` (null: standard error) as the log file. `locationName` (null: none) and
/// `locationNumber` (0: none) are shown in each prefix. `renewal` (null: none) goes with the file.
void UseLogFile(const LogLook& look, std::FILE* stream, const char* locationName,
                std::int32_t locationNumber, LogFileRenewal renewal);

}  // namespace tagsmith
