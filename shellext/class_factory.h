// The two kinds of class objects.
#pragma once

#include "shellext/base/shell_ext.h"

namespace tagsmith {

/// Hands out one handler object. The first is given at construction, without a reference of the
/// factory's own; once it is handed out, each further request makes a fresh one. A handler that was
/// never handed out goes with the factory.
class ClassFactoryBase : public IClassFactory {
 public:
  ClassFactoryBase(const ClassFactoryBase&) = delete;
  ClassFactoryBase& operator=(const ClassFactoryBase&) = delete;

  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** object) override;

 protected:
  /// `handler` may be null: CreateInstance then answers E_OUTOFMEMORY.
  ClassFactoryBase(HINSTANCE instance, CShellExt* handler, HandlerMaker makeHandler)
      : instance_(instance), handler_(handler), makeHandler_(makeHandler) {}
  virtual ~ClassFactoryBase();

  HINSTANCE instance_;
  CShellExt* handler_;  // that is to be handed out next
  std::atomic<ULONG> references_ = 0;

 private:
  HandlerMaker makeHandler_;
  bool handedOut_ = false;
  LiveObject live_;
};

/// For the thumbnail and column handlers; LockServer does nothing.
class CShellClassFactory : public ClassFactoryBase {
 public:
  CShellClassFactory(HINSTANCE instance, CShellExt* handler, HandlerMaker makeHandler)
      : ClassFactoryBase(instance, handler, makeHandler) {}

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP LockServer(BOOL lock) override;
};

/// For the property handler. LockServer changes the factory's own reference count, on purpose: not
/// the module's, and reaching 0 that way deletes nothing.
class CShellClassProviderFactory : public ClassFactoryBase {
 public:
  CShellClassProviderFactory(HINSTANCE instance, CShellExt* handler, HandlerMaker makeHandler)
      : ClassFactoryBase(instance, handler, makeHandler) {}

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP LockServer(BOOL lock) override;
};

}  // namespace tagsmith
