// GetTickCount64 exists only since Windows Vista, and the compiler's thread library imports it.
// This file defines the import's pointer itself, so that all calls, the library's included, go
// through it and every 64-bit Windows can load the module.
#include <windows.h>

#include <atomic>

#include "platform/system_library.h"

namespace {

using TickCounter = ULONGLONG(WINAPI*)();

/// The count of a system without the function. It goes on where GetTickCount starts again at 0,
/// provided that it is called at least once in the 49 days that this takes.
ULONGLONG WINAPI CountTicks() {
  constexpr ULONGLONG kRound = 1ULL << 32U;
  static std::atomic<ULONGLONG> last{0};
  ULONGLONG before = last.load();
  ULONGLONG now = 0;
  do {
    now = (before & ~(kRound - 1)) | GetTickCount();
    now += now < before ? kRound : 0;
  } while (!last.compare_exchange_weak(before, now));
  return now;
}

ULONGLONG WINAPI FindCounter();

}  // namespace

extern "C" {
// NOLINTNEXTLINE(readability-identifier-naming): the linker's name of the import stands in asm()
extern TickCounter importedTickCount asm("__imp_GetTickCount64");
TickCounter importedTickCount = FindCounter;
}

namespace {

/// The first call comes here. Threads that call at the same time find the same function.
ULONGLONG WINAPI FindCounter() {
  const auto found =
      tagsmith::FindFunction<TickCounter>(GetModuleHandleW(L"kernel32.dll"), "GetTickCount64");
  importedTickCount = found != nullptr ? found : CountTicks;
  return importedTickCount();
}

}  // namespace
