#include "shellext/property_schema.h"

#include <shlwapi.h>

#include <array>

#include "diag/fault_guard.h"
#include "platform/handle.h"
#include "shellext/base/module.h"
#include "shellext/base/property_system.h"

namespace tagsmith {

HRESULT RegisterPropertySchema(bool registers) {
  const char* message = registers ? "Failed to register the property schema"
                                  : "Failed to unregister the property schema";
  return Guarded(message, E_UNEXPECTED, [&]() -> HRESULT {
    const HRESULT result = CoInitialize(nullptr);
    if (FAILED(result)) {
      return result;
    }
    std::array<wchar_t, MAX_PATH> path{};
    GetModuleFileNameW(Module().instance, path.data(), static_cast<DWORD>(path.size()));
    PathRemoveFileSpecW(path.data());
    PathAppendW(path.data(), L"Tagsmith.propdesc");
    const auto change = FindFunction<HRESULT(WINAPI*)(PCWSTR)>(
        LoadPropertySystem(),
        registers ? "PSRegisterPropertySchema" : "PSUnregisterPropertySchema");
    if (change == nullptr) {
      return S_FALSE;
    }
    const AtEnd leaveCom(CoUninitialize);
    return change(path.data());
  });
}

}  // namespace tagsmith
