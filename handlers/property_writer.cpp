#include "handlers/property_writer.h"

#include "diag/fault_guard.h"
#include "handlers/overloaded.h"
#include "handlers/tag_fields.h"
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

/// Builds a vector of the elements, has it coerced to the key's canonical type and stores it as not
/// changed. S_FALSE when the property system or its builder is missing; S_OK, with nothing stored,
/// when it cannot coerce; else the failing call's result or the cache's. An exception is logged.
template <typename Element>
HRESULT Write(IPropertyStoreCache& cache, const PROPERTYKEY& key, const ValueKind& kind,
              std::span<Element> elements) {
  return Guarded(kind.failure, E_UNEXPECTED, [&]() -> HRESULT {
    const HMODULE library = LoadPropertySystem();
    const auto build = FindFunction<VectorBuilder<Element>>(library, kind.builder);
    if (build == nullptr) {
      return S_FALSE;
    }
    PROPVARIANT value;
    PropVariantInit(&value);
    const AtEnd clear([&] { PropVariantClear(&value); });
    HRESULT result = build(elements.data(), static_cast<ULONG>(elements.size()), &value);
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

template <typename Element>
HRESULT WriteOne(IPropertyStoreCache& cache, const PROPERTYKEY& key, const ValueKind& kind,
                 Element element) {
  return Write(cache, key, kind, std::span(&element, 1));
}

HRESULT WriteTexts(IPropertyStoreCache& cache, const PROPERTYKEY& key, const WideTexts& texts) {
  std::vector<PCWSTR> elements;
  for (const std::wstring& text : texts) {
    elements.push_back(text.c_str());
  }
  return Write(cache, key, kString, std::span(elements));
}

/// Nothing is stored for the absence of a value.
HRESULT WriteValue(IPropertyStoreCache& cache, const PROPERTYKEY& key, const Value& value) {
  return std::visit(
      Overloaded{
          [](std::monostate) { return S_OK; },
          [&](const WideText& text) { return WriteOne<PCWSTR>(cache, key, kString, text.Get()); },
          [&](const WideTexts& texts) { return WriteTexts(cache, key, texts); },
          [&](std::int32_t number) {
            return WriteOne<ULONG>(cache, key, kUInt32, static_cast<ULONG>(number));
          },
          [&](std::uint32_t number) { return WriteOne<ULONG>(cache, key, kUInt32, number); },
          [&](std::uint64_t number) { return WriteOne<ULONGLONG>(cache, key, kUInt64, number); },
          [&](bool flag) { return WriteOne<BOOL>(cache, key, kBoolean, flag ? TRUE : FALSE); },
      },
      value);
}

void StoreFields(IPropertyStoreCache& cache, std::span<const Field> fields, const ID3Tag& tag) {
  for (const Field& field : fields) {
    if (field.shownIn != ShownIn::kColumns) {
      WriteValue(cache, field.key.key, field.read(tag));
    }
  }
}

}  // namespace

void StoreProperties(IPropertyStoreCache& cache, const ID3Tag& tag) {
  if (tag.HasFields()) {
    StoreFields(cache, V2Fields(), tag);
  } else if (tag.v1Present) {
    StoreFields(cache, V1Fields(), tag);
  }
  StoreFields(cache, AudioFields(tag), tag);
}

}  // namespace tagsmith
