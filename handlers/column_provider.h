// The column handler of older shells: tag fields and audio details as columns of the detail view.
#pragma once

#include <windows.h>

#include <shlobj.h>

#include "shellext/base/shell_ext.h"

namespace tagsmith {

/// The COM side. The system declares this interface as one that never throws.
class CShellColumnProvider : public IColumnProvider, public CShellExt {
 public:
  STDMETHODIMP QueryInterface(REFIID riid, void** object) noexcept override;
  STDMETHODIMP_(ULONG) AddRef() noexcept override;
  STDMETHODIMP_(ULONG) Release() noexcept override;

  /// Nothing to do: S_OK.
  STDMETHODIMP Initialize(LPCSHCOLUMNINIT init) noexcept override;
};

/// The work side. It keeps nothing between calls: each value opens the file again.
class CMP3ColumnProvider : public CShellColumnProvider {
 public:
  /// S_FALSE behind the last column.
  STDMETHODIMP GetColumnInfo(DWORD index, SHCOLUMNINFO* info) noexcept override;
  /// S_OK with a value, which is the caller's to clear; S_FALSE without, and `value` stays as it
  /// is. Folders, offline files and other extensions than ".mp3" and ".aif" (also ".aiff") are
  /// refused before the file is touched.
  STDMETHODIMP GetItemData(LPCSHCOLUMNID column, LPCSHCOLUMNDATA item,
                           VARIANT* value) noexcept override;
};

}  // namespace tagsmith
