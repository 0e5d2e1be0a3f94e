// The property handler: one file's tag and audio details as shell properties.
#pragma once

#include <windows.h>

#include <propsys.h>

#include "platform/windows_handles.h"
#include "shellext/base/shell_ext.h"

namespace tagsmith {

/// The COM side: interfaces, their fixed answers, the held stream.
class CShellPropertyStore : public IPropertyStore,
                            public IPropertyStoreCapabilities,
                            public IInitializeWithStream,
                            public CShellExt {
 public:
  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP GetCount(DWORD* count) override;
  STDMETHODIMP GetAt(DWORD index, PROPERTYKEY* key) override;
  STDMETHODIMP GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;
  STDMETHODIMP SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override;
  /// Nothing is ever written: E_UNEXPECTED.
  STDMETHODIMP Commit() override;

  /// Every key is read-only: S_FALSE.
  STDMETHODIMP IsPropertyWritable(REFPROPERTYKEY key) override;

  /// Keeps the stream; ERROR_ALREADY_INITIALIZED when one is kept already.
  STDMETHODIMP Initialize(IStream* stream, DWORD accessMode) override;

 protected:
  ComPointer<IStream> stream_;  // kept: initialised
  DWORD accessMode_ = 0;
};

/// The work side: fills a property cache at initialisation and answers from it.
class CMP3PropertyStore : public CShellPropertyStore {
 public:
  STDMETHODIMP GetCount(DWORD* count) override;
  STDMETHODIMP GetAt(DWORD index, PROPERTYKEY* key) override;
  STDMETHODIMP GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;
  STDMETHODIMP SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override;

  /// Once per object: a second time is E_UNEXPECTED. A failed initialisation may be tried again.
  /// Without a property system it succeeds, and nothing can be read afterwards: intended.
  STDMETHODIMP Initialize(IStream* stream, DWORD accessMode) override;

 private:
  HRESULT FillCache(IStream& stream);

  ComPointer<IPropertyStoreCache> cache_;
};

}  // namespace tagsmith
