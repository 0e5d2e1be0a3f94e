#include "tools/shell_host.h"

#include <shlwapi.h>

#include <array>
#include <optional>

#include "platform/system_library.h"
#include "shellext/base/handler_ids.h"
#include "shellext/base/registered_keys.h"
#include "shellext/base/registry.h"
#include "shellext/base/version_info.h"
#include "tools/settings_copy.h"

namespace tagsmith {

std::wstring WidenUtf8(const std::string& text) {
  const int length = static_cast<int>(text.size());
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), size);
  return wide;
}

std::wstring ProgramFolder() {
  std::array<wchar_t, 1024> path{};
  GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()) - 1);
  const std::wstring_view whole(path.data());
  return std::wstring(whole.substr(0, whole.rfind(L'\\') + 1));
}

void UsePropertySystemDouble(const wchar_t* variant) {
  const bool isWine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
  if (isWine) {
    // Every later load by name gets the library of that name that is loaded already.
    LoadLibraryW((ProgramFolder() + variant + L"\\propsys.dll").c_str());
  }
}

namespace {

/// The module whose handlers are registered, or else the one beside the program.
HMODULE LoadRegisteredModule() {
  std::optional<std::wstring> path;
  for (const CLSID& clsid : {kPropertyHandlerClsid, kThumbnailHandlerClsid}) {
    if (!path) {
      ReadStringValue(HKEY_CLASSES_ROOT, (ClassKey(clsid) + L"\\InProcServer32").c_str(), nullptr,
                      path);
    }
  }
  return LoadLibraryW(path.value_or(ProgramFolder() + L"tsshell.dll").c_str());
}

}  // namespace

HandlerSource::HandlerSource(const std::wstring& modulePath)
    : isRegistered_(false), module_(LoadLibraryW(modulePath.c_str())) {}

void HandlerSource::UseStandardReading() {
  isStandard_ = true;
  if (isRegistered_) {
    isRegistered_ = false;
    module_ = LoadRegisteredModule();
  }
}

void HandlerSource::ServeColumnsAnyway() {
  if (IsNt6OrLater()) {
    columnModule_ = isRegistered_ ? LoadRegisteredModule() : module_;
  }
}

HRESULT HandlerSource::Create(REFCLSID clsid, REFIID riid, void** object) const {
  const HRESULT result = isRegistered_
                             ? CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, riid, object)
                             : CreateFrom(module_, {}, clsid, riid, object);
  const bool isServed = result != REGDB_E_CLASSNOTREG && result != CLASS_E_CLASSNOTAVAILABLE;
  return isServed || columnModule_ == nullptr || clsid != kColumnHandlerClsid
             ? result
             : CreateFrom(columnModule_, {kColumnSetting}, clsid, riid, object);
}

HRESULT HandlerSource::CreateFrom(HMODULE module, std::vector<const wchar_t*> switchedOn,
                                  REFCLSID clsid, REFIID riid, void** object) const {
  using Getter = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
  const auto getClassObject = FindFunction<Getter>(module, "DllGetClassObject");
  if (getClassObject == nullptr) {
    return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
  }
  if (isStandard_) {
    switchedOn.push_back(kStandardReadingSetting);
  }
  std::optional<SettingsCopy> settings;
  if (!switchedOn.empty()) {
    settings.emplace(switchedOn);
  }
  ComPointer<IClassFactory> factory;
  const HRESULT result = getClassObject(clsid, IID_IClassFactory, factory.ReceiveVoid());
  return FAILED(result) ? result : factory->CreateInstance(nullptr, riid, object);
}

HRESULT OpenStream(const std::wstring& path, ComPointer<IStream>& stream) {
  return SHCreateStreamOnFileEx(path.c_str(), STGM_READ | STGM_SHARE_DENY_NONE, 0, FALSE, nullptr,
                                stream.Receive());
}

}  // namespace tagsmith
