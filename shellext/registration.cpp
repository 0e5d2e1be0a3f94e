#include "shellext/registration.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <array>
#include <cwchar>
#include <optional>
#include <string>

#include "diag/fault_guard.h"
#include "format/bounded.h"
#include "shellext/base/handler_ids.h"
#include "shellext/base/module.h"
#include "shellext/base/registered_keys.h"
#include "shellext/base/registry.h"
#include "shellext/base/settings.h"
#include "shellext/base/version_info.h"
#include "shellext/property_lists.h"
#include "shellext/property_schema.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

// ---- What is registered -----------------------------------------------------------------------

struct Handler {
  const CLSID& clsid;
  const wchar_t* name;
  const wchar_t* setting;
  bool savesSafelyByItself;
};
constexpr Handler kPropertyHandler = {kPropertyHandlerClsid, L"Tagsmith property handler",
                                      kPropertySetting, true};
constexpr Handler kThumbnailHandler = {kThumbnailHandlerClsid, L"Tagsmith thumbnail handler",
                                       kThumbnailSetting, false};
constexpr Handler kColumnHandler = {kColumnHandlerClsid, L"Tagsmith column handler", kColumnSetting,
                                    false};

constexpr const wchar_t* kApprovedKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr const wchar_t* kAssociationsKey = L"SystemFileAssociations\\";

std::wstring Join(const wchar_t* left, const wchar_t* right) { return std::wstring(left) + right; }

std::wstring ColumnKey() { return kColumnHandlersKey + GuidText(kColumnHandler.clsid); }

std::wstring ThumbnailKey(const wchar_t* extension) {
  return Join(extension, IsNt6OrLater() ? kThumbnailProviderKey : kExtractImageKey);
}

bool IsAiffExtension(const wchar_t* extension) { return _wcsnicmp(extension, L".aif", 4) == 0; }

// ---- Steps, each with what undoes it ----------------------------------------------------------

LSTATUS Approve(const Handler& handler, const Handler& loggedHandler) {
  const LSTATUS status = SetStringValue(HKEY_LOCAL_MACHINE, kApprovedKey,
                                        GuidText(handler.clsid).c_str(), handler.name);
  if (status == ERROR_ACCESS_DENIED) {
    WriteLogLine(kLogError, "Failed to create the shell approved GUID %s",
                 Utf8(GuidText(loggedHandler.clsid)).c_str());
  }
  return status;
}

void Disapprove(const Handler& handler) {
  SHDeleteValueW(HKEY_LOCAL_MACHINE, kApprovedKey, GuidText(handler.clsid).c_str());
}

/// Each value only after the one before.
LSTATUS RegisterClass(const Handler& handler, const wchar_t* modulePath) {
  const std::wstring key = ClassKey(handler.clsid);
  const std::wstring server = key + L"\\InProcServer32";
  LSTATUS status = SetStringValue(HKEY_CLASSES_ROOT, key.c_str(), nullptr, handler.name);
  if (status == ERROR_SUCCESS && handler.savesSafelyByItself) {
    status = SetDwordValue(HKEY_CLASSES_ROOT, key.c_str(), L"ManualSafeSave", 1);
  }
  if (status == ERROR_SUCCESS) {
    status = SetStringValue(HKEY_CLASSES_ROOT, server.c_str(), nullptr, modulePath);
  }
  if (status == ERROR_SUCCESS) {
    status = SetStringValue(HKEY_CLASSES_ROOT, server.c_str(), L"ThreadingModel", L"Apartment");
  }
  return status;
}

void RemoveClass(const Handler& handler) {
  SHDeleteKeyW(HKEY_CLASSES_ROOT, ClassKey(handler.clsid).c_str());
}

/// Copies a value to its backup, once: a backup that is there already holds an earlier value.
void BackUp(HKEY hive, const std::wstring& key, const wchar_t* name, const wchar_t* backup) {
  if (!ValueExists(hive, key.c_str(), backup)) {
    CopyValue(hive, key.c_str(), name, hive, key.c_str(), backup);
  }
}

void Restore(HKEY hive, const std::wstring& key, const wchar_t* name, const wchar_t* backup) {
  CopyValue(hive, key.c_str(), backup, hive, key.c_str(), name);
  DeleteValue(hive, key.c_str(), backup);
}

/// Makes the handler the default value of a key.
LSTATUS TakeOver(HKEY hive, const std::wstring& key, const Handler& handler) {
  BackUp(hive, key, nullptr, kBackup);
  return SetStringValue(hive, key.c_str(), nullptr, GuidText(handler.clsid).c_str());
}

