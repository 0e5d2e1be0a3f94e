#include "diag/log.h"

#include <array>
#include <cstdarg>
#include <string_view>

#include "diag/clock.h"
#include "diag/log_file.h"
#include "diag/log_stream.h"
#include "format/bounded.h"

namespace tagsmith {
namespace {

constexpr std::string_view kLetters = "XEWSNVD";

// Capacities: the characters that count and the terminator.
template <std::size_t Characters>
using Text = std::array<char, Characters + 1>;

struct LogState {
  std::FILE* file = nullptr;
  LogFileRenewal renewal = nullptr;
  LogLook look;
  std::uint32_t echo = 0;
  Text<80> location{};
  Text<1023> lastLine{};
  LogObserver observer = nullptr;
  LogLineCallback callback = nullptr;
  LogHooks hooks{nullptr, nullptr};
  std::time_t second = 0;  // that `now` is the local time of
  std::tm now{};
};

LogState state;

/// The hooks' lock, as long as it lives.
class HookLock {
 public:
  HookLock() : hooks_(state.hooks), isHeld_(hooks_.lock == nullptr || hooks_.lock()) {}
  HookLock(const HookLock&) = delete;
  HookLock& operator=(const HookLock&) = delete;
  ~HookLock() {
    if (isHeld_ && hooks_.unlock != nullptr) {
      hooks_.unlock();
    }
  }
  [[nodiscard]] bool IsHeld() const { return isHeld_; }

