#include "diag/crash_reports.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <span>
#include <utility>

#include "diag/log.h"
#include "diag/log_lock.h"
#include "diag/minidump.h"
#include "format/bounded.h"
#include "platform/system_library.h"

namespace tagsmith {
namespace {

ProcessHandlers moduleProcessHandlers;
ThreadHandlers moduleThreadHandlers;

// ---- Thread function codes --------------------------------------------------------------------

struct ThreadFunction {
  std::uint32_t threadId;
  std::uint32_t code;
};
std::array<ThreadFunction, 64> threadFunctions;
std::size_t threadFunctionCount;

// ---- What the handlers do ---------------------------------------------------------------------

enum class Dump { kNo, kYes };

void ReportAndDump(EXCEPTION_POINTERS* exception, std::uint32_t code, const char* kind, Dump dump) {
  const UnlimitedLog unlimited;
  ReportException(exception, code, kind);
  if (dump == Dump::kNo) {
    return;
  }
  if (exception != nullptr) {
    WriteMinidump(nullptr, exception);
  } else {
    WriteLogLine(kLogError, "Error: No exception data to create dump");
  }
}

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* exception) {
  ReportAndDump(exception, exception->ExceptionRecord->ExceptionCode, "Unhandled exception",
                Dump::kYes);
  return EXCEPTION_EXECUTE_HANDLER;
}

/// The addresses whose faults have been dumped; when all places are taken, none is dumped any more.
std::array<std::atomic<const void*>, 64> dumpedFaults;

bool IsFirstFaultAt(const void* address) {
  for (std::atomic<const void*>& place : dumpedFaults) {
    const void* known = nullptr;
    if (place.compare_exchange_strong(known, address)) {
      return true;
    }
    if (known == address) {
      return false;
    }
  }
  return false;
}

/// A host that goes on after a fault may run into it again with each call: a dump takes seconds.
void OnHandledException(unsigned int code, EXCEPTION_POINTERS* exception) {
  ReportAndDump(
      exception, code, "Handled exception",
      IsFirstFaultAt(exception->ExceptionRecord->ExceptionAddress) ? Dump::kYes : Dump::kNo);
}

void OnInvalidParameter(const wchar_t* /*expression*/, const wchar_t* /*function*/,
                        const wchar_t* /*file*/, unsigned /*line*/, std::uintptr_t /*reserved*/) {
  WriteLogLine(kLogWarning, "IPH ignored");
}

[[noreturn]] void EndProcess() {
  ExitProcess(1);
  __builtin_unreachable();
}

void OnTerminate() {
  ReportAndDump(nullptr, 0, "Terminate", Dump::kNo);
  EndProcess();
}

void OnUnexpected() {
  ReportAndDump(nullptr, 0, "Unexpected", Dump::kNo);
  EndProcess();
}

/// The signals, their reports, and whether the run-time library has exception data for them.
struct SignalReport {
  int signal;
  const char* kind;
  bool hasException;
  Dump dump;
};
constexpr SignalReport kSignalReports[] = {
    {SIGABRT, "SIGABRT", false, Dump::kNo}, {SIGINT, "SIGINT", false, Dump::kNo},
    {SIGTERM, "SIGTERM", false, Dump::kNo}, {SIGILL, "SIGILL", false, Dump::kNo},
    {SIGFPE, "SIGFPE", true, Dump::kNo},    {SIGSEGV, "SIGSEGV", true, Dump::kYes},
};

void OnSignal(int signal) {
  for (const SignalReport& report : kSignalReports) {
    if (report.signal == signal) {
      auto* exception =
          report.hasException ? static_cast<EXCEPTION_POINTERS*>(*__pxcptinfoptrs()) : nullptr;
      ReportAndDump(exception, static_cast<std::uint32_t>(signal), report.kind, report.dump);
    }
  }
  EndProcess();
}

// ---- Installing and removing ------------------------------------------------------------------

/// A signal that is taken over with a flag, and where the handler before it is saved.
template <typename Record>
struct SignalSlot {
  std::uint32_t flag;
  int signal;
  std::optional<SignalHandler> Record::*saved;
  int restoredAs;  // the signal that what was saved is put back under
};

constexpr SignalSlot<ProcessHandlers> kProcessSignals[] = {
    {kAbortSignal, SIGABRT, &ProcessHandlers::abortSignal, SIGABRT},
    {kInterruptSignal, SIGINT, &ProcessHandlers::interruptSignal, SIGINT},
    {kTerminationSignal, SIGTERM, &ProcessHandlers::terminationSignal, SIGTERM},
};
constexpr SignalSlot<ThreadHandlers> kThreadSignals[] = {
    {kFloatingPointSignal, SIGFPE, &ThreadHandlers::floatingPointSignal, SIGFPE},
    {kIllegalInstructionSignal, SIGILL, &ThreadHandlers::illegalInstructionSignal, SIGINT},
    {kSegmentViolationSignal, SIGSEGV, &ThreadHandlers::segmentViolationSignal, SIGSEGV},
};

template <typename Record>
void InstallSignals(std::span<const SignalSlot<Record>> slots, std::uint32_t flags, Record& saved) {
  for (const SignalSlot<Record>& slot : slots) {
    if ((flags & slot.flag) != 0) {
      const SignalHandler before = std::signal(slot.signal, OnSignal);
      saved.*slot.saved = before != SIG_ERR ? std::optional(before) : std::nullopt;
    }
  }
}

/// Hands a saved handler to `set` and forgets it.
template <typename Handler, typename Setter>
void PutBack(std::optional<Handler>& saved, Setter set) {
  if (saved) {
    set(*std::exchange(saved, std::nullopt));
  }
}

template <typename Record>
void RemoveSignals(std::span<const SignalSlot<Record>> slots, Record& saved) {
  for (const SignalSlot<Record>& slot : slots) {
    PutBack(saved.*slot.saved, [&](SignalHandler before) { std::signal(slot.restoredAs, before); });
  }
}

/// Has an abort reported as a fault, where the run-time library can do that.
void SetAbortBehaviour() {
  using Setter = unsigned(__cdecl*)(unsigned flags, unsigned mask);
  constexpr unsigned kReportFault = 2;
  if (const auto set =
          FindFunction<Setter>(GetModuleHandleW(L"msvcrt.dll"), "_set_abort_behavior")) {
    set(kReportFault, kReportFault);
  }
}

// The hook still works; only its declaration in the standard is deprecated.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
std::terminate_handler SetUnexpected(std::terminate_handler handler) {
  return std::set_unexpected(handler);
}
#pragma GCC diagnostic pop

// ---- Parts of a report ------------------------------------------------------------------------

void ReportTime() {
  std::array<char, 64> date{};
  std::array<char, 64> time{};
  GetDateFormatA(LOCALE_SYSTEM_DEFAULT, 0, nullptr, "ddd MMM dd'/'yyyy", date.data(),
                 static_cast<int>(date.size()));
  GetTimeFormatA(LOCALE_SYSTEM_DEFAULT, 0, nullptr, "HH':'mm", time.data(),
                 static_cast<int>(time.size()));
  std::array<char, 129> text{};
  FormatBounded(text, "The exception happened on %s at %s.", date.data(), time.data());
  WriteLogLine(kLogError, "%s", text.data());
}

void ReportThreadFunctions(std::uint32_t threadId) {
  if (const std::uint32_t code = ThreadFunctionCode(threadId)) {
    WriteLogLine(kLogError, "EFC: %04X:%04X", threadId, code);
  }
  if (const std::uint32_t code = ThreadFunctionCode(0)) {
    WriteLogLine(kLogError, "LFC: %04X:%04X", NewestFunctionThread(), code);
  }
}

std::uint32_t Low32(std::uintptr_t address) { return static_cast<std::uint32_t>(address); }

void ReportAddress(const EXCEPTION_RECORD& record) {
  constexpr DWORD kAccessViolationParameters = 2;
  if (record.NumberParameters == kAccessViolationParameters) {
    WriteLogLine(kLogError, "Faulting address: %08X (%s)", Low32(record.ExceptionInformation[1]),
                 record.ExceptionInformation[0] != 0 ? "writing" : "reading");
  }
  std::array<char, 129> module{};
  MEMORY_BASIC_INFORMATION memory{};
  if (VirtualQuery(record.ExceptionAddress, &memory, sizeof(memory)) != 0 &&
      memory.AllocationBase != nullptr) {
    GetModuleFileNameA(static_cast<HMODULE>(memory.AllocationBase), module.data(), 128);
  }
  WriteLogLine(kLogError, "Address: %08x '%s'",
               Low32(reinterpret_cast<std::uintptr_t>(record.ExceptionAddress)), module.data());
}

}  // namespace

