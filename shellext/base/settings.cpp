#include "shellext/base/settings.h"

#include "shellext/base/module.h"
#include "shellext/base/registry.h"

namespace tagsmith {

bool IsOnForMachine(const wchar_t* setting) {
  return ReadDwordSetting(HKEY_LOCAL_MACHINE, kSettingsKey, setting, 0) == 1;
}

bool IsOnForUser(const wchar_t* setting) {
  return IsOnForMachine(setting) &&
         ReadDwordSetting(HKEY_CURRENT_USER, kSettingsKey, setting, 1) == 1;
}

}  // namespace tagsmith
