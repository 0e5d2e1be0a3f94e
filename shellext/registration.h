// Registration of the handlers with the shell, and its removal: what the four exports do.
//
// Which handlers are registered is decided by the settings that an installer writes beforehand.
// What another program had registered is kept beside our values, under "tsmithbak", and put back.
#pragma once

#include <windows.h>

namespace tagsmith {

/// DllRegisterServer. S_OK, or the first failure that ends it, from a system error code.
HRESULT RegisterHandlers();

/// DllUnregisterServer. S_OK whatever happens: missing keys and values are normal.
HRESULT UnregisterHandlers();

/// InstallHandlers: registers, and shows a message box when that fails.
HRESULT InstallHandlers();

}  // namespace tagsmith
