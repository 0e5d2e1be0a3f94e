// The property system, which Windows has since Vista: found at run time.
#pragma once

#include "platform/system_library.h"

namespace tagsmith {

/// Null where there is none.
inline HMODULE LoadPropertySystem() { return LoadSystemLibrary(L"propsys.dll"); }

}  // namespace tagsmith
