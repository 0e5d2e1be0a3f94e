// The process-wide log: a text file of time-stamped lines that every failure goes to.
//
// The log takes no lock of its own and allocates nothing for a line. Until a file is configured,
// and after CloseLog, lines go to the standard error stream.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "format/compiler.h"

namespace tagsmith {

/// Levels of a line; their letters are "XEWSNVD". A line is written when its level is not above
/// the maximum level.
enum LogLevel : std::int32_t {
  kLogAlways = 0,
  kLogError = 1,
  kLogWarning = 2,
  kLogInformation = 3,
};

/// Which levels show their letter, " [E]", after the time stamp.
enum class LogLetters : std::uint32_t {
  kNone = 0,
  kErrors = 1,
  kErrorsAndWarnings = 2,
  kAll = 3,
};

/// Told of every written line as it is made: its level, and the message without prefix and closing
/// line feed, as far as the last line holds it.
using LogObserver = void (*)(std::int32_t level, std::string_view message);

/// Called after every written line with 0 and the line: prefix and message, 1023 characters at
/// the most.
using LogLineCallback = void (*)(int zero, const char* line);

/// The single place where a lock is taken around a line; lines may be written within it. A lock
/// hook that answers false drops the line.
struct LogHooks {
  bool (*lock)();
  void (*unlock)();
};

/// Writes one line: time stamp, location text and message, bounded to 1024 characters. A format
/// that begins with "#" or a line feed gets no prefix; a message without a closing CR or LF gets a
/// line feed. Returns 0 when the level is above the maximum, -1 when the lock hook failed, else
/// the result of writing the message (negative on a stream error).
std::int32_t WriteLogLine(std::int32_t level, const char* format, ...) TAGSMITH_PRINTF(2, 3);

/// Takes `stream` (null: standard error) as the log file, which the log closes in CloseLog.
/// `locationName` (null: none) is shown in each prefix. A stream configured before is not closed.
void ConfigureLog(std::int32_t maximumLevel, std::FILE* stream, const char* locationName,
                  bool milliseconds, LogLetters letters);

/// Closes the log file unless it is standard error.
void CloseLog();

/// 1: every message is printed to standard output too, while a log file is open.
void SetLogEcho(std::uint32_t echo);

/// Null: none.
void SetLogObserver(LogObserver observer);
void SetLogLineCallback(LogLineCallback callback);

/// Null members stand for hooks that do nothing.
void SetLogHooks(LogHooks hooks);

/// The line that was written last, at most 1023 characters; owned by the log.
const char* LastLogLine();

/// When the log file, opened at `path` (in the run-time library's narrow encoding), is larger than
/// `maximumSize` bytes, gives it a name with date and time in place of its last four characters
/// and goes on with a fresh file at `path`. From then on lines of level 3 are written too. Within
/// the hooks' lock, like a line.
void PruneLogFile(const char* path, std::int32_t maximumSize);

}  // namespace tagsmith
