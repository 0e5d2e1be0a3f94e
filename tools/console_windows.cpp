#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

#include <cstdio>

#include "platform/handle.h"
#include "tags/unicode.h"
#include "tools/console.h"

namespace tagsmith {
std::vector<std::string> ProgramArguments(int /*argc*/, char** /*argv*/) {
  int count = 0;
  const Handle<wchar_t**, LocalFree> wide(CommandLineToArgvW(GetCommandLineW(), &count));
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    arguments.push_back(Utf8(wide.Get()[i]));
  }
  return arguments;
}

void UseBinaryOutput() { _setmode(_fileno(stdout), _O_BINARY); }

const char* NullDevice() { return "NUL"; }

}  // namespace tagsmith
