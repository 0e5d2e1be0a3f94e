#include "handlers/context_menu.h"

namespace tagsmith {

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
