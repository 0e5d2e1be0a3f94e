#include <windows.h>

#include <excpt.h>

#include "diag/structured_guard.h"

/// Named in the guard's handler data, so neither inlined nor dropped nor renamed.
extern "C" __attribute__((used)) LONG WINAPI TagsmithContainForeign(EXCEPTION_POINTERS* exception,
                                                                    void* /*frame*/) {
  return tagsmith::IsForeignException(exception->ExceptionRecord->ExceptionCode)
             ? EXCEPTION_EXECUTE_HANDLER
             : EXCEPTION_CONTINUE_SEARCH;
}

namespace tagsmith {

// The macros define labels of fixed names: one use in a source file, in a function of its own.
__attribute__((noinline, noclone)) bool RunUnlessThrown(void (*body)(void*), void* context) {
  volatile bool isComplete = false;
  __try1(TagsmithContainForeign);
  body(context);
  isComplete = true;
  __except1;
  return isComplete;
}

}  // namespace tagsmith
