// Containing hardware faults: the frame that a structured exception stops at, and the translator
// that is told of it.
#pragma once

#include <windows.h>

#include <exception>

namespace tagsmith {

/// Told of a structured exception that a guard contains: its code and data.
using StructuredTranslator = void (*)(unsigned int code, EXCEPTION_POINTERS* exception);

/// Sets the calling thread's translator (null: none) and returns the one before. The run-time
/// library's own hook has no effect on frames that GCC makes; the guard calls the translator.
StructuredTranslator SetStructuredTranslator(StructuredTranslator translator);

/// Calls `body(context)`. False when a structured exception ended it: the translator has then been
/// called once, if there is one, and the destructors of the frames between fault and guard have NOT
/// run, so nothing in them may hold a lock. C++ exceptions pass through as always.
bool RunContained(void (*body)(void*), void* context);

/// The same for anything that can be called without arguments.
template <typename Body>
bool RunContained(Body& body) {
  return RunContained([](void* context) { (*static_cast<Body*>(context))(); }, &body);
}

/// Whether this is how another compiler's program throws, or how a program writes to a debugger: no
/// fault of this module, nor of its host.
bool IsForeignException(DWORD code);

/// Calls `body(context)`. False when a foreign exception ended it; any other passes through.
bool RunUnlessThrown(void (*body)(void*), void* context);

/// Calls the host. What it throws goes on as an exception of ours, which runs the destructors that
/// it would have skipped; its faults go on to the guard.
template <typename Body>
auto CallHost(Body body) {
  struct Call {
    Body& body;
    decltype(body()) result{};
  } call{body};
  const auto run = [](void* context) {
    auto& running = *static_cast<Call*>(context);
    running.result = running.body();
  };
  if (!RunUnlessThrown(run, &call)) {
    throw std::bad_exception();
  }
  return call.result;
}

/// Calls into foreign code. A structured exception there goes on as a C++ exception, which runs the
/// destructors that it would have skipped.
template <typename Body>
void CallForeign(Body body) {
  if (!RunContained(body)) {
    throw std::bad_exception();
  }
}

}  // namespace tagsmith
