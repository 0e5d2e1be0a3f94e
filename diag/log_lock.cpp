#include "diag/log_lock.h"

#include <windows.h>

#include <atomic>

#include "diag/log.h"
#include "platform/windows_handles.h"

namespace tagsmith {
namespace {

constexpr unsigned kMostLines = 1000;  // of a request
constexpr DWORD kPatience = 1000;      // milliseconds

KernelHandle mutex;
std::atomic<unsigned> turns;  // how often the lock was had
std::atomic<bool> isStuck;    // a wait for it was in vain, and nobody has had it since

struct ThreadLines {
  const void* heldFrom;  // the frame of the line that took the lock; null: it is not held
  unsigned depth;        // lines within that line, itself included
  unsigned count;        // of the request
  unsigned dropped;
  bool isLimited;
};
// Without a destructor: one would keep the module from being unloaded.
thread_local ThreadLines threadLines{};

void Leave(ThreadLines& self) {
  self.heldFrom = nullptr;
  ReleaseMutex(mutex.Get());
}

bool Enter(ThreadLines& self, const void* frame) {
  const unsigned turn = turns;
  if (WaitForSingleObject(mutex.Get(), isStuck ? 0 : kPatience) == WAIT_TIMEOUT) {
    isStuck = turns == turn;
    return false;
  }
  isStuck = false;
  ++turns;
  self.heldFrom = frame;
  self.depth = 0;
  return true;
}

bool LockLog() {
  ThreadLines& self = threadLines;
  // The stack grows downwards: a frame that is not below the holder's does not belong to a line
  // within it. A fault then ended that line, and with it the call that would have left the lock.
  const void* frame = __builtin_frame_address(0);
  if (self.heldFrom != nullptr && frame >= self.heldFrom) {
    Leave(self);
  }
  if (self.heldFrom == nullptr) {
    if (self.isLimited && self.count == kMostLines) {
      ++self.dropped;
      return false;
    }
    if (!Enter(self, frame)) {
      return false;
    }
    self.count += self.isLimited ? 1 : 0;
  }
  ++self.depth;
  return true;
}

void UnlockLog() {
  ThreadLines& self = threadLines;
  if (--self.depth == 0) {
    Leave(self);
  }
}

}  // namespace

void InstallLogLock() {
  // By its name shared with other processes of the user: not every file system appends in one step.
  mutex.Reset(CreateMutexW(nullptr, FALSE, L"Tagsmith log"));
  if (!mutex) {  // a process of fewer rights must not touch that one
    mutex.Reset(CreateMutexW(nullptr, FALSE, nullptr));
  }
  SetLogHooks({LockLog, UnlockLog});
}

void RemoveLogLock() {
  SetLogHooks({});
  mutex.Reset();
}

LogRequest::LogRequest() : isOutermost_(!threadLines.isLimited) {
  if (isOutermost_) {
    threadLines.isLimited = true;
    threadLines.count = 0;
    threadLines.dropped = 0;
  }
}

LogRequest::~LogRequest() {
  if (isOutermost_) {
    threadLines.isLimited = false;
    if (const unsigned dropped = threadLines.dropped) {
      WriteLogLine(kLogWarning, "%u further log lines of this request were dropped", dropped);
    }
  }
}

UnlimitedLog::UnlimitedLog() : wasLimited_(std::exchange(threadLines.isLimited, false)) {}
UnlimitedLog::~UnlimitedLog() { threadLines.isLimited = wasLimited_; }

}  // namespace tagsmith
