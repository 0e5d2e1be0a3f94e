// A stand-in for the property system where the system's own has only parts of it: it takes the
// memory store from the system's library, builds vectors, and coerces the keys that it knows as
// Windows does.
#include <windows.h>

#include <propsys.h>
#include <propvarutil.h>
#include <winternl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <cwctype>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "handlers/property_keys.h"

namespace tagsmith {
namespace {

/// Gives a loaded module another name in the loader's list. The loader finds modules by name, and
/// which of two with the same name it gives depends on what it was asked before.
void RenameInLoader(HMODULE module, std::wstring_view name) {
  using PebGetter = PEB*(WINAPI*)();
  const auto getPeb = reinterpret_cast<PebGetter>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetCurrentPeb")));
  LIST_ENTRY* head = &getPeb()->Ldr->InMemoryOrderModuleList;
  for (LIST_ENTRY* link = head->Flink; link != head; link = link->Flink) {
    auto* entry = CONTAINING_RECORD(link, LDR_DATA_TABLE_ENTRY, InMemoryOrderLinks);
    if (entry->DllBase == module) {
      UNICODE_STRING& baseName = *(&entry->FullDllName + 1);
      const std::size_t units = std::min<std::size_t>(name.size(), baseName.Length / 2);
      std::copy_n(name.begin(), units, baseName.Buffer);
    }
  }
}

/// The library of this name in the system's folder.
HMODULE SystemLibrary() {
  static const HMODULE library = [] {
    std::array<wchar_t, MAX_PATH> folder{};
    GetSystemDirectoryW(folder.data(), MAX_PATH);
    HMODULE module = LoadLibraryW((std::wstring(folder.data()) + L"\\propsys.dll").c_str());
    RenameInLoader(module, L"systems");
    return module;
  }();
  return library;
}

template <typename Function>
Function SystemFunction(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(SystemLibrary(), name)));
}

wchar_t* CopyText(const wchar_t* text) {
  const std::size_t size = (std::wstring_view(text).size() + 1) * sizeof(wchar_t);
  auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc(size));
  if (copy != nullptr) {
    std::memcpy(copy, text, size);
  }
  return copy;
}

/// A vector of plain values.
template <typename Element, typename Stored>
HRESULT InitFromVector(const Element* elements, ULONG count, VARTYPE type, Stored*& stored,
                       ULONG& storedCount, PROPVARIANT* value) {
  PropVariantInit(value);
  stored = static_cast<Stored*>(CoTaskMemAlloc(sizeof(Stored) * (count + 1)));
  if (stored == nullptr) {
    return E_OUTOFMEMORY;
  }
  for (ULONG i = 0; i < count; ++i) {
    stored[i] = static_cast<Stored>(elements[i]);
  }
  storedCount = count;
  value->vt = static_cast<VARTYPE>(VT_VECTOR | type);
  return S_OK;
}

// ---- Coercion ---------------------------------------------------------------------------------

enum class Canonical { kAsGiven, kString, kStrings, kUInt32, kUInt64, kBoolean };

struct CanonicalType {
  const NamedKey& key;
  Canonical type;
};

using namespace property_keys;

constexpr CanonicalType kCanonicalTypes[] = {
    {kTitle, Canonical::kString},        {kComment, Canonical::kString},
    {kCopyright, Canonical::kString},    {kSubTitle, Canonical::kString},
    {kPublisher, Canonical::kString},    {kEncodedBy, Canonical::kString},
    {kAuthorUrl, Canonical::kString},    {kTargetUrl, Canonical::kString},
    {kAlbumTitle, Canonical::kString},   {kAlbumArtist, Canonical::kString},
    {kContentGroup, Canonical::kString}, {kPartOfSet, Canonical::kString},
    {kInitialKey, Canonical::kString},   {kBeatsPerMinute, Canonical::kString},
    {kArtist, Canonical::kStrings},      {kGenre, Canonical::kStrings},
    {kComposer, Canonical::kStrings},    {kConductor, Canonical::kStrings},
    {kRating, Canonical::kUInt32},       {kYear, Canonical::kUInt32},
    {kTrackNumber, Canonical::kUInt32},  {kEncodingBitrate, Canonical::kUInt32},
    {kDuration, Canonical::kUInt64},     {kIsCompilation, Canonical::kBoolean},
    {kPodcast, Canonical::kBoolean},     {kOriginalArtist, Canonical::kString},
};

