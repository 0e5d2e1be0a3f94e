// The module's entry point and exports.
#include <windows.h>

#include <cstdint>

#include "diag/fault_guard.h"
#include "shellext/base/module.h"
#include "shellext/class_objects.h"
#include "shellext/registration.h"
#include "shellext/thread_storage.h"

namespace __gnu_cxx {
// Of the language run-time library, for leak checkers: frees the memory that it keeps for
// exceptions when there is none left.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
void __freeres() noexcept;
}  // namespace __gnu_cxx

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* reserved) {
  // No failure may keep the module from being loaded.
  if (reason == DLL_PROCESS_ATTACH || reason == DLL_PROCESS_DETACH) {
    tagsmith::Guarded("The module's entry point failed", TRUE, [&] {
      reason == DLL_PROCESS_ATTACH ? tagsmith::StartModule(instance) : tagsmith::StopModule();
      return TRUE;
    });
  }
  if (reason == DLL_THREAD_DETACH) {
    tagsmith::ReleaseThreadStorage();
  } else if (reason == DLL_PROCESS_DETACH && reserved == nullptr) {  // else the process ends
    tagsmith::ReleaseAllThreadStorage();
    __gnu_cxx::__freeres();
  }
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** object) {
  return tagsmith::GetClassObject(rclsid, riid, object);
}

STDAPI DllCanUnloadNow() { return tagsmith::LiveObjectCount() != 0 ? S_FALSE : S_OK; }

STDAPI DllRegisterServer() { return tagsmith::RegisterHandlers(); }
STDAPI DllUnregisterServer() { return tagsmith::UnregisterHandlers(); }

// Custom actions of the installer; the argument is its handle.
extern "C" UINT WINAPI InstallHandlers(std::uint32_t /*installer*/) {
  return static_cast<UINT>(tagsmith::InstallHandlers());
}
extern "C" UINT WINAPI RemoveHandlers(std::uint32_t /*installer*/) {
  return static_cast<UINT>(tagsmith::UnregisterHandlers());
}
