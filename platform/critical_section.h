// A lock between threads of one process.
#pragma once

#include <windows.h>

namespace tagsmith {

/// For std::lock_guard. Unlike the std::mutex of mingw-w64, which allocates when it is first
/// locked and never frees, it leaves nothing behind when the module is unloaded.
class CriticalSection {
 public:
  CriticalSection() noexcept { InitializeCriticalSection(&section_); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;
  ~CriticalSection() noexcept { DeleteCriticalSection(&section_); }

  // As the standard's locks name them.
  // NOLINTBEGIN(readability-identifier-naming)
  void lock() { EnterCriticalSection(&section_); }
  void unlock() { LeaveCriticalSection(&section_); }
  // NOLINTEND(readability-identifier-naming)

 private:
  CRITICAL_SECTION section_;
};

}  // namespace tagsmith
