// What keeps the log of a module in order that several threads of a host use: a lock around each
// line, and a limit to the lines of one request.
#pragma once

namespace tagsmith {

/// Installs the hooks of the log that take and leave the lock. A thread that has it may take it
/// again, and gets it anew when a fault ended the line that had it. Others wait for a second at the
/// most; while one has it for longer, their lines are dropped.
void InstallLogLock();
void RemoveLogLock();

/// One request of the host on this thread, as long as it lives: of the lines written meanwhile the
/// first 1,000 count, and one at the end says how many were dropped.
class LogRequest {
 public:
  LogRequest();
  LogRequest(const LogRequest&) = delete;
  LogRequest& operator=(const LogRequest&) = delete;
  ~LogRequest();

 private:
  bool isOutermost_;
};

/// Lines of this thread that no limit drops, as long as it lives: those that tell of a failure.
class UnlimitedLog {
 public:
  UnlimitedLog();
  UnlimitedLog(const UnlimitedLog&) = delete;
  UnlimitedLog& operator=(const UnlimitedLog&) = delete;
  ~UnlimitedLog();

 private:
  bool wasLimited_;
};

}  // namespace tagsmith
