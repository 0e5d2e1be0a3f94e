// Memory device contexts: a few are kept, to be used again.
#pragma once

#include <windows.h>

#include "platform/handle.h"

namespace tagsmith {

/// A memory device context, taken from the cache or made, and given back when it goes. Null when
/// the system has none.
class MemoryDc {
 public:
  MemoryDc();

  [[nodiscard]] HDC Get() const { return context_.Get(); }

  /// Deletes what the cache holds.
  static void EmptyCache();

 private:
  static void GiveBack(HDC context);

  Handle<HDC, GiveBack> context_;
};

}  // namespace tagsmith