/// Gives a key that is ours back to the earlier handler, or deletes it when there was none.
void GiveBack(HKEY hive, const std::wstring& key, const Handler& handler) {
  std::optional<std::wstring> current;
  ReadStringValue(hive, key.c_str(), nullptr, current);
  if (!current || _wcsicmp(current->c_str(), GuidText(handler.clsid).c_str()) != 0) {
    return;
  }
  if (ValueExists(hive, key.c_str(), kBackup)) {
    Restore(hive, key, nullptr, kBackup);
  } else {
    SHDeleteKeyW(hive, key.c_str());
  }
}

LSTATUS AddPropertyLists(const wchar_t* extension) {
  const std::wstring key = Join(kAssociationsKey, extension);
  const LSTATUS status = SetStringValue(HKEY_CLASSES_ROOT, key.c_str(), nullptr, nullptr);
  if (status == ERROR_SUCCESS) {
    for (const PropertyList& list : kPropertyLists) {
      BackUp(HKEY_CLASSES_ROOT, key, list.name, list.backup);
      SetStringValue(HKEY_CLASSES_ROOT, key.c_str(), list.name, list.text);
    }
  }
  return status;
}

void RemovePropertyLists(const wchar_t* extension) {
  const std::wstring key = Join(kAssociationsKey, extension);
  bool hasBackup = false;
  for (const PropertyList& list : kPropertyLists) {
    hasBackup = hasBackup || ValueExists(HKEY_CLASSES_ROOT, key.c_str(), list.backup);
  }
  if (!hasBackup) {
    SHDeleteKeyW(HKEY_CLASSES_ROOT, key.c_str());
    return;
  }
  for (const PropertyList& list : kPropertyLists) {
    Restore(HKEY_CLASSES_ROOT, key, list.name, list.backup);
  }
}

/// The key goes before it is read, so that an earlier handler does not come back.
void RemoveThumbnailKey(const wchar_t* extension) {
  const std::wstring key = ThumbnailKey(extension);
  SHDeleteKeyW(HKEY_CLASSES_ROOT, key.c_str());
  GiveBack(HKEY_CLASSES_ROOT, key, kThumbnailHandler);
}

void NotifyShell() { SHChangeNotify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, nullptr, nullptr); }

// ---- Registration -----------------------------------------------------------------------------

/// The parts of a registration in turn. Each leaves the code of its last operation, and tells
/// whether the registration goes on: only after a code of 0.
class Registration {
 public:
  explicit Registration(const wchar_t* modulePath) : modulePath_(modulePath) {}

  HRESULT Run() {
    const bool isComplete = AddHandlersOfThisSystem() &&
                            IsApproved(kThumbnailHandler, kThumbnailHandler) &&
                            HasRun(kThumbnailHandler.setting, [&] { AddThumbnails(); });
    if (!isComplete) {
      return HRESULT_FROM_WIN32(static_cast<DWORD>(status_));
    }
    if (status_ == ERROR_SUCCESS) {
      NotifyShell();
    }
    return S_OK;
  }

 private:
  bool AddHandlersOfThisSystem() {
    if (IsNt6OrLater()) {
      return IsApproved(kPropertyHandler, kPropertyHandler) &&
             HasRun(kPropertyHandler.setting, [&] { AddProperties(); }) &&
             HasRun(kAiffSetting, [&] { AddAiffAssociation(); });
    }
    if (IsNt5OrLater()) {
      // The line in the log names the property handler.
      return IsApproved(kColumnHandler, kPropertyHandler) &&
             HasRun(kColumnHandler.setting, [&] { AddColumns(); });
    }
    status_ = ERROR_INVALID_FUNCTION;
    return false;
  }

  bool IsApproved(const Handler& handler, const Handler& loggedHandler) {
    status_ = Approve(handler, loggedHandler);
    return status_ == ERROR_SUCCESS;
  }

  /// A part that ends in an exception has its setting switched off, for the class objects and for
  /// later registrations, and registration goes on.
  template <typename Part>
  bool HasRun(const wchar_t* setting, Part part) {
    const std::string failure = "Registering '" + Utf8(setting) + "' failed (disabling)";
    const bool isComplete = Guarded(failure.c_str(), false, [&] {
      part();
      return true;
    });
    if (!isComplete) {
      SetDwordValue(HKEY_LOCAL_MACHINE, kSettingsKey, setting, 0);
      return true;
    }
    return status_ == ERROR_SUCCESS;
  }

  /// Each extension starts afresh: the code that counts is the last one's.
  void AddProperties() {
    if (!IsOnForMachine(kPropertyHandler.setting)) {
      return;
    }
    for (const wchar_t* extension : kExtensions) {
      status_ =
          TakeOver(HKEY_LOCAL_MACHINE, Join(kPropertyHandlersKey, extension), kPropertyHandler);
      if (status_ == ERROR_SUCCESS) {
        status_ = RegisterClass(kPropertyHandler, modulePath_);
      }
    }
    RegisterPropertySchema(true);
  }

