// What a benchmark measures with, and the rows that it prints.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace tagsmith::bench {

/// Something to be measured, over and over.
struct Candidate {
  std::string name;
  std::function<void()> run;
  double best = std::numeric_limits<double>::max();  // nanoseconds
};

/// Runs all candidates in each round, in an order of its own, and keeps the quickest run of each.
/// Every candidate first runs once unmeasured, so that it finds the processor's caches as it leaves
/// them itself; short ones run often in a round.
void Race(std::span<Candidate> candidates, int rounds);

struct Row {
  std::string name;
  double value = 0;
  std::string unit = "us";
  std::optional<double> floor{};  // in the same unit; the ratio is of value and floor
  std::optional<std::uint64_t> calls{};
  std::optional<std::uint64_t> allocations{};
  std::optional<std::uint64_t> bytes{};  // of heap at the peak, or as the name says
};

/// Prints rows as they come, for people, and adds them to a file as JSON Lines.
class RowPrinter {
 public:
  /// Adds to the file at `jsonPath`; null: to none.
  explicit RowPrinter(const char* jsonPath);
  static void Heading(const std::string& text);
  void Print(const Row& row);

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, CloseFile> json_;
};

}  // namespace tagsmith::bench
