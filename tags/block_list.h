// A list for what a file may hold any number of.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <utility>

namespace tagsmith {

/// Takes no memory while it is empty, and grows by blocks: entries do not move.
template <typename Entry>
class BlockList {
 public:
  void PushBack(Entry entry) { Blocks().push_back(std::move(entry)); }
  void PushFront(Entry entry) { Blocks().push_front(std::move(entry)); }
  /// Drops the last entry; there must be one.
  void PopBack() { blocks_->pop_back(); }

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
