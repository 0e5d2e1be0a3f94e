// The guard that every COM method and export runs in: nothing escapes to the host.
#pragma once

#include "diag/log.h"
#include "diag/structured_guard.h"

namespace tagsmith {

/// Runs `body` and returns what it returns. When a C++ exception leaves it or a hardware fault
/// ends it, logs `message` as an error and returns `onFailure`. On the thread that carries the
/// thread handlers a fault is reported and dumped before that. After a fault the destructors of the
/// frames between it and the guard have not run: nothing in them may hold a lock.
template <typename Result, typename Body>
Result Guarded(const char* message, Result onFailure, Body body) noexcept {
  struct Call {
    Body& body;
    Result result;
  };
  Call call{body, onFailure};
  try {
    const bool isComplete = RunContained(
        [](void* context) {
          auto& inner = *static_cast<Call*>(context);
          inner.result = inner.body();
        },
        &call);
    if (isComplete) {
      return call.result;
    }
  } catch (...) {
    // Logged below, like a fault.
  }
  WriteLogLine(kLogError, "%s", message);
  return onFailure;
}

}  // namespace tagsmith
