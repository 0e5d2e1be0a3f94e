#include "handlers/property_writer.h"

#include "diag/fault_guard.h"
#include "platform/handle.h"
#include "shellext/base/property_system.h"

namespace tagsmith {
namespace {

template <typename Element>
using VectorBuilder = HRESULT(WINAPI*)(const Element* elements, ULONG count, PROPVARIANT* value);
using Coercer = HRESULT(WINAPI*)(REFPROPERTYKEY key, PROPVARIANT* value);

/// A kind of value: how it is built and what is logged when that throws.
struct ValueKind {
  const char* builder;
  const char* failure;
};
constexpr ValueKind kString{"InitPropVariantFromStringVector",
                            "Failed to load the property string"};
constexpr ValueKind kUInt32{"InitPropVariantFromUInt32Vector", "Failed to load the property int"};
constexpr ValueKind kUInt64{"InitPropVariantFromUInt64Vector",
                            "Failed to load the property int 64"};
constexpr ValueKind kBoolean{"InitPropVariantFromBooleanVector",
                             "Failed to load the property boolean"};

template <typename Element>
HRESULT Write(IPropertyStoreCache& cache, const PROPERTYKEY& key, const ValueKind& kind,
              Element element) {
  return Guarded(kind.failure, E_UNEXPECTED, [&]() -> HRESULT {
    const HMODULE library = LoadPropertySystem();
    const auto build = FindFunction<VectorBuilder<Element>>(library, kind.builder);
    if (build == nullptr) {
      return S_FALSE;
    }
    PROPVARIANT value;
    PropVariantInit(&value);
    const AtEnd clear([&] { PropVariantClear(&value); });
    HRESULT result = build(&element, 1, &value);
    if (result != S_OK) {
      return result;
    }
    const auto coerce = FindFunction<Coercer>(library, "PSCoerceToCanonicalValue");
    if (coerce == nullptr) {
      return S_OK;
    }
    result = coerce(key, &value);
    return FAILED(result) ? result : cache.SetValueAndState(key, &value, PSC_NORMAL);
  });
}

}  // namespace

HRESULT WriteProperty(IPropertyStoreCache& cache, const PROPERTYKEY& key, const wchar_t* text) {
  return Write<PCWSTR>(cache, key, kString, text);
}

HRESULT WriteProperty(IPropertyStoreCache& cache, const PROPERTYKEY& key, std::uint32_t number) {
  return Write<ULONG>(cache, key, kUInt32, number);
}

HRESULT WriteProperty(IPropertyStoreCache& cache, const PROPERTYKEY& key, std::uint64_t number) {
  return Write<ULONGLONG>(cache, key, kUInt64, number);
}

HRESULT WriteProperty(IPropertyStoreCache& cache, const PROPERTYKEY& key, bool value) {
  return Write<BOOL>(cache, key, kBoolean, value ? TRUE : FALSE);
}

}  // namespace tagsmith
