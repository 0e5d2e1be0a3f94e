// The property handler: one file's tag and audio details as shell properties.
#pragma once

#include <windows.h>

#include <propsys.h>

#include "handlers/chosen_reading.h"
#include "handlers/held_stream.h"
#include "shellext/base/com_object.h"

namespace tagsmith {

/// The COM side: interfaces, their fixed answers, the held stream.
class CShellPropertyStore
    : public ComObject<IPropertyStore, IPropertyStoreCapabilities, IInitializeWithStream> {
 public:
  STDMETHODIMP GetCount(DWORD* count) override;
  STDMETHODIMP GetAt(DWORD index, PROPERTYKEY* key) override;
  STDMETHODIMP GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;
  STDMETHODIMP SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override;
  /// Nothing is ever written: E_UNEXPECTED.
  STDMETHODIMP Commit() override;

  /// Every key is read-only: S_FALSE.
  STDMETHODIMP IsPropertyWritable(REFPROPERTYKEY key) override;

  /// Keeps the stream; ERROR_ALREADY_INITIALIZED when one is held already.
  STDMETHODIMP Initialize(IStream* stream, DWORD accessMode) override;

 protected:
  HeldStream held_;
};

/// The work side: fills a property cache at initialisation and answers from it.
class CMP3PropertyStore : public CShellPropertyStore {
 public:
  STDMETHODIMP GetCount(DWORD* count) override;
  STDMETHODIMP GetAt(DWORD index, PROPERTYKEY* key) override;
  STDMETHODIMP GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;
  STDMETHODIMP SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override;

  /// Once per object: a second time is E_UNEXPECTED. A failed initialisation may be tried again.
  /// Without a property system it succeeds, and nothing can be read afterwards.
  STDMETHODIMP Initialize(IStream* stream, DWORD accessMode) override;

 private:
  HRESULT FillCache(IStream& stream);

  const Reading& reading_ = ChosenReading();
  ComPointer<IPropertyStoreCache> cache_;
};

}  // namespace tagsmith
