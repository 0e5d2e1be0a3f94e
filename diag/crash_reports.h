// Reports of crashes and exceptions: handlers for a process and for a thread that log what happened
// and, where there is exception data, write a minidump.
#pragma once

#include <windows.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>

#include "diag/structured_guard.h"

namespace tagsmith {

/// What InstallProcessHandlers installs.
enum ProcessHandlerFlags : std::uint32_t {
  kUnhandledFilter = 0x0001,
  kTerminationSignal = 0x0002,
  kInvalidParameter = 0x0040,
  kAbortSignal = 0x0080,  // and the run-time library's fault report
  kInterruptSignal = 0x0200,
};

/// What InstallThreadHandlers installs.
enum ThreadHandlerFlags : std::uint32_t {
  kTerminateHandler = 0x0002,
  kUnexpectedHandler = 0x0004,
  kFloatingPointSignal = 0x0100,
  kIllegalInstructionSignal = 0x0200,
  kSegmentViolationSignal = 0x0800,
  kTranslator = 0x2000,
};

inline constexpr std::uint32_t kAllHandlers = 0x3FFF;

using SignalHandler = void (*)(int);

/// What was there before, as far as something was installed in its place.
struct ProcessHandlers {
  LPTOP_LEVEL_EXCEPTION_FILTER filter = nullptr;
  std::optional<_invalid_parameter_handler> invalidParameter;
  std::optional<SignalHandler> abortSignal;
  std::optional<SignalHandler> interruptSignal;
  std::optional<SignalHandler> terminationSignal;
  std::uint32_t processId = 0;
};
struct ThreadHandlers {
  std::optional<StructuredTranslator> translator;
  std::optional<std::terminate_handler> terminate;
  std::optional<std::terminate_handler> unexpected;
  std::optional<SignalHandler> floatingPointSignal;
  std::optional<SignalHandler> illegalInstructionSignal;
  std::optional<SignalHandler> segmentViolationSignal;
  std::uint32_t threadId = 0;
};

/// Installs the handlers that `flags` name (0: all) and saves those before in `record` (null: the
/// module's own), which the removal reads. `filter` and `translator` replace the module's own.
void InstallProcessHandlers(std::uint32_t flags, ProcessHandlers* record = nullptr,
                            LPTOP_LEVEL_EXCEPTION_FILTER filter = nullptr);
void InstallThreadHandlers(std::uint32_t flags, ThreadHandlers* record = nullptr,
                           StructuredTranslator translator = nullptr);

/// Puts back what was saved. The unhandled-exception filter stays when there was none before it.
void RemoveProcessHandlers(ProcessHandlers* record = nullptr);

/// Puts back what was saved on the thread that installed it; from another thread only a line is
/// logged. What was saved of the illegal-instruction signal is put back under the interrupt signal.
void RemoveThreadHandlers(ThreadHandlers* record = nullptr);

/// Logs an exception: kind, code, time, process and thread, faulting address and module. Without
/// exception data the calling place is reported.
void ReportException(EXCEPTION_POINTERS* exception, std::uint32_t code, const char* kind);

/// Records which of its functions a thread is in, for reports; the newest 64 entries count. The
/// module records none.
void RecordThreadFunction(std::uint32_t threadId, std::uint32_t functionCode);

/// The code of the newest entry of this thread (0: of all), and the thread of the newest entry; 0
/// without one.
std::uint32_t ThreadFunctionCode(std::uint32_t threadId);
std::uint32_t NewestFunctionThread();

}  // namespace tagsmith
