// The base of every handler object.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>

#include "shellext/base/module.h"

namespace tagsmith {

/// Counts as a live object and keeps the reference count, which begins at 0: the first reference is
/// made when the object is handed out.
class CShellExt : public IUnknown {
 public:
  virtual ~CShellExt() = default;

 protected:
  /// The new count.
  ULONG AddReference();
  /// The new count; at 0 the object has destroyed itself. Does nothing when the count is 0 already.
  ULONG ReleaseReference();

 private:
  LiveObject live_;
  std::atomic<ULONG> references_ = 0;
};

/// Makes a handler object, null when there is no memory for one.
using HandlerMaker = CShellExt* (*)();

}  // namespace tagsmith