void InstallProcessHandlers(std::uint32_t flags, ProcessHandlers* record,
                            LPTOP_LEVEL_EXCEPTION_FILTER filter) {
  ProcessHandlers& saved = record != nullptr ? *record : moduleProcessHandlers;
  flags = flags != 0 ? flags : kAllHandlers;
  saved = {};
  saved.processId = GetCurrentProcessId();
  if ((flags & kUnhandledFilter) != 0) {
    saved.filter = SetUnhandledExceptionFilter(filter != nullptr ? filter : OnUnhandledException);
  }
  if ((flags & kInvalidParameter) != 0) {
    saved.invalidParameter = _set_invalid_parameter_handler(OnInvalidParameter);
  }
  if ((flags & kAbortSignal) != 0) {
    SetAbortBehaviour();
  }
  InstallSignals<ProcessHandlers>(kProcessSignals, flags, saved);
}

void InstallThreadHandlers(std::uint32_t flags, ThreadHandlers* record,
                           StructuredTranslator translator) {
  ThreadHandlers& saved = record != nullptr ? *record : moduleThreadHandlers;
  flags = flags != 0 ? flags : kAllHandlers;
  saved = {};
  saved.threadId = GetCurrentThreadId();
  if ((flags & kTranslator) != 0) {
    saved.translator =
        SetStructuredTranslator(translator != nullptr ? translator : OnHandledException);
  }
  if ((flags & kTerminateHandler) != 0) {
    saved.terminate = std::set_terminate(OnTerminate);
  }
  if ((flags & kUnexpectedHandler) != 0) {
    saved.unexpected = SetUnexpected(OnUnexpected);
  }
  InstallSignals<ThreadHandlers>(kThreadSignals, flags, saved);
}

