#include "diag/structured_guard.h"

#include <excpt.h>

namespace tagsmith {
namespace {

// Without a destructor: one would keep the module from being unloaded.
thread_local StructuredTranslator threadTranslator = nullptr;

/// Whether this is how the compiler throws and unwinds C++ exceptions.
bool IsLanguageException(DWORD code) {
  constexpr DWORD kThrow = 0x20474343;
  constexpr DWORD kUnwind = 0x21474343;
  constexpr DWORD kForced = 0x22474343;
  return code == kThrow || code == kUnwind || code == kForced;
}

}  // namespace

bool IsForeignException(DWORD code) {
  constexpr DWORD kForeignThrow = 0xE06D7363;
  constexpr DWORD kDebuggerText = 0x40010006;
  return code == kForeignThrow || code == kDebuggerText;
}

/// Named in the guard's handler data, so neither inlined nor dropped nor renamed.
extern "C" __attribute__((used)) LONG WINAPI TagsmithContainFault(EXCEPTION_POINTERS* exception,
                                                                  void* /*frame*/) {
  const DWORD code = exception->ExceptionRecord->ExceptionCode;
  if (IsLanguageException(code)) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  if (threadTranslator != nullptr && !IsForeignException(code)) {
    threadTranslator(code, exception);
  }
  return EXCEPTION_EXECUTE_HANDLER;
}

StructuredTranslator SetStructuredTranslator(StructuredTranslator translator) {
  const StructuredTranslator before = threadTranslator;
  threadTranslator = translator;
  return before;
}

// The macros define labels of fixed names: one use in a source file, in a function of its own.
__attribute__((noinline, noclone)) bool RunContained(void (*body)(void*), void* context) {
  volatile bool isComplete = false;
  __try1(TagsmithContainFault);
  body(context);
  isComplete = true;
  __except1;
  return isComplete;
}

}  // namespace tagsmith
