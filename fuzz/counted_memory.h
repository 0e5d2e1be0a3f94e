// Counts what operator new hands out, and lets it fail: for programs that refer to it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tagsmith::fuzz {

/// What the program has of operator new; of a program with one thread that matters.
struct Memory {
  std::size_t live = 0;                // bytes that have not come back
  std::size_t peak = 0;                // the most of them, since it was last set
  std::uint64_t allocations = 0;       // asked for
  std::uint64_t failing = UINT64_MAX;  // number of the allocation that fails
};
extern Memory memory;

}  // namespace tagsmith::fuzz
