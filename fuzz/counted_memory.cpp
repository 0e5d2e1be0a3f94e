#include "fuzz/counted_memory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace tagsmith::fuzz {

constinit Memory memory;

namespace {

void* Allocate(std::size_t size) noexcept {
  if (memory.allocations++ == memory.failing) {
    return nullptr;
  }
  void* const block = std::malloc(std::max<std::size_t>(size, 1));
  memory.live += malloc_usable_size(block);
  memory.peak = std::max(memory.peak, memory.live);
  return block;
}

void* AllocateOrThrow(std::size_t size) {
  void* const block = Allocate(size);
  return block != nullptr ? block : throw std::bad_alloc();
}

void Free(void* block) noexcept {
  memory.live -= malloc_usable_size(block);
  std::free(block);
}

}  // namespace
}  // namespace tagsmith::fuzz

using namespace tagsmith::fuzz;

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { Free(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { Free(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { Free(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { Free(block); }
