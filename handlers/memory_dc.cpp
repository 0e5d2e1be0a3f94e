#include "handlers/memory_dc.h"

#include <array>
#include <atomic>

namespace tagsmith {
namespace {

std::array<std::atomic<HDC>, 4> slots{};

/// Empties a slot and returns what it held; null when no slot holds a context. The system deletes a
/// context when the thread that made it ends, so some of them may be gone.
HDC TakeFromSlots() {
  for (std::atomic<HDC>& slot : slots) {
    HDC context = slot.exchange(nullptr);
    if (context != nullptr && GetObjectType(context) == OBJ_MEMDC) {
      return context;
    }
  }
  return nullptr;
}

}  // namespace

MemoryDc::MemoryDc() : context_(TakeFromSlots()) {
  if (!context_) {
    context_.Reset(CreateCompatibleDC(nullptr));
  }
}

void MemoryDc::GiveBack(HDC context) {
  // Each slot takes the context and passes on the one that it held, up to the first empty slot.
  for (std::atomic<HDC>& slot : slots) {
    if (context == nullptr) {
      return;
    }
    context = slot.exchange(context);
  }
  if (context != nullptr) {
    DeleteDC(context);
  }
}

void MemoryDc::EmptyCache() {
  while (HDC context = TakeFromSlots()) {
    DeleteDC(context);
  }
}

}  // namespace tagsmith
