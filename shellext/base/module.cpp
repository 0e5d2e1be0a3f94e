#include "shellext/base/module.h"

#include <shlobj.h>

#include <atomic>

#include "diag/crash_reports.h"
#include "diag/log.h"
#include "diag/log_lock.h"
#include "diag/log_stream.h"
#include "format/bounded.h"
#include "shellext/base/registry.h"
#include "shellext/base/version.h"
#include "shellext/base/version_info.h"

namespace tagsmith {
namespace {

ModuleValues values;
std::atomic<std::int32_t> liveObjects;

/// The log's folder in the user's local application data, made where it is missing. Empty when the
/// shell does not know that folder: the log is then opened in the current directory.
void FindLogFolder(std::array<char, 261>& path) {
  std::array<char, MAX_PATH> folder{};
  const HRESULT result = SHGetFolderPathA(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr,
                                          SHGFP_TYPE_CURRENT, folder.data());
  if (result != S_OK) {
    return;
  }
  CopyBounded(path, folder.data());
  AppendBounded(path, "\\Corvane\\Tagsmith\\");
  SHCreateDirectoryExA(nullptr, path.data(), nullptr);
}

/// The version of the installed module, by the path that the installer wrote; all zeros without it.
FileVersion InstalledVersion() {
  std::array<char, 261> path{};
  ReadStringSetting(HKEY_LOCAL_MACHINE, kProductKey, L"Installation path",
                    std::span(path).first(260));
  if (path.front() == '\0') {
    return {};  // a bare file name would find the module that is loaded, wherever it came from
  }
  AppendBounded(path, "tsshell.dll");  // the installer's path ends in a backslash
  return GetFileVersion(path.data()).value_or(FileVersion{});
}

void WriteHeader() {
  WriteLogLine(kLogAlways, "\n# Tagsmith Shell Extension Version " TAGSMITH_VERSION " (%s)",
               DottedText(InstalledVersion()).c_str());
}

}  // namespace

const ModuleValues& Module() { return values; }

LiveObject::LiveObject() { ++liveObjects; }
LiveObject::~LiveObject() { --liveObjects; }

std::int32_t LiveObjectCount() { return liveObjects; }

void StartModule(HINSTANCE instance) {
  values.instance = instance;
  values.maximumLogSize = static_cast<std::int32_t>(
      ReadDwordSetting(HKEY_CURRENT_USER, kSettingsKey, kLogSizeSetting, kDefaultLogSize));
  FindLogFolder(values.logPath);
  AppendBounded(values.logPath, "tsmithsx.log");
  InstallLogLock();
  ConfigureLog(kLogWarning, OpenLogStream(values.logPath.data()), nullptr, false,
               LogLetters::kNone);
  WriteHeader();
  SetLogEcho(0);
  InstallProcessHandlers(kAllHandlers);
  InstallThreadHandlers(kTranslator | kTerminateHandler | kUnexpectedHandler);
}

void StopModule() {
  RemoveThreadHandlers();
  RemoveProcessHandlers();
  CloseLog();
  RemoveLogLock();
}

void PruneModuleLog() {
  const UnlimitedLog unlimited;
  PruneLogFile(values.logPath.data(), values.maximumLogSize);
}

}  // namespace tagsmith
