// The guard that every COM method and export runs in: nothing escapes to the host.
#pragma once

#include "diag/log.h"
#include "diag/log_lock.h"
#include "diag/structured_guard.h"

namespace tagsmith {

/// Runs `body` and returns what it returns. When a C++ exception leaves it or a hardware fault
/// ends it, logs `message` as an error and returns `onFailure`. On the thread that carries the
/// thread handlers a fault is reported before that, and dumped when it is the first one at its
/// address; what another compiler's program throws is not. After a fault the destructors of the
/// frames between it and the guard have not run: nothing in them may hold a lock. The outermost
/// guard on a thread is one request to the log.
template <typename Result, typename Body>
Result Guarded(const char* message, Result onFailure, Body body) noexcept {
  const LogRequest request;
  try {
    Result result = onFailure;
    auto call = [&] { result = body(); };
    if (RunContained(call)) {
      return result;
    }
  } catch (...) {
    // Logged below, like a fault.
  }
  const UnlimitedLog unlimited;
  WriteLogLine(kLogError, "%s", message);
  return onFailure;
}

}  // namespace tagsmith