Canonical TypeOf(const PROPERTYKEY& key) {
  for (const CanonicalType& entry : kCanonicalTypes) {
    if (IsSameKey(entry.key.key, key)) {
      return entry.type;
    }
  }
  return Canonical::kAsGiven;
}

/// Without blanks at its ends.
std::wstring_view Trimmed(std::wstring_view text) {
  const auto isBlank = [](wchar_t c) { return std::iswspace(static_cast<std::wint_t>(c)) != 0; };
  while (!text.empty() && isBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

/// The texts that are not blank, each once.
std::vector<std::wstring> TextsOf(const PROPVARIANT& value) {
  std::vector<std::wstring> texts;
  const auto take = [&](const wchar_t* given) {
    std::wstring text(Trimmed(given != nullptr ? given : L""));
    if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end()) {
      texts.push_back(std::move(text));
    }
  };
  if (value.vt == VT_LPWSTR) {
    take(value.pwszVal);
  } else if (value.vt == (VT_VECTOR | VT_LPWSTR)) {
    std::for_each_n(value.calpwstr.pElems, value.calpwstr.cElems, take);
  }
  return texts;
}

bool NumberOf(const PROPVARIANT& value, ULONGLONG& number) {
  switch (value.vt) {
    case VT_VECTOR | VT_UI4:
      number = value.caul.cElems == 0 ? 0 : value.caul.pElems[0];
      return value.caul.cElems != 0;
    case VT_VECTOR | VT_UI8:
      number = value.cauh.cElems == 0 ? 0 : value.cauh.pElems[0].QuadPart;
      return value.cauh.cElems != 0;
    case VT_VECTOR | VT_BOOL:
      number = value.cabool.cElems != 0 && value.cabool.pElems[0] != VARIANT_FALSE ? 1 : 0;
      return value.cabool.cElems != 0;
    case VT_UI4:
      number = value.ulVal;
      return true;
    case VT_UI8:
      number = value.uhVal.QuadPart;
      return true;
    case VT_BOOL:
      number = value.boolVal != VARIANT_FALSE ? 1 : 0;
      return true;
    default:
      return false;
  }
}

/// Makes `value` the canonical one; false when it cannot be.
bool Coerce(Canonical type, const PROPVARIANT& given, PROPVARIANT& value) {
  if (type == Canonical::kString || type == Canonical::kStrings) {
    const bool isText = given.vt == VT_LPWSTR || given.vt == (VT_VECTOR | VT_LPWSTR);
    const std::vector<std::wstring> texts = TextsOf(given);
    if (texts.empty()) {
      return isText;
    }
    if (type == Canonical::kString) {
      value.vt = VT_LPWSTR;
      value.pwszVal = CopyText(texts.front().c_str());
      return value.pwszVal != nullptr;
    }
    value.vt = VT_VECTOR | VT_LPWSTR;
    value.calpwstr.cElems = static_cast<ULONG>(texts.size());
    value.calpwstr.pElems = static_cast<wchar_t**>(CoTaskMemAlloc(texts.size() * sizeof(wchar_t*)));
    for (std::size_t i = 0; i < texts.size(); ++i) {
      value.calpwstr.pElems[i] = CopyText(texts[i].c_str());
    }
    return true;
  }
  ULONGLONG number = 0;
  if (!NumberOf(given, number) || (type == Canonical::kUInt32 && number > 0xFFFFFFFF)) {
    return false;
  }
  switch (type) {
    case Canonical::kUInt32:
      value.vt = VT_UI4;
      value.ulVal = static_cast<ULONG>(number);
      break;
    case Canonical::kUInt64:
      value.vt = VT_UI8;
      value.uhVal.QuadPart = number;
      break;
    default:
      value.vt = VT_BOOL;
      value.boolVal = number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
  }
  return true;
}

}  // namespace
}  // namespace tagsmith

