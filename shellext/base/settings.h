// Whether a setting of the module is on.
#pragma once

namespace tagsmith {

/// Whether the machine's setting is 1; absent it is not. What registration goes by.
bool IsOnForMachine(const wchar_t* setting);

/// Whether the machine's setting is on and the user has not switched it off: the user's own, where
/// there is one, is 1 too. What a request goes by.
bool IsOnForUser(const wchar_t* setting);

}  // namespace tagsmith
