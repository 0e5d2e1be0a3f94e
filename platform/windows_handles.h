// The kinds of handles of Windows that several folders use.
#pragma once

#include <windows.h>

#include <combaseapi.h>

#include "platform/handle.h"

namespace tagsmith {

/// A file or another kernel object.
using KernelHandle = Handle<HANDLE, CloseHandle>;

using KeyHandle = Handle<HKEY, RegCloseKey>;

using BitmapHandle = Handle<HBITMAP, DeleteObject>;

/// Memory that COM handed out.
template <typename Element>
using TaskMemory = Handle<Element*, CoTaskMemFree>;

template <typename Interface>
void ReleaseInterface(Interface* pointer) {
  pointer->Release();
}

/// A reference to a COM object.
template <typename Interface>
using ComPointer = Handle<Interface*, ReleaseInterface<Interface>>;

}  // namespace tagsmith
