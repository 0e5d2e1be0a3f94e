// GetTickCount64 is exported since Windows Vista only, and the compiler's thread library imports
// it. Here is what the import would be: calls go through this pointer instead, the library's own,
// too, and the module can be loaded by every 64-bit Windows.
#include <windows.h>

#include <atomic>

#include "platform/system_library.h"

namespace {

using TickCounter = ULONGLONG(WINAPI*)();

/// Of a system without the function. Goes on counting where GetTickCount starts again at 0, when it
/// is called at least once in the 49 days that this takes.
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

/// What is called first. Threads that call at the same time find the same.
ULONGLONG WINAPI FindCounter() {
  const auto found =
      tagsmith::FindFunction<TickCounter>(GetModuleHandleW(L"kernel32.dll"), "GetTickCount64");
  importedTickCount = found != nullptr ? found : CountTicks;
  return importedTickCount();
}

}  // namespace