extern "C" {

HRESULT WINAPI DoubleCreateMemoryPropertyStore(REFIID riid, void** store) {
  using Function = HRESULT(WINAPI*)(REFIID, void**);
  return tagsmith::SystemFunction<Function>("PSCreateMemoryPropertyStore")(riid, store);
}

HRESULT WINAPI DoubleCoerceToCanonicalValue(REFPROPERTYKEY key, PROPVARIANT* value) {
  if (value->vt == VT_EMPTY || value->vt == VT_NULL) {
    PropVariantClear(value);
    return S_OK;
  }
  const tagsmith::Canonical type = tagsmith::TypeOf(key);
  if (type == tagsmith::Canonical::kAsGiven) {
    return S_OK;
  }
  PROPVARIANT canonical;
  PropVariantInit(&canonical);
  const bool coerced = tagsmith::Coerce(type, *value, canonical);
  PropVariantClear(value);
  *value = canonical;
  return coerced ? S_OK : DISP_E_TYPEMISMATCH;
}

HRESULT WINAPI DoubleInitFromStringVector(PCWSTR* texts, ULONG count, PROPVARIANT* value) {
  std::vector<wchar_t*> copies;
  for (ULONG i = 0; i < count; ++i) {
    copies.push_back(tagsmith::CopyText(texts[i]));
  }
  return tagsmith::InitFromVector(copies.data(), count, VT_LPWSTR, value->calpwstr.pElems,
                                  value->calpwstr.cElems, value);
}

HRESULT WINAPI DoubleInitFromUInt32Vector(const ULONG* numbers, ULONG count, PROPVARIANT* value) {
  return tagsmith::InitFromVector(numbers, count, VT_UI4, value->caul.pElems, value->caul.cElems,
                                  value);
}

HRESULT WINAPI DoubleInitFromUInt64Vector(const ULONGLONG* numbers, ULONG count,
                                          PROPVARIANT* value) {
  std::vector<ULARGE_INTEGER> stored(count);
  for (ULONG i = 0; i < count; ++i) {
    stored[i].QuadPart = numbers[i];
  }
  return tagsmith::InitFromVector(stored.data(), count, VT_UI8, value->cauh.pElems,
                                  value->cauh.cElems, value);
}

HRESULT WINAPI DoubleInitFromBooleanVector(const BOOL* flags, ULONG count, PROPVARIANT* value) {
  std::vector<VARIANT_BOOL> stored;
  for (ULONG i = 0; i < count; ++i) {
    stored.push_back(flags[i] != FALSE ? VARIANT_TRUE : VARIANT_FALSE);
  }
  return tagsmith::InitFromVector(stored.data(), count, VT_BOOL, value->cabool.pElems,
                                  value->cabool.cElems, value);
}

// Notes what is registered, for tests to see.
constexpr const wchar_t* kNoteKey = L"Software\\TagsmithPropertySystem";
HRESULT WINAPI DoubleRegisterPropertySchema(PCWSTR path) {
  return HRESULT_FROM_WIN32(static_cast<DWORD>(
      RegSetKeyValueW(HKEY_CURRENT_USER, kNoteKey, path, REG_SZ, L"registered", 22)));
}
HRESULT WINAPI DoubleUnregisterPropertySchema(PCWSTR path) {
  return HRESULT_FROM_WIN32(
      static_cast<DWORD>(RegDeleteKeyValueW(HKEY_CURRENT_USER, kNoteKey, path)));
}

HRESULT WINAPI DoubleChangeType(PROPVARIANT* target, REFPROPVARIANT source, int flags,
                                VARTYPE type) {
  using Function = HRESULT(WINAPI*)(PROPVARIANT*, REFPROPVARIANT, int, VARTYPE);
  return tagsmith::SystemFunction<Function>("PropVariantChangeType")(target, source, flags, type);
}

INT WINAPI DoubleCompareEx(REFPROPVARIANT left, REFPROPVARIANT right, int unit, int flags) {
  using Function = INT(WINAPI*)(REFPROPVARIANT, REFPROPVARIANT, int, int);
  return tagsmith::SystemFunction<Function>("PropVariantCompareEx")(left, right, unit, flags);
}

}  // extern "C"
