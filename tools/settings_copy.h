// The settings as they would be with some of them switched on.
#pragma once

#include <span>

namespace tagsmith {

/// While it lives, this process finds a copy of Tagsmith's settings where the machine's and the
/// user's are, in which those of these names are on. The settings themselves stay as they are.
/// Nothing else of these two hives is found meanwhile: make a handler, and no more.
class SettingsCopy {
 public:
  explicit SettingsCopy(std::span<const wchar_t* const> switchedOn);
  ~SettingsCopy();
  SettingsCopy(const SettingsCopy&) = delete;
  SettingsCopy& operator=(const SettingsCopy&) = delete;
};

}  // namespace tagsmith
