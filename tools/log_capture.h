// The log lines that are written while a tool works on a file.
#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <tuple>
#include <utility>

namespace tagsmith {

struct CapturedLine {
  std::int32_t level = 0;
  std::string message;  // without time stamp and closing line feed

  bool operator<(const CapturedLine& other) const {
    return std::tie(level, message) < std::tie(other.level, other.message);
  }
};

/// Lines in their order. What a damaged file makes the reader say again and again is held once.
class CapturedLines {
 public:
  CapturedLines() = default;
  CapturedLines(CapturedLines&&) = default;
  CapturedLines& operator=(CapturedLines&&) = default;

  void Add(CapturedLine line) { lines_.push_back(&*distinct_.insert(std::move(line)).first); }
  [[nodiscard]] const std::deque<const CapturedLine*>& Lines() const { return lines_; }

 private:
  std::set<CapturedLine> distinct_;
  std::deque<const CapturedLine*> lines_;
};

/// Turns the process's log to a file that keeps nothing, and collects its lines up to this level.
void StartLogCapture(std::int32_t level);

/// The lines collected since the last call.
CapturedLines TakeCapturedLines();

}  // namespace tagsmith
