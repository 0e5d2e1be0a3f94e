// The description of our own properties, which the property system is told of.
#pragma once

#include <windows.h>

namespace tagsmith {

/// Registers the property description file beside the module, or unregisters it. Returns what the
/// property system answers, S_FALSE when there is none (COM then stays initialised), or the failure
/// of COM's initialisation. An exception is logged.
HRESULT RegisterPropertySchema(bool registers);

}  // namespace tagsmith
