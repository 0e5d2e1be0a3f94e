#include "shellext/thread_storage.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace tagsmith {
namespace {

constexpr std::size_t kVariables = 4;

/// One thread's copies of the variables.
struct ThreadBlock {
  struct alignas(std::max_align_t) Variable {
    std::array<std::byte, 32> bytes;
  };
  std::atomic<DWORD> threadId;  // 0: free
  unsigned initialised;         // a bit for each variable
  std::array<Variable, kVariables> variables;
};

/// Searched by thread identifier: few threads of a host call its shell extensions.
struct BlockGroup {
  std::array<ThreadBlock, 256> blocks;
  std::atomic<BlockGroup*> next;
};
constinit BlockGroup firstGroup{};  // heap is needed only with more threads than it has blocks

ThreadBlock* FindBlock(DWORD threadId) {
  for (BlockGroup* group = &firstGroup; group != nullptr; group = group->next) {
    for (ThreadBlock& block : group->blocks) {
      if (block.threadId == threadId) {
        return &block;
      }
    }
  }
  return nullptr;
}

ThreadBlock& ClaimBlock(DWORD threadId) {
  for (BlockGroup* group = &firstGroup;; group = group->next) {
    for (ThreadBlock& block : group->blocks) {
      DWORD none = 0;
      if (block.threadId.compare_exchange_strong(none, threadId)) {
        block.initialised = 0;
        return block;
      }
    }
    if (group->next == nullptr) {
      auto* added = new (std::nothrow) BlockGroup();
      if (added == nullptr) {
        std::abort();  // as the compiler's own storage does: its callers cannot be told
      }
      BlockGroup* none = nullptr;
      if (!group->next.compare_exchange_strong(none, added)) {
        delete added;
      }
    }
  }
}

/// What the compiler makes for each thread-local variable.
struct VariableControl {
  std::size_t size;
  std::size_t alignment;
  std::atomic<std::size_t> number;  // ours to use: from 1, 0 until it is given
  const void* initialValue;         // null: zeros
};

std::size_t NumberOf(VariableControl& variable) {
  static std::atomic<std::size_t> lastNumber;
  std::size_t number = variable.number;
  if (number == 0) {
    const std::size_t mine = ++lastNumber;
    number = variable.number.compare_exchange_strong(number, mine) ? mine : number;
  }
  return number;
}

}  // namespace

void ReleaseThreadStorage() {
  if (ThreadBlock* block = FindBlock(GetCurrentThreadId())) {
    block->threadId = 0;
  }
}

void ReleaseAllThreadStorage() {
  BlockGroup* group = firstGroup.next.exchange(nullptr);
  while (group != nullptr) {
    delete std::exchange(group, group->next);
  }
}

/// Called by the compiler's code wherever a thread-local variable is used.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the compiler's name
extern "C" void* __emutls_get_address(void* control) {
  auto& variable = *static_cast<VariableControl*>(control);
  const std::size_t index = NumberOf(variable) - 1;
  if (index >= kVariables || variable.size > sizeof(ThreadBlock::Variable)) {
    std::abort();
  }
  const DWORD threadId = GetCurrentThreadId();
  ThreadBlock* found = FindBlock(threadId);
  ThreadBlock& block = found != nullptr ? *found : ClaimBlock(threadId);
  auto& bytes = block.variables[index].bytes;
  if ((block.initialised & 1U << index) == 0) {
    block.initialised |= 1U << index;
    if (variable.initialValue != nullptr) {
      std::memcpy(bytes.data(), variable.initialValue, variable.size);
    } else {
      bytes.fill({});
    }
  }
  return bytes.data();
}

}  // namespace tagsmith
