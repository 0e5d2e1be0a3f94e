#include "handlers/memory_dc.h"

#include <array>
#include <atomic>

namespace tagsmith {
namespace {

std::array<std::atomic<HDC>, 4> slots{};

/// What one of the slots held; the slot is empty then. A context goes with the thread that made it,
/// so some of them may be gone.
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
  // Each slot takes what comes and gives back what it held, until one was empty.
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
