// Stands in for libFuzzer: runs the inputs given, the seeds and mutations of them through a target:
// fuzz_targets TARGET ROUNDS [FILE...]
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "diag/log.h"
#include "fuzz/mutator.h"
#include "fuzz/seeds.h"
#include "fuzz/target.h"

int main(int argc, char** argv) {
  using namespace tagsmith;
  const fuzz::Target check = fuzz::FindTarget(argc > 1 ? argv[1] : "");
  ConfigureLog(kLogInformation, std::fopen("/dev/null", "w"), nullptr, false, LogLetters::kNone);
  std::vector<std::string> seeds = fuzz::Seeds();
  for (int i = 3; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  for (const std::string& seed : seeds) {
    check(seed);
  }
  std::minstd_rand random(20240517);
  for (long round = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 0; round > 0; --round) {
    std::string input = seeds[random() % seeds.size()];
    for (std::size_t changes = 1 + random() % 6; changes != 0; --changes) {
      fuzz::MutateStructure(input, static_cast<std::uint32_t>(random()));
      if (!input.empty() && random() % 2 == 0) {
        input[random() % input.size()] = static_cast<char>(random());
      }
    }
    check(input);
  }
}
