// Stores single values in a property cache, in the form that the property system declares for the
// key.
#pragma once

#include <windows.h>

#include <propsys.h>

#include <cstdint>

namespace tagsmith {

/// Each builds a vector of one element, has it coerced to the key's canonical type and stores it as
/// not changed. S_FALSE when the property system or its builder is missing; S_OK, with nothing
/// stored, when it cannot coerce (intended); else the failing call's result or the cache's. An
/// exception is logged.
HRESULT WriteProperty(IPropertyStoreCache& cache, const PROPERTYKEY& key, const wchar_t* text);
HRESULT WriteProperty(IPropertyStoreCache& cache, const PROPERTYKEY& key, std::uint32_t number);
HRESULT WriteProperty(IPropertyStoreCache& cache, const PROPERTYKEY& key, std::uint64_t number);
HRESULT WriteProperty(IPropertyStoreCache& cache, const PROPERTYKEY& key, bool value);

}  // namespace tagsmith
