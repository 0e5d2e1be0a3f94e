// Libraries of the system that are loaded by name at run time.
#pragma once

#include <windows.h>

namespace tagsmith {

/// Loads a library from the system's folder, never from another one. Null when it is not there. It
/// is loaded once more by each call and never freed.
HMODULE LoadSystemLibrary(const wchar_t* name);

/// Loads a library that older systems keep side by side: where the manifest says, which is the
/// resource `manifest` of `module`. Null where that is not known.
HMODULE LoadSideBySideLibrary(const wchar_t* name, HMODULE module, WORD manifest);

/// The exported function as `Function`, a pointer type; null when the library is null or has none.
template <typename Function>
Function FindFunction(HMODULE library, const char* name) {
  if (library == nullptr) {
    return nullptr;
  }
  // By way of void*: the two function types have nothing in common.
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace tagsmith
