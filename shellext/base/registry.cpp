#include "shellext/base/registry.h"

#include <array>
#include <vector>

#include "format/bounded.h"
#include "platform/windows_handles.h"
#include "shellext/base/module.h"

namespace tagsmith {
namespace {

struct OpenedKey {
  LSTATUS status = ERROR_SUCCESS;
  KeyHandle key;
};

OpenedKey Open(HKEY hive, const wchar_t* path, REGSAM access) {
  OpenedKey opened;
  opened.status = RegOpenKeyExW(hive, path, 0, access, opened.key.Receive());
  return opened;
}

OpenedKey Create(HKEY hive, const wchar_t* path) {
  OpenedKey created;
  created.status = RegCreateKeyExW(hive, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE,
                                   nullptr, created.key.Receive(), nullptr);
  return created;
}

/// A string value's text, cut at its first zero; nothing for another type or none.
std::optional<std::wstring> QueryString(HKEY key, const wchar_t* name) {
  DWORD type = REG_NONE;
  DWORD size = 0;
  if (RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
      type != REG_SZ) {
    return std::nullopt;
  }
  // One unit more: a stored string need not be terminated.
  std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
  if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  text.resize(text.find(L'\0') == std::wstring::npos ? text.size() : text.find(L'\0'));
  return text;
}

LSTATUS SetValue(HKEY key, const wchar_t* name, DWORD type, const void* data, std::size_t size) {
  return RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data),
                        static_cast<DWORD>(size));
}

}  // namespace

DWORD ReadDwordSetting(HKEY hive, const wchar_t* key, const wchar_t* name, DWORD defaultValue) {
  const OpenedKey opened = Open(hive, key, KEY_READ);
  DWORD type = REG_NONE;
  DWORD value = 0;
  DWORD size = sizeof(value);
  if (!opened.key ||
      RegQueryValueExW(opened.key.Get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&value),
                       &size) != ERROR_SUCCESS ||
      type != REG_DWORD || size != sizeof(value)) {
    return defaultValue;
  }
  return value;
}

void ReadStringSetting(HKEY hive, const wchar_t* key, const wchar_t* name, std::span<char> buffer) {
  CopyBounded(buffer, "");
  std::optional<std::wstring> text;
  if (ReadStringValue(hive, key, name, text) && text) {
    const int size =
        WideCharToMultiByte(CP_ACP, 0, text->c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, text->c_str(), -1, narrow.data(), size, nullptr, nullptr);
    CopyBounded(buffer, narrow.c_str());
  }
}

bool ValueExists(HKEY hive, const wchar_t* key, const wchar_t* name) {
  const OpenedKey opened = Open(hive, key, KEY_READ);
  return opened.key && RegQueryValueExW(opened.key.Get(), name, nullptr, nullptr, nullptr,
                                        nullptr) == ERROR_SUCCESS;
}

bool CopyValue(HKEY sourceHive, const wchar_t* sourceKey, const wchar_t* sourceName,
               HKEY targetHive, const wchar_t* targetKey, const wchar_t* targetName) {
  constexpr DWORD kLargestValue = 32766;
  OpenedKey source = Open(sourceHive, sourceKey, KEY_READ);
  if (!source.key) {
    return false;
  }
  OpenedKey target = Create(targetHive, targetKey);
  if (!target.key) {
    return false;
  }
  const HKEY from = source.key.Detach();
  const HKEY to = target.key.Detach();
  std::vector<BYTE> data(kLargestValue);
  DWORD type = REG_NONE;
  DWORD size = kLargestValue;
  return RegQueryValueExW(from, sourceName, nullptr, &type, data.data(), &size) == ERROR_SUCCESS &&
         SetValue(to, targetName, type, data.data(), size) == ERROR_SUCCESS;
}

LSTATUS DeleteValue(HKEY hive, const wchar_t* key, const wchar_t* name) {
  const OpenedKey opened = Open(hive, key, KEY_ALL_ACCESS);
  return !opened.key ? opened.status : RegDeleteValueW(opened.key.Get(), name);
}

LSTATUS SetStringValue(HKEY hive, const wchar_t* key, const wchar_t* name, const wchar_t* text) {
  std::array<wchar_t, 1025> path{};
  CopyBounded(path, key);
  const OpenedKey created = Create(hive, path.data());
  if (!created.key || text == nullptr) {
    return created.status;
  }
  return SetValue(created.key.Get(), name, REG_SZ, text,
                  (std::wstring_view(text).size() + 1) * sizeof(wchar_t));
}

LSTATUS SetDwordValue(HKEY hive, const wchar_t* key, const wchar_t* name, DWORD number) {
  const OpenedKey created = Create(hive, key);
  return !created.key ? created.status
                      : SetValue(created.key.Get(), name, REG_DWORD, &number, sizeof(number));
}

bool ReadStringValue(HKEY hive, const wchar_t* key, const wchar_t* name,
                     std::optional<std::wstring>& text) {
  const OpenedKey opened = Open(hive, key, KEY_READ);
  if (!opened.key) {
    return false;
  }
  text = QueryString(opened.key.Get(), name);
  return true;
}

}  // namespace tagsmith
