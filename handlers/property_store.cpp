#include "handlers/property_store.h"

#include "diag/fault_guard.h"
#include "handlers/com_stream_source.h"
#include "handlers/property_keys.h"
#include "handlers/property_writer.h"
#include "shellext/base/module.h"
#include "shellext/base/property_system.h"

namespace tagsmith {
namespace {

using CacheMaker = HRESULT(WINAPI*)(REFIID riid, void** cache);

/// Whether a host handed null where COM's C++ headers say reference.
template <typename Type>
bool IsNull(const Type& reference) {
  const Type* volatile address = &reference;
  return address == nullptr;
}

}  // namespace

// ---- CShellPropertyStore ----------------------------------------------------------------------

STDMETHODIMP CShellPropertyStore::GetCount(DWORD* /*count*/) { return E_UNEXPECTED; }
STDMETHODIMP CShellPropertyStore::GetAt(DWORD /*index*/, PROPERTYKEY* /*key*/) {
  return E_UNEXPECTED;
}
STDMETHODIMP CShellPropertyStore::GetValue(REFPROPERTYKEY /*key*/, PROPVARIANT* /*value*/) {
  return E_UNEXPECTED;
}
STDMETHODIMP CShellPropertyStore::SetValue(REFPROPERTYKEY /*key*/, REFPROPVARIANT /*value*/) {
  return E_UNEXPECTED;
}
STDMETHODIMP CShellPropertyStore::Commit() { return E_UNEXPECTED; }

STDMETHODIMP CShellPropertyStore::IsPropertyWritable(REFPROPERTYKEY /*key*/) { return S_FALSE; }

STDMETHODIMP CShellPropertyStore::Initialize(IStream* stream, DWORD accessMode) {
  return Guarded("Property store initialisation failed", E_UNEXPECTED, [&] {
    held_.accessMode = accessMode;
    return held_.Hold(stream);
  });
}

// ---- CMP3PropertyStore ------------------------------------------------------------------------

STDMETHODIMP CMP3PropertyStore::GetCount(DWORD* count) {
  return Guarded("Failed to get the property count", E_UNEXPECTED, [&]() -> HRESULT {
    if (!cache_) {
      return E_UNEXPECTED;
    }
    return count == nullptr ? E_POINTER : cache_->GetCount(count);
  });
}

STDMETHODIMP CMP3PropertyStore::GetAt(DWORD index, PROPERTYKEY* key) {
  return Guarded("Failed to get the property key", E_UNEXPECTED, [&]() -> HRESULT {
    if (!cache_) {
      return E_UNEXPECTED;
    }
    return key == nullptr ? E_POINTER : cache_->GetAt(index, key);
  });
}

STDMETHODIMP CMP3PropertyStore::GetValue(REFPROPERTYKEY key, PROPVARIANT* value) {
  return Guarded("Failed to get the property value", E_UNEXPECTED, [&]() -> HRESULT {
    if (!cache_) {
      return E_UNEXPECTED;
    }
    return IsNull(key) || value == nullptr ? E_POINTER : cache_->GetValue(key, value);
  });
}

STDMETHODIMP CMP3PropertyStore::SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) {
  return Guarded("Failed to set the property value", E_UNEXPECTED, [&]() -> HRESULT {
    if (!cache_) {
      return E_UNEXPECTED;
    }
    if (IsNull(key) || IsNull(value)) {
      return E_POINTER;
    }
    if ((held_.accessMode & STGM_READWRITE) == 0 ||
        IsSameKey(key, property_keys::kSearchContents.key)) {
      return STG_E_ACCESSDENIED;
    }
    return cache_->SetValueAndState(key, &value, PSC_DIRTY);
  });
}

STDMETHODIMP CMP3PropertyStore::Initialize(IStream* stream, DWORD accessMode) {
  return Guarded("Property store initialisation failed", E_UNEXPECTED, [&]() -> HRESULT {
    if (held_.stream) {
      return E_UNEXPECTED;
    }
    if (stream == nullptr) {
      return E_POINTER;
    }
    HRESULT result = FillCache(*stream);
    if (FAILED(result)) {
      return result;
    }
    result = held_.Hold(stream);
    if (SUCCEEDED(result)) {
      held_.accessMode = accessMode;
    }
    return result;
  });
}

HRESULT CMP3PropertyStore::FillCache(IStream& stream) {
  if (cache_) {
    return S_OK;
  }
  PruneModuleLog();
  const auto makeCache =
      FindFunction<CacheMaker>(LoadPropertySystem(), "PSCreateMemoryPropertyStore");
  if (makeCache == nullptr) {
    return S_FALSE;
  }
  void* made = nullptr;
  const HRESULT result = makeCache(__uuidof(IPropertyStoreCache), &made);
  if (FAILED(result)) {
    return result;
  }
  cache_.Reset(static_cast<IPropertyStoreCache*>(made));
  return Guarded("Failed to create the tag data property store cache", result, [&] {
    ID3Tag tag;
    static_cast<TagOptions&>(tag) = kFieldOptions;
    ComStreamSource source(stream);
    if (!reading_.openStream(&source, &tag)) {
      tag.Clear(true);
    }
    StoreProperties(*cache_, tag);
    return result;
  });
}

}  // namespace tagsmith