 private:
  LogHooks hooks_;
  bool isHeld_;
};

std::FILE* Stream() { return state.file != nullptr ? state.file : stderr; }

bool ShowsLetter(std::int32_t level) {
  switch (state.look.letters) {
    case LogLetters::kErrors:
      return level == kLogError;
    case LogLetters::kErrorsAndWarnings:
      return level == kLogError || level == kLogWarning;
    case LogLetters::kAll:
      return level >= 0 && level < static_cast<std::int32_t>(kLetters.size());
    case LogLetters::kNone:
      break;
  }
  return false;
}

/// Converted once a second: that costs more than the rest of a line.
const std::tm& LocalTime() {
  const std::time_t second = std::time(nullptr);
  if (second != state.second) {
    state.second = second;
    state.now = LocalTimeNow();
  }
  return state.now;
}

/// Writes the prefix and begins the last line with it; negative on a stream error.
int WritePrefix(std::int32_t level) {
  const std::tm& now = LocalTime();
  if (state.renewal != nullptr) {
    state.renewal(now, state.look);
  }
  Text<7> milliseconds{};
  if (state.look.milliseconds) {
    // Of the tick count: the wall clock is read in whole seconds.
    FormatBounded(milliseconds, ".%03d", static_cast<int>(TickCount() % 1000));
  }
  Text<7> letter{};
  if (ShowsLetter(level)) {
    FormatBounded(letter, " [%c]", kLetters[static_cast<std::size_t>(level)]);
  }
  Text<144> prefix{};
  FormatBounded(prefix, "%04d-%02d-%02d %02d:%02d:%02d%s%s%s", now.tm_year + 1900, now.tm_mon + 1,
                now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec, milliseconds.data(),
                letter.data(), state.location.data());
  const int result = std::fputs(prefix.data(), Stream());
  CopyBounded(state.lastLine, prefix.data());
  return result;
}

/// What happens between the two hooks.
TAGSMITH_PRINTF(2, 0)
std::int32_t WriteLine(std::int32_t level, const char* format, std::va_list arguments) {
  state.lastLine.front() = '\0';
  if (*format != '#' && *format != '\n') {
    const int result = WritePrefix(level);
    if (result < 0) {
      return result;
    }
  }
  Text<1025> message{};  // 1024 characters and the line feed
  const std::size_t length =
      FormatBoundedV(std::span<char>(message).first(1025), format, arguments);
  if (length == 0 || (message[length - 1] != '\r' && message[length - 1] != '\n')) {
    message[length] = '\n';
    message[length + 1] = '\0';  // a zero among the arguments may have left more after it
  }
  if (state.file != nullptr && state.echo == 1) {
    std::printf("%s", message.data());
  }
  const int result = std::fputs(message.data(), Stream());
  const std::size_t prefixLength = std::string_view(state.lastLine.data()).size();
  AppendBounded(state.lastLine, message.data());
  if (result >= 0) {
    if (state.observer != nullptr) {
      std::string_view text = std::string_view(state.lastLine.data()).substr(prefixLength);
      text.remove_suffix(text.ends_with('\n') ? 1 : 0);
      state.observer(level, text);
    }
    if (state.callback != nullptr) {
      state.callback(0, state.lastLine.data());
    }
    std::fflush(Stream());
  }
  return result;
}

/// `file`: the one that has grown too large.
void RotateLogFile(const char* path, const FileFacts& file) {
  const std::tm now = LocalTimeNow();
  Text<260> oldLog{};
  const std::size_t length = CopyBounded(oldLog, path);
  oldLog[length < 4 ? 0 : length - 4] = '\0';
  Text<31> suffix{};
  FormatBounded(suffix, "-%04d%02d%02d%02d%02d.log", now.tm_year + 1900, now.tm_mon + 1,
                now.tm_mday, now.tm_hour, now.tm_min);
  AppendBounded(oldLog, suffix.data());

  CloseLog();
  const auto atPath = AskFile(path);
  // Another process may have renamed the file already; this one then follows it to the fresh one.
  const bool isStillThere = atPath && atPath->IsSameFile(file);
  // A second rotation within the minute finds the name taken; the log then simply goes on. Not
  // every system's rename refuses to replace a file.
  if (isStillThere && !AskFile(oldLog.data())) {
    std::rename(path, oldLog.data());
  }
  ConfigureLog(kLogInformation, OpenLogStream(path), nullptr, false, LogLetters::kNone);
  if (isStillThere) {
    WriteLogLine(kLogAlways, "Pruning log file (old log is now %s)", oldLog.data());
  }
  SetLogEcho(0);
}

}  // namespace

std::int32_t WriteLogLine(std::int32_t level, const char* format, ...) {
  if (level > state.look.maximumLevel) {
    return 0;
  }
  const HookLock lock;
  if (!lock.IsHeld()) {
    return -1;
  }
  std::va_list arguments;
  va_start(arguments, format);
  const std::int32_t result = WriteLine(level, format, arguments);
  va_end(arguments);
  return result;
}

void ConfigureLog(std::int32_t maximumLevel, std::FILE* stream, const char* locationName,
                  bool milliseconds, LogLetters letters) {
  UseLogFile({maximumLevel, milliseconds, letters}, stream, locationName, 0, nullptr);
}

void UseLogFile(const LogLook& look, std::FILE* stream, const char* locationName,
                std::int32_t locationNumber, LogFileRenewal renewal) {
  state.look = look;
  state.file = stream;
  state.renewal = renewal;
  const bool named = locationName != nullptr && *locationName != '\0';
  if (named && locationNumber > 0) {
    FormatBounded(state.location, " [%.56s][%d] ", locationName, locationNumber);
  } else if (named) {
    FormatBounded(state.location, " [%.64s] ", locationName);
  } else if (locationNumber != 0) {
    FormatBounded(state.location, " [%d] ", locationNumber);
  } else {
    CopyBounded(state.location, ": ");
  }
}

void CloseLog() {
  if (state.file != nullptr && state.file != stderr) {
    std::fclose(state.file);
  }
  state.file = nullptr;
  state.renewal = nullptr;
}

void SetLogEcho(std::uint32_t echo) { state.echo = echo; }

void SetLogObserver(LogObserver observer) { state.observer = observer; }

void SetLogLineCallback(LogLineCallback callback) { state.callback = callback; }

void SetLogHooks(LogHooks hooks) { state.hooks = hooks; }

const char* LastLogLine() { return state.lastLine.data(); }

void PruneLogFile(const char* path, std::int32_t maximumSize) {
  const HookLock lock;
  if (!lock.IsHeld()) {
    return;
  }
  try {
    const auto file = state.file != nullptr ? AskFile(state.file) : AskFile(path);
    if (file && file->size > maximumSize) {
      RotateLogFile(path, *file);
    }
  } catch (...) {
    WriteLogLine(kLogError, "Failed to prune the log file");
  }
}

}  // namespace tagsmith
