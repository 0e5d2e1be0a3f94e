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

/// A kind of value: how it is built, null where that is missing, and what is logged when it throws.
template <typename Element>
struct ValueKind {
  VectorBuilder<Element> build;
  const char* failure;
};

/// The property system's part in a request, looked up once.
struct ValueKinds {
  HMODULE library = LoadPropertySystem();
  ValueKind<PCWSTR> string{
      FindFunction<VectorBuilder<PCWSTR>>(library, "InitPropVariantFromStringVector"),
      "Failed to load the property string"};
  ValueKind<ULONG> uint32{
      FindFunction<VectorBuilder<ULONG>>(library, "InitPropVariantFromUInt32Vector"),
      "Failed to load the property int"};
  ValueKind<ULONGLONG> uint64{
      FindFunction<VectorBuilder<ULONGLONG>>(library, "InitPropVariantFromUInt64Vector"),
      "Failed to load the property int 64"};
  ValueKind<BOOL> boolean{
      FindFunction<VectorBuilder<BOOL>>(library, "InitPropVariantFromBooleanVector"),
      "Failed to load the property boolean"};
  Coercer coerce = FindFunction<Coercer>(library, "PSCoerceToCanonicalValue");
};

/// Stores values in a cache, as not changed.
class PropertyWriter {
 public:
  explicit PropertyWriter(IPropertyStoreCache& cache) : cache_(cache) {}

  /// Nothing is stored for the absence of a value.
  void Write(const PROPERTYKEY& key, const Value& value) const {
    std::visit(
        Overloaded{
            [](std::monostate) {},
            [&](const WideText& text) { WriteOne<PCWSTR>(key, kinds_.string, text.Get()); },
            [&](const WideTexts& texts) { WriteTexts(key, texts); },
            [&](std::int32_t number) { WriteOne(key, kinds_.uint32, static_cast<ULONG>(number)); },
            [&](std::uint32_t number) { WriteOne<ULONG>(key, kinds_.uint32, number); },
            [&](std::uint64_t number) { WriteOne<ULONGLONG>(key, kinds_.uint64, number); },
            [&](bool flag) { WriteOne<BOOL>(key, kinds_.boolean, flag ? TRUE : FALSE); },
        },
        value);
  }

  void Write(std::span<const Field> fields, const ID3Tag& tag) const {
    for (const Field& field : fields) {
      if (field.shownIn != ShownIn::kColumns) {
        Write(field.key.key, field.read(tag));
      }
    }
  }

 private:
  /// Builds a vector of the elements, has it coerced to the key's canonical type and stores it. A
  /// value that the property system cannot build or coerce is missing then; an exception is logged.
  template <typename Element>
  void WriteAll(const PROPERTYKEY& key, const ValueKind<Element>& kind,
                std::span<const Element> elements) const {
    if (kind.build == nullptr || kinds_.coerce == nullptr) {
      return;
    }
    Guarded(kind.failure, E_UNEXPECTED, [&]() -> HRESULT {
      PROPVARIANT value;
      PropVariantInit(&value);
      const AtEnd clear([&] { PropVariantClear(&value); });
      HRESULT result = kind.build(elements.data(), static_cast<ULONG>(elements.size()), &value);
      if (result != S_OK) {
        return result;
      }
      result = kinds_.coerce(key, &value);
      return FAILED(result) ? result : cache_.SetValueAndState(key, &value, PSC_NORMAL);
    });
  }

  template <typename Element>
  void WriteOne(const PROPERTYKEY& key, const ValueKind<Element>& kind, Element element) const {
    WriteAll(key, kind, std::span<const Element>(&element, 1));
  }

  void WriteTexts(const PROPERTYKEY& key, const WideTexts& texts) const {
    std::vector<PCWSTR> elements;
    for (const std::wstring& text : texts) {
      elements.push_back(text.c_str());
    }
    WriteAll<PCWSTR>(key, kinds_.string, elements);
  }

  IPropertyStoreCache& cache_;
  ValueKinds kinds_;
};

}  // namespace

void StoreProperties(IPropertyStoreCache& cache, const ID3Tag& tag) {
  const PropertyWriter writer(cache);
  if (tag.HasFields()) {
    writer.Write(V2Fields(), tag);
  } else if (tag.v1Present) {
    writer.Write(V1Fields(), tag);
  }
  writer.Write(AudioFields(tag), tag);
}

}  // namespace tagsmith
