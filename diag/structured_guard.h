// Containing hardware faults: the frame that a structured exception stops at, and the translator
// that is told of it.
#pragma once

#include <windows.h>

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

}  // namespace tagsmith
