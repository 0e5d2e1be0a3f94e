#include "handlers/context_menu.h"

#include <shlwapi.h>

namespace tagsmith {

STDMETHODIMP CShellContextMenu::QueryInterface(REFIID riid, void** object) {
  static const QITAB kInterfaces[] = {
      QITABENT(CShellContextMenu, IContextMenu),
      QITABENT(CShellContextMenu, IShellExtInit),
      {},
  };
  return QISearch(this, kInterfaces, riid, object);
}

STDMETHODIMP_(ULONG) CShellContextMenu::AddRef() { return AddReference(); }
STDMETHODIMP_(ULONG) CShellContextMenu::Release() { return ReleaseReference(); }

STDMETHODIMP CShellContextMenu::QueryContextMenu(HMENU /*menu*/, UINT /*index*/, UINT /*firstId*/,
                                                 UINT /*lastId*/, UINT /*flags*/) {
  return MAKE_HRESULT(SEVERITY_SUCCESS, 0, 0);
}

STDMETHODIMP CShellContextMenu::InvokeCommand(CMINVOKECOMMANDINFO* /*info*/) {
  return E_INVALIDARG;
}

STDMETHODIMP CShellContextMenu::GetCommandString(UINT_PTR /*id*/, UINT /*type*/, UINT* /*reserved*/,
                                                 char* /*name*/, UINT /*size*/) {
  return E_INVALIDARG;
}

STDMETHODIMP CShellContextMenu::Initialize(PCIDLIST_ABSOLUTE /*folder*/, IDataObject* /*object*/,
                                           HKEY /*progId*/) {
  return S_OK;
}

}  // namespace tagsmith
