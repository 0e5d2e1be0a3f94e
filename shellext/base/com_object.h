// What COM asks of every handler class, written once.
#pragma once

#include <windows.h>

#include <shlwapi.h>

#include "shellext/base/shell_ext.h"

namespace tagsmith {

/// The base of a handler class that serves `Interfaces`, whose tables stand in this order in the
/// object; CShellExt comes last.
template <typename... Interfaces>
class ComObject : public Interfaces..., public CShellExt {
 public:
  /// IUnknown is answered by the first interface.
  STDMETHODIMP QueryInterface(REFIID riid, void** object) noexcept override {
    static const QITAB kInterfaces[] = {
        {&__uuidof(Interfaces), static_cast<int>(OFFSETOFCLASS(Interfaces, ComObject))}..., {}};
    return QISearch(this, kInterfaces, riid, object);
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return AddReference(); }
  STDMETHODIMP_(ULONG) Release() noexcept override { return ReleaseReference(); }
};

}  // namespace tagsmith
