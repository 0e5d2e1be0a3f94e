// The guard that every COM method and export runs in: nothing escapes to the host.
#pragma once

#include "diag/log.h"

namespace tagsmith {

/// Runs `body` and returns what it returns. When an exception leaves it, logs `message` as an error
/// and returns `onFailure`. The frames between fault and guard must hold no lock.
template <typename Result, typename Body>
Result Guarded(const char* message, Result onFailure, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    WriteLogLine(kLogError, "%s", message);
    return onFailure;
  }
}

}  // namespace tagsmith
