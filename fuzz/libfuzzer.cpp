// Has libFuzzer call the target that TAGSMITH_FUZZ_TARGET names. Joins the changes that know what
// tracks are made of to its own, and the seeds to its inputs: with --write-seeds FOLDER nothing
// else is done.
#include <algorithm>
#include <fstream>
#include <string>

#include "diag/log.h"
#include "fuzz/mutator.h"
#include "fuzz/seeds.h"
#include "fuzz/target.h"

namespace {

std::string_view AsInput(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

tagsmith::fuzz::Target target;

}  // namespace

extern "C" {

std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

int LLVMFuzzerInitialize(const int* argc, char*** argv) {
  using namespace tagsmith;
  const char* name = std::getenv("TAGSMITH_FUZZ_TARGET");
  target = fuzz::FindTarget(name != nullptr ? name : "");
  ConfigureLog(kLogInformation, std::fopen("/dev/null", "w"), nullptr, false, LogLetters::kNone);
  if (*argc == 3 && std::string((*argv)[1]) == "--write-seeds") {
    int number = 0;
    for (const std::string& seed : fuzz::Seeds()) {
      std::ofstream((*argv)[2] + ("/seed-" + std::to_string(number++)), std::ios::binary) << seed;
    }
    std::exit(0);
  }
  return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  target(AsInput(data, size));
  return 0;
}

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                    unsigned seed) {
  if (seed % 2 == 0) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  std::string input(AsInput(data, size));
  tagsmith::fuzz::MutateStructure(input, seed / 2);
  const std::size_t count = std::min(input.size(), maxSize);
  std::copy_n(input.begin(), count, data);
  return count;
}

}  // extern "C"
