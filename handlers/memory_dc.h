// Memory device contexts: a few are kept, to be used again.
#pragma once

#include <windows.h>

namespace tagsmith {

/// A memory device context, taken from the cache or made, and given back when it goes. Null when
/// the system has none.
class MemoryDc {
 public:
  MemoryDc();
  MemoryDc(const MemoryDc&) = delete;
  MemoryDc& operator=(const MemoryDc&) = delete;
  ~MemoryDc();

  [[nodiscard]] HDC Get() const { return context_; }

  /// Deletes what the cache holds.
  static void EmptyCache();

 private:
  HDC context_;
};

}  // namespace tagsmith
