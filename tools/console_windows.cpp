#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

#include <cstdio>

#include "tools/console.h"

namespace tagsmith {
namespace {

std::string ToUtf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1) {
    return {};
  }
  std::string utf8(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
  utf8.pop_back();
  return utf8;
}

}  // namespace

std::vector<std::string> ProgramArguments(int /*argc*/, char** /*argv*/) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    arguments.push_back(ToUtf8(wide[i]));
  }
  LocalFree(wide);
  return arguments;
}

void UseBinaryOutput() { _setmode(_fileno(stdout), _O_BINARY); }

const char* NullDevice() { return "NUL"; }

}  // namespace tagsmith
