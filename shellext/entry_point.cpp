// The module's entry point and exports.
#include <windows.h>

#include <cstdint>

#include "diag/fault_guard.h"
#include "shellext/base/module.h"
#include "shellext/class_objects.h"
#include "shellext/registration.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* /*reserved*/) {
  // No failure may keep the module from being loaded.
  tagsmith::Guarded("The module's entry point failed", TRUE, [&] {
    if (reason == DLL_PROCESS_ATTACH) {
      tagsmith::StartModule(instance);
    } else if (reason == DLL_PROCESS_DETACH) {
      tagsmith::StopModule();
    }
    return TRUE;
  });
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
