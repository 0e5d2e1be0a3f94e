#include "platform/system_library.h"

#include <string>

#include "platform/handle.h"

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

HMODULE LoadSideBySideLibrary(const wchar_t* name, HMODULE module, WORD manifest) {
  ACTCTXW request{};
  request.cbSize = sizeof(request);
  request.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
  request.hModule = module;
  request.lpResourceName = MAKEINTRESOURCEW(manifest);
  const Handle<HANDLE, ReleaseActCtx> context(CreateActCtxW(&request));
  ULONG_PTR cookie = 0;
  if (!context || ActivateActCtx(context.Get(), &cookie) == FALSE) {
    return nullptr;
  }
  const AtEnd deactivate([cookie] { DeactivateActCtx(0, cookie); });
  // A name that the manifest does not lead anywhere would be looked for in the host's folder.
  ACTCTX_SECTION_KEYED_DATA found{};
  found.cbSize = sizeof(found);
  const bool isKnown =
      FindActCtxSectionStringW(0, nullptr, ACTIVATION_CONTEXT_SECTION_DLL_REDIRECTION, name,
                               &found) != FALSE;
  return isKnown ? LoadLibraryW(name) : nullptr;
}

}  // namespace tagsmith