void RemoveProcessHandlers(ProcessHandlers* record) {
  ProcessHandlers& saved = record != nullptr ? *record : moduleProcessHandlers;
  PutBack(saved.invalidParameter, _set_invalid_parameter_handler);
  RemoveSignals<ProcessHandlers>(kProcessSignals, saved);
  if (saved.filter != nullptr) {
    SetUnhandledExceptionFilter(std::exchange(saved.filter, nullptr));
  }
}

void RemoveThreadHandlers(ThreadHandlers* record) {
  ThreadHandlers& saved = record != nullptr ? *record : moduleThreadHandlers;
  if (saved.threadId != GetCurrentThreadId()) {
    WriteLogLine(kLogWarning, "Trying to remove exception handlers for a different thread");
    return;
  }
  PutBack(saved.translator, SetStructuredTranslator);
  PutBack(saved.terminate, std::set_terminate);
  PutBack(saved.unexpected, SetUnexpected);
  RemoveSignals<ThreadHandlers>(kThreadSignals, saved);
}

__attribute__((noinline)) void ReportException(EXCEPTION_POINTERS* exception, std::uint32_t code,
                                               const char* kind) {
  CONTEXT context{};
  EXCEPTION_RECORD record{};
  EXCEPTION_POINTERS captured{&record, &context};
  if (exception == nullptr) {
    RtlCaptureContext(&context);
    record.ExceptionCode = code;
    record.ExceptionAddress = __builtin_return_address(0);
    exception = &captured;
  }
  const DWORD threadId = GetCurrentThreadId();
  WriteLogLine(kLogError, "** %s code: %08X", kind, code);
  ReportTime();
  WriteLogLine(kLogError, "Exception process ID:%04X thread ID:%04X",
               static_cast<unsigned>(GetCurrentProcessId()), static_cast<unsigned>(threadId));
  ReportThreadFunctions(threadId);
  if (exception->ExceptionRecord != nullptr) {
    ReportAddress(*exception->ExceptionRecord);
  }
}

void RecordThreadFunction(std::uint32_t threadId, std::uint32_t functionCode) {
  if (threadFunctionCount == threadFunctions.size()) {
    std::copy(threadFunctions.begin() + 1, threadFunctions.end(), threadFunctions.begin());
    --threadFunctionCount;
  }
  threadFunctions[threadFunctionCount++] = {threadId, functionCode};
}

std::uint32_t ThreadFunctionCode(std::uint32_t threadId) {
  for (std::size_t i = threadFunctionCount; i-- != 0;) {
    if (threadId == 0 || threadFunctions[i].threadId == threadId) {
      return threadFunctions[i].code;
    }
  }
  return 0;
}

std::uint32_t NewestFunctionThread() {
  return threadFunctionCount == 0 ? 0 : threadFunctions[threadFunctionCount - 1].threadId;
}

}  // namespace tagsmith
