// What each fuzz target consists of: one function that libFuzzer, or rounds.cpp without it, calls.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/unit/test_support.h"
#include "tools/track_report.h"

/// Does what the target does with one input. Ends the process where something is wrong.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tagsmith::fuzz {

inline std::string_view AsInput(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// All that was read.
inline std::string AsJson(const ID3Tag& tag) {
  TrackReport report;
  report.tag = &tag;
  return ReportAsJson(report);
}

/// Ends the process unless `holds`.
inline void Require(bool holds, std::string_view what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
  }
}

}  // namespace tagsmith::fuzz
