#include "bench/rows.h"

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <random>
#include <vector>

#include "tools/json_writer.h"

namespace tagsmith::bench {
namespace {

using Clock = std::chrono::steady_clock;

/// The quickest of the runs that fit into a round, in nanoseconds.
double QuickestRun(const std::function<void()>& run) {
  constexpr std::chrono::microseconds kRound{500};
  run();
  double best = std::numeric_limits<double>::max();
  const Clock::time_point end = Clock::now() + kRound;
  for (Clock::time_point start = Clock::now();;) {
    run();
    const Clock::time_point stop = Clock::now();
    best = std::min(best, std::chrono::duration<double, std::nano>(stop - start).count());
    if (stop >= end) {
      return best;
    }
    start = Clock::now();
  }
}

void PrintCount(const std::optional<std::uint64_t>& count, const char* unit) {
  if (count) {
    std::printf("  %" PRIu64 " %s", *count, unit);
  }
}

}  // namespace

void Race(std::span<Candidate> candidates, int rounds) {
  std::vector<Candidate*> order;
  for (Candidate& candidate : candidates) {
    order.push_back(&candidate);
  }
  std::minstd_rand random(1);
  for (int round = 0; round < rounds; ++round) {
    std::shuffle(order.begin(), order.end(), random);
    for (Candidate* candidate : order) {
      candidate->best = std::min(candidate->best, QuickestRun(candidate->run));
    }
  }
}

RowPrinter::RowPrinter(const char* jsonPath)
    : json_(jsonPath != nullptr ? std::fopen(jsonPath, "a") : nullptr) {}

void RowPrinter::Heading(const std::string& text) { std::printf("\n%s\n", text.c_str()); }

void RowPrinter::Print(const Row& row) {
  std::optional<double> ratio = row.floor;
  if (ratio) {
    *ratio = row.value / *ratio;
  }
  std::printf("  %-46s %11.2f %-3s", row.name.c_str(), row.value, row.unit.c_str());
  if (ratio) {
    std::printf(" %7.2f x %.2f", *ratio, *row.floor);
  }
  PrintCount(row.calls, "calls");
  PrintCount(row.allocations, "allocations");
  PrintCount(row.bytes, "bytes");
  std::printf("\n");
  std::fflush(stdout);
  if (json_ != nullptr) {
    JsonWriter json;
    json.Object([&] {
      json.Member("name", row.name);
      json.Member("value", row.value);
      json.Member("unit", row.unit);
      json.Member("floor", row.floor);
      json.Member("ratio", ratio);
      json.Member("calls", row.calls);
      json.Member("allocations", row.allocations);
      json.Member("bytes", row.bytes);
    });
    std::fprintf(json_.get(), "%s\n", json.Result().c_str());
  }
}

}  // namespace tagsmith::bench
