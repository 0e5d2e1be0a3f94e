// What belongs to the module as a whole: its handle, its live objects, its log, and the steps of
// start-up and shut-down.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>

namespace tagsmith {

inline constexpr const wchar_t* kProductKey = L"Software\\Corvane\\Tagsmith";
inline constexpr const wchar_t* kSettingsKey = L"Software\\Corvane\\Tagsmith\\Settings";

/// The user's; in bytes.
inline constexpr const wchar_t* kLogSizeSetting = L"Max log size";
inline constexpr DWORD kDefaultLogSize = 102400;

/// Set once by StartModule, read everywhere.
struct ModuleValues {
  HINSTANCE instance = nullptr;
  std::int32_t maximumLogSize = 0;  // bytes
  std::array<char, 261> logPath{};  // in the ANSI code page
};
const ModuleValues& Module();

/// Counts a handler object or class factory as live while it exists.
class LiveObject {
 public:
  LiveObject();
  LiveObject(const LiveObject&) = delete;
  LiveObject& operator=(const LiveObject&) = delete;
  ~LiveObject();
};

/// How many LiveObject there are.
std::int32_t LiveObjectCount();

/// Process attach: reads the settings, opens the log, writes its header line, installs
/// the crash handlers of the process and of this thread. Absorbs every failure.
void StartModule(HINSTANCE instance);

/// Process detach: removes the crash handlers and closes the log.
void StopModule();

/// Prunes the module's log when it has grown beyond "Max log size"; each request begins with it.
void PruneModuleLog();

}  // namespace tagsmith
