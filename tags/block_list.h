// A list for what a file may hold any number of.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <utility>

namespace tagsmith {

/// Takes no memory while it is empty, and as it grows never more than its entries and one block.
template <typename Entry>
class BlockList {
 public:
  Entry& PushBack(Entry entry) { return Blocks().emplace_back(std::move(entry)); }
  Entry& PushFront(Entry entry) { return Blocks().emplace_front(std::move(entry)); }

  [[nodiscard]] std::size_t Size() const { return blocks_ ? blocks_->size() : 0; }
  [[nodiscard]] bool IsEmpty() const { return Size() == 0; }
  [[nodiscard]] const Entry& operator[](std::size_t index) const { return (*blocks_)[index]; }

  [[nodiscard]] auto begin() const { return blocks_ ? blocks_->begin() : Iterator(); }
  [[nodiscard]] auto end() const { return blocks_ ? blocks_->end() : Iterator(); }

 private:
  using Iterator = typename std::deque<Entry>::const_iterator;

  std::deque<Entry>& Blocks() { return blocks_ ? *blocks_ : blocks_.emplace(); }

  std::optional<std::deque<Entry>> blocks_;  // an empty deque holds a block already
};

}  // namespace tagsmith
