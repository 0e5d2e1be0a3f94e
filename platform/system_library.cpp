#include "platform/system_library.h"

#include <string>

namespace tagsmith {

HMODULE LoadSystemLibrary(const wchar_t* name) {
  if (HMODULE library = LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {
    return library;
  }
  if (GetLastError() != ERROR_INVALID_PARAMETER) {
    return nullptr;
  }
  // A system that does not know the flag yet.
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetSystemDirectoryW(path.data(), MAX_PATH));
  return LoadLibraryW((path + L'\\' + name).c_str());
}

}  // namespace tagsmith