  void AddAiffAssociation() {
    status_ = ERROR_SUCCESS;  // an exception in the part before may have left a code
    if (!IsOnForMachine(kPropertyHandler.setting)) {
      return;
    }
    for (const wchar_t* extension : kExtensions) {
      if (IsAiffExtension(extension) && IsOnForMachine(kAiffSetting)) {
        status_ = AddPropertyLists(extension);
      }
    }
  }

  void AddColumns() {
    if (!IsOnForMachine(kColumnHandler.setting)) {
      return;
    }
    status_ = RegisterClass(kColumnHandler, modulePath_);
    if (status_ == ERROR_SUCCESS) {
      status_ =
          SetStringValue(HKEY_CLASSES_ROOT, ColumnKey().c_str(), nullptr, kColumnHandler.name);
    }
  }

  /// As with the properties, the last extension's code counts.
  void AddThumbnails() {
    if (!IsOnForMachine(kThumbnailHandler.setting)) {
      return;
    }
    status_ = RegisterClass(kThumbnailHandler, modulePath_);
    if (status_ != ERROR_SUCCESS) {
      return;
    }
    for (const wchar_t* extension : kExtensions) {
      status_ = TakeOver(HKEY_CLASSES_ROOT, ThumbnailKey(extension), kThumbnailHandler);
    }
  }

  const wchar_t* modulePath_;
  LSTATUS status_ = ERROR_SUCCESS;
};

// ---- Removal ----------------------------------------------------------------------------------

void RemoveProperties() {
  RemoveClass(kPropertyHandler);
  Disapprove(kPropertyHandler);
  if (!IsOnForMachine(kPropertyHandler.setting)) {
    return;
  }
  for (const wchar_t* extension : kExtensions) {
    GiveBack(HKEY_LOCAL_MACHINE, Join(kPropertyHandlersKey, extension), kPropertyHandler);
  }
  RegisterPropertySchema(false);
  for (const wchar_t* extension : kExtensions) {
    if (IsAiffExtension(extension) && IsOnForMachine(kAiffSetting)) {
      RemovePropertyLists(extension);
    }
  }
}

/// The keys of thumbnails go with the columns, whether thumbnails are chosen or not.
void RemoveColumns() {
  RemoveClass(kColumnHandler);
  Disapprove(kColumnHandler);
  if (!IsOnForMachine(kColumnHandler.setting)) {
    return;
  }
  SHDeleteKeyW(HKEY_CLASSES_ROOT, ColumnKey().c_str());
  for (const wchar_t* extension : kExtensions) {
    RemoveThumbnailKey(extension);
  }
}

void RemoveThumbnails() {
  RemoveClass(kThumbnailHandler);
  Disapprove(kThumbnailHandler);
  if (!IsOnForMachine(kThumbnailHandler.setting)) {
    return;
  }
  for (const wchar_t* extension : kExtensions) {
    RemoveThumbnailKey(extension);
  }
}

}  // namespace

HRESULT RegisterHandlers() {
  return Guarded("DllRegisterServer failed", S_OK, []() -> HRESULT {
    std::array<wchar_t, MAX_PATH> path{};
    const DWORD length =
        GetModuleFileNameW(Module().instance, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length >= path.size()) {
      return HRESULT_FROM_WIN32(length == 0 ? GetLastError() : ERROR_INSUFFICIENT_BUFFER);
    }
    return Registration(path.data()).Run();
  });
}

HRESULT UnregisterHandlers() {
  return Guarded("DllUnregisterServer failed", S_OK, [] {
    if (IsNt6OrLater()) {
      RemoveProperties();
    } else if (IsNt5OrLater()) {
      RemoveColumns();
    }
    RemoveThumbnails();
    NotifyShell();
    return S_OK;
  });
}

HRESULT InstallHandlers() {
  const HRESULT result = RegisterHandlers();
  if (result == S_OK || result == S_FALSE) {
    return result;
  }
  return Guarded("InstallHandlers failed", result, [&] {
    std::array<char, 256> text{};
    FormatBounded(text, "Failed to install the handlers (0x%08X%s)", static_cast<unsigned>(result),
                  result == HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED) ? " [ACCESS DENIED]" : "");
    MessageBoxA(FindWindowA("MsiDialogCloseClass", nullptr), text.data(), "Tagsmith",
                MB_OK | MB_ICONQUESTION);
    return result;
  });
}

}  // namespace tagsmith
