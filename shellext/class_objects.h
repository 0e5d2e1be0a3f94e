// Which class the module serves under which CLSID, and under which setting.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include "shellext/base/handler_ids.h"

namespace tagsmith {

/// What DllGetClassObject does: a class object when the CLSID is served and its setting is exactly
/// 1 in the machine's settings (default 0) and in the user's (default 1), else
/// CLASS_E_CLASSNOTAVAILABLE. A null `object` is E_POINTER.
HRESULT GetClassObject(REFCLSID rclsid, REFIID riid, void** object);

}  // namespace tagsmith
