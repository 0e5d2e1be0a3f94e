#include "shellext/class_factory.h"

#include <shlwapi.h>

#include "diag/fault_guard.h"

namespace tagsmith {

STDMETHODIMP ClassFactoryBase::QueryInterface(REFIID riid, void** object) {
  static const QITAB kInterfaces[] = {QITABENT(ClassFactoryBase, IClassFactory), {}};
  return QISearch(this, kInterfaces, riid, object);
}

STDMETHODIMP_(ULONG) ClassFactoryBase::AddRef() { return ++references_; }

STDMETHODIMP_(ULONG) ClassFactoryBase::Release() {
  const ULONG count = --references_;
  if (count == 0) {
    delete this;
  }
  return count;
}

STDMETHODIMP ClassFactoryBase::CreateInstance(IUnknown* outer, REFIID riid, void** object) {
  return Guarded("Failed to create the handler object", E_UNEXPECTED, [&]() -> HRESULT {
    if (object == nullptr) {
      return E_POINTER;
    }
    *object = nullptr;
    if (outer != nullptr) {
      return CLASS_E_NOAGGREGATION;
    }
    if (handler_ == nullptr && handedOut_) {
      handler_.reset(makeHandler_());
    }
    if (handler_ == nullptr) {
      return E_OUTOFMEMORY;
    }
    const HRESULT result = handler_->QueryInterface(riid, object);
    if (FAILED(result)) {
      *object = nullptr;
      return result;
    }
    (void)handler_.release();  // the host's now
    handedOut_ = true;
    return result;
  });
}

STDMETHODIMP CShellClassFactory::LockServer(BOOL /*lock*/) { return S_OK; }

STDMETHODIMP CShellClassProviderFactory::LockServer(BOOL lock) {
  lock != FALSE ? ++references_ : --references_;
  return S_OK;
}

}  // namespace tagsmith
