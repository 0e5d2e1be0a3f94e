// The context-menu pair. No class object serves it: it adds no items and invokes nothing.
#pragma once

#include <windows.h>

#include <shlobj.h>

#include "shellext/base/com_object.h"

namespace tagsmith {

/// The COM side.
class CShellContextMenu : public ComObject<IContextMenu, IShellExtInit> {
 public:
  /// Adds nothing: no identifiers used.
  STDMETHODIMP QueryContextMenu(HMENU menu, UINT index, UINT firstId, UINT lastId,
                                UINT flags) override;
  STDMETHODIMP InvokeCommand(CMINVOKECOMMANDINFO* info) override;
  STDMETHODIMP GetCommandString(UINT_PTR id, UINT type, UINT* reserved, char* name,
                                UINT size) override;

  STDMETHODIMP Initialize(PCIDLIST_ABSOLUTE folder, IDataObject* object, HKEY progId) override;
};

/// The work side, which has nothing to do.
class CShellMenu : public CShellContextMenu {};

}  // namespace tagsmith
