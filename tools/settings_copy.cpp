#include "tools/settings_copy.h"

#include <windows.h>

#include <string>

#include "platform/windows_handles.h"
#include "shellext/base/handler_ids.h"
#include "shellext/base/module.h"

namespace tagsmith {
namespace {

/// Where this process has its copy; it is volatile, so that nothing of it outlives the session in
/// any case.
std::wstring CopyKey() {
  return L"Software\\Corvane\\Tagsmith\\tsprobe " + std::to_wstring(GetCurrentProcessId());
}

KeyHandle CreateVolatileKey(HKEY parent, const wchar_t* name) {
  KeyHandle key;
  RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                  key.Receive(), nullptr);
  return key;
}

/// Has the process find a copy in place of the hive.
void Override(HKEY hive, HKEY parent, const wchar_t* name,
              std::span<const wchar_t* const> switchedOn) {
  const DWORD isOn = 1;
  const KeyHandle root = CreateVolatileKey(parent, name);
  const KeyHandle settings = CreateVolatileKey(root.Get(), kSettingsKey);
  KeyHandle real;
  if (RegOpenKeyExW(hive, kSettingsKey, 0, KEY_READ, real.Receive()) == ERROR_SUCCESS) {
    RegCopyTreeW(real.Get(), nullptr, settings.Get());
  }
  for (const wchar_t* setting : switchedOn) {
    RegSetValueExW(settings.Get(), setting, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&isOn),
                   sizeof(isOn));
  }
  RegOverridePredefKey(hive, root.Get());
}

}  // namespace

SettingsCopy::SettingsCopy(std::span<const wchar_t* const> switchedOn) {
  const KeyHandle copy = CreateVolatileKey(HKEY_CURRENT_USER, CopyKey().c_str());
  Override(HKEY_LOCAL_MACHINE, copy.Get(), L"Machine", switchedOn);
  Override(HKEY_CURRENT_USER, copy.Get(), L"User", switchedOn);
}

SettingsCopy::~SettingsCopy() {
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegDeleteTreeW(HKEY_CURRENT_USER, CopyKey().c_str());
}

}  // namespace tagsmith
