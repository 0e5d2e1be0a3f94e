// Small operations on the registry. A missing key or a value of another type never fails a caller
// that reads: it gets its default. Nothing here is logged.
//
// Keys and value names are UTF-16; a null value name stands for the default value.
#pragma once

#include <windows.h>

#include <optional>
#include <span>
#include <string>

namespace tagsmith {

/// The value when it exists and is a DWORD, else `defaultValue`.
DWORD ReadDwordSetting(HKEY hive, const wchar_t* key, const wchar_t* name, DWORD defaultValue);

/// Fills `buffer` (capacity, terminator included) with the value's text in the ANSI code page; it
/// is empty where there is no such value, or none of text.
void ReadStringSetting(HKEY hive, const wchar_t* key, const wchar_t* name, std::span<char> buffer);

bool ValueExists(HKEY hive, const wchar_t* key, const wchar_t* name);

/// Copies a value of up to 32766 bytes with its type; the target key is created. Both keys stay
/// open unless the target cannot be created; registration runs once, in a process that ends.
bool CopyValue(HKEY sourceHive, const wchar_t* sourceKey, const wchar_t* sourceName,
               HKEY targetHive, const wchar_t* targetKey, const wchar_t* targetName);

/// The system error code, 0 on success; likewise for the next two.
LSTATUS DeleteValue(HKEY hive, const wchar_t* key, const wchar_t* name);

/// Creates the key (at most 1024 characters are used) and, when `text` is not null, sets the value.
LSTATUS SetStringValue(HKEY hive, const wchar_t* key, const wchar_t* name, const wchar_t* text);

LSTATUS SetDwordValue(HKEY hive, const wchar_t* key, const wchar_t* name, DWORD number);

/// Whether the key could be opened; `text` is set when the value is a string.
bool ReadStringValue(HKEY hive, const wchar_t* key, const wchar_t* name,
                     std::optional<std::wstring>& text);

}  // namespace tagsmith
