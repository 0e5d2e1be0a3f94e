// What the compiler's checks of stack frames and buffer sizes need at run time. Their own library
// asks a cryptographic provider for its random number, which loads more libraries into the host
// while this one is being loaded.
#include <windows.h>

#include <cstdint>

#include "diag/crash_reports.h"

namespace tagsmith {

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the compiler's names
extern "C" {

std::uintptr_t __stack_chk_guard = 0;

/// The stack cannot be trusted any more, so no handler may go on with it.
[[noreturn]] void __stack_chk_fail() {
  constexpr DWORD kStackOverrun = 0xC0000409;
  ReportException(nullptr, kStackOverrun, "Buffer overrun");
  TerminateProcess(GetCurrentProcess(), kStackOverrun);
  __builtin_unreachable();
}

void __chk_fail() { __stack_chk_fail(); }

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace {

/// Before the first function that is checked begins.
__attribute__((constructor, no_stack_protector)) void ChooseGuard() {
  FILETIME time{};
  LARGE_INTEGER counter{};
  GetSystemTimeAsFileTime(&time);
  QueryPerformanceCounter(&counter);
  constexpr std::uint64_t kOddNumber = 0x9E3779B97F4A7C15;
  auto mixed = std::uint64_t{reinterpret_cast<std::uintptr_t>(&time)};
  for (const std::uint64_t part :
       {std::uint64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime,
        static_cast<std::uint64_t>(counter.QuadPart),
        std::uint64_t{GetCurrentProcessId()} << 32U | GetCurrentThreadId()}) {
    mixed = (mixed ^ part) * kOddNumber;
    mixed ^= mixed >> 29U;
  }
  __stack_chk_guard = mixed & ~std::uint64_t{0xFF};  // a zero byte ends an overrunning text copy
}

}  // namespace
}  // namespace tagsmith
