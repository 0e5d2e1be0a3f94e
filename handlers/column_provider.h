// The column handler of older shells: tag fields and audio details as columns of the detail view.
#pragma once

#include <windows.h>

#include <shlobj.h>

#include "handlers/chosen_reading.h"
#include "shellext/base/com_object.h"

// The headers leave this interface without its identifier.
__CRT_UUID_DECL(IColumnProvider, 0xE8025004, 0x1C42, 0x11D2, 0xBE, 0x2C, 0x00, 0xA0, 0xC9, 0xA8,
                0x3D, 0xA1)

namespace tagsmith {

/// The COM side. The system declares this interface as one that never throws.
class CShellColumnProvider : public ComObject<IColumnProvider> {
 public:
  /// Nothing to do: S_OK.
  STDMETHODIMP Initialize(LPCSHCOLUMNINIT init) noexcept override;
};

/// The work side. It keeps nothing between calls: each value opens the file again.
class CMP3ColumnProvider : public CShellColumnProvider {
 public:
  /// S_FALSE after the last column.
  STDMETHODIMP GetColumnInfo(DWORD index, SHCOLUMNINFO* info) noexcept override;
  /// S_OK with a value, which is the caller's to clear; S_FALSE without, and `value` stays as it
  /// is. Folders, offline files and other extensions than ".mp3" and ".aif" (also ".aiff") are
  /// refused before the file is touched.
  STDMETHODIMP GetItemData(LPCSHCOLUMNID column, LPCSHCOLUMNDATA item,
                           VARIANT* value) noexcept override;

 private:
  const Reading& reading_ = ChosenReading();
};

}  // namespace tagsmith
