// The settings as they would be with the standard reading switched on.
#pragma once

#include <windows.h>

namespace tagsmith {

/// While it lives, this process finds a copy of Tagsmith's settings that asks for the standard
/// reading where the machine's and the user's are. The settings themselves stay as they are.
/// Nothing else of these two hives is found meanwhile: make a handler, and no more.
class StandardSettings {
 public:
  StandardSettings();
  ~StandardSettings();
  StandardSettings(const StandardSettings&) = delete;
  StandardSettings& operator=(const StandardSettings&) = delete;
};

}  // namespace tagsmith
