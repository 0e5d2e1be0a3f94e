#include "tools/standard_settings.h"

#include "shellext/base/handler_ids.h"
#include "shellext/base/module.h"

namespace tagsmith {
namespace {

/// Where the copy stands; it is volatile, so that nothing of it outlives the session in any case.
constexpr const wchar_t* kCopyKey = L"Software\\Corvane\\Tagsmith\\tsprobe";

HKEY CreateVolatileKey(HKEY parent, const wchar_t* name) {
  HKEY key = nullptr;
  RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key,
                  nullptr);
  return key;
}

/// Has the process find a copy in place of the hive.
void Override(HKEY hive, HKEY parent, const wchar_t* name) {
  const DWORD isOn = 1;
  HKEY root = CreateVolatileKey(parent, name);
  HKEY settings = CreateVolatileKey(root, kSettingsKey);
  HKEY real = nullptr;
  if (RegOpenKeyExW(hive, kSettingsKey, 0, KEY_READ, &real) == ERROR_SUCCESS) {
    RegCopyTreeW(real, nullptr, settings);
    RegCloseKey(real);
  }
  RegSetValueExW(settings, kStandardReadingSetting, 0, REG_DWORD,
                 reinterpret_cast<const BYTE*>(&isOn), sizeof(isOn));
  RegCloseKey(settings);
  RegOverridePredefKey(hive, root);
  RegCloseKey(root);
}

}  // namespace

StandardSettings::StandardSettings() {
  HKEY copy = CreateVolatileKey(HKEY_CURRENT_USER, kCopyKey);
  Override(HKEY_LOCAL_MACHINE, copy, L"Machine");
  Override(HKEY_CURRENT_USER, copy, L"User");
  RegCloseKey(copy);
}

StandardSettings::~StandardSettings() {
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegDeleteTreeW(HKEY_CURRENT_USER, kCopyKey);
}

}  // namespace tagsmith
