// The two kinds of class objects.
#pragma once

#include <memory>

#include "shellext/base/shell_ext.h"

namespace tagsmith {

/// Hands out one handler object. The first is given at construction, without a reference of the
/// factory's own; once it is handed out, each further request makes a fresh one. A handler that was
/// never handed out goes with the factory.
class ClassFactoryBase : public IClassFactory {
 public:
  /// `handler` may be null: CreateInstance then answers E_OUTOFMEMORY.
  ClassFactoryBase(HINSTANCE instance, CShellExt* handler, HandlerMaker makeHandler)
      : instance_(instance), handler_(handler), makeHandler_(makeHandler) {}

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** object) override;

 protected:
  virtual ~ClassFactoryBase() = default;

  HINSTANCE instance_;
  std::unique_ptr<CShellExt> handler_;  // that is to be handed out next
  std::atomic<ULONG> references_ = 0;

 private:
  HandlerMaker makeHandler_;
  bool handedOut_ = false;
  LiveObject live_;
};

/// For the thumbnail and column handlers; LockServer does nothing.
class CShellClassFactory : public ClassFactoryBase {
 public:
  using ClassFactoryBase::ClassFactoryBase;
  STDMETHODIMP LockServer(BOOL lock) override;
};

/// For the property handler. LockServer changes the factory's own reference count, not the
/// module's; reaching 0 that way deletes nothing.
class CShellClassProviderFactory : public ClassFactoryBase {
 public:
  using ClassFactoryBase::ClassFactoryBase;
  STDMETHODIMP LockServer(BOOL lock) override;
};

}  // namespace tagsmith
