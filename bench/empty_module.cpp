// A module that does nothing: what the system itself takes to load one.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE /*instance*/, DWORD /*reason*/, void* /*reserved*/) {
  return TRUE;
}
