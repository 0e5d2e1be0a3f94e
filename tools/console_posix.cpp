#include "tools/console.h"

namespace tagsmith {

std::vector<std::string> ProgramArguments(int argc, char** argv) {
  return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

void UseBinaryOutput() {}

const char* NullDevice() { return "/dev/null"; }

}  // namespace tagsmith
