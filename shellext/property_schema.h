// The description of our own properties, which the property system is told of.
#pragma once

#include <windows.h>

namespace tagsmith {

/// Registers the property description file beside the module, or unregisters it. What the property
/// system answers; S_FALSE, and COM stays initialised, without a property system; a
/// failure of COM as it is. An exception is logged.
HRESULT RegisterPropertySchema(bool registers);

}  // namespace tagsmith
