// The fuzz targets: each does with one input what it is for, and ends the process where something
// is wrong. libFuzzer calls them, or rounds.cpp without it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "tests/unit/test_support.h"
#include "tools/track_report.h"

namespace tagsmith::fuzz {

using Target = void (*)(std::string_view input);

void CheckStream(std::string_view input);
void CheckStandard(std::string_view input);
void CheckFile(std::string_view input);
void CheckPicture(std::string_view input);
void CheckTexts(std::string_view input);
void CheckBothPaths(std::string_view input);
void CheckFaults(std::string_view input);

/// The target of this name, as in the name of its source; ends the process when there is none.
inline Target FindTarget(std::string_view name) {
  constexpr std::pair<std::string_view, Target> kTargets[] = {
      {"stream", CheckStream},   {"standard", CheckStandard}, {"file", CheckFile},
      {"picture", CheckPicture}, {"texts", CheckTexts},       {"both_paths", CheckBothPaths},
      {"faults", CheckFaults},
  };
  for (const auto& [known, target] : kTargets) {
    if (known == name) {
      return target;
    }
  }
  std::fprintf(stderr, "no such target: %.*s\n", static_cast<int>(name.size()), name.data());
  std::exit(2);
}

/// All that was read.
inline std::string AsJson(const ID3Tag& tag) {
  TrackReport report;
  report.tag = &tag;
  JsonWriter json;
  WriteJson(json, report);
  return json.Result();
}

/// Ends the process unless `holds`.
inline void Require(bool holds, std::string_view what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
  }
}

}  // namespace tagsmith::fuzz
