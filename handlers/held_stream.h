// The stream that a handler is initialised with.
#pragma once

#include <windows.h>

#include <objidl.h>

#include "platform/windows_handles.h"

namespace tagsmith {

struct HeldStream {
  ComPointer<IStream> stream;  // null until the handler is initialised
  DWORD accessMode = 0;        // as the host said

  /// Takes a reference to the stream; what QueryInterface for IStream says. E_POINTER for null,
  /// ERROR_ALREADY_INITIALIZED when a stream is held already.
  HRESULT Hold(IStream* given) {
    if (stream) {
      return HRESULT_FROM_WIN32(ERROR_ALREADY_INITIALIZED);
    }
    if (given == nullptr) {
      return E_POINTER;
    }
    void* received = nullptr;
    const HRESULT result = given->QueryInterface(IID_IStream, &received);
    if (SUCCEEDED(result)) {  // what a failed call or a fault leaves there is no reference
      stream.Reset(static_cast<IStream*>(received));
    }
    return result;
  }
};

}  // namespace tagsmith
