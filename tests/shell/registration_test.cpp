// Registration on the three kinds of systems: what it makes of the registry as a whole, and what
// becomes of it where a step fails.
#include <shlobj.h>
#include <shlwapi.h>

#include <algorithm>
#include <map>

#include "tags/unicode.h"
#include "tests/shell/shell_environment.h"
#include "tools/report_text.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

// ---- Registry trees ---------------------------------------------------------------------------

/// Keys as "M\path" (machine) and "C\path" (classes), values as "M\path|name"; with their content.
using Tree = std::map<std::string, std::string>;

void Collect(HKEY key, const std::string& path, Tree& tree) {
  std::array<wchar_t, 300> name{};
  std::vector<BYTE> data(100'000);
  DWORD length = 300;
  for (DWORD i = 0; length = 300, i < 1000; ++i) {
    auto size = static_cast<DWORD>(data.size());
    DWORD type = REG_NONE;
    if (RegEnumValueW(key, i, name.data(), &length, nullptr, &type, data.data(), &size) != 0) {
      break;
    }
    const auto* text = reinterpret_cast<const wchar_t*>(data.data());
    tree[path + "|" + Utf8(name.data())] =
        type == REG_DWORD ? "#" + std::to_string(*reinterpret_cast<const DWORD*>(data.data()))
                          : (type == REG_EXPAND_SZ ? "(expand) " : "") + Utf8({text, size / 2 - 1});
  }
  for (DWORD i = 0; length = 300,
             RegEnumKeyExW(key, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) == 0;
       ++i) {
    KeyHandle child;
    const std::string childPath = path + "\\" + Utf8(name.data());
    tree[childPath] = "";
    RegOpenKeyExW(key, name.data(), 0, KEY_READ, child.Receive());
    Collect(child.Get(), childPath, tree);
  }
}

/// Lines that begin with "+" for what is new, "-" for what is gone, "=" for what has changed. Keys
/// are shown where no line below them says as much.
std::string Changes(const Tree& before, const Tree& after) {
  std::map<std::string, char> changes;
  for (const auto& [path, value] : before) {
    const auto found = after.find(path);
    if (found == after.end()) {
      const std::string above = path.substr(0, path.find_last_of("\\|"));
      changes[path] = changes.contains(above) ? ' ' : '-';
    } else if (found->second != value) {
      changes[path] = '=';
    }
  }
  for (const auto& [path, value] : after) {
    if (!before.contains(path)) {
      changes[path] = '+';
    }
  }
  std::string lines;
  for (const auto& [path, sign] : changes) {
    const bool isAbove =
        sign == '+' && std::any_of(changes.begin(), changes.end(), [&key = path](const auto& c) {
          return c.first.starts_with(key + "\\") || c.first.starts_with(key + "|");
        });
    if (sign != ' ' && !isAbove) {
      const std::string value = after.contains(path) ? after.at(path) : "";
      lines += std::string(1, sign) + " " + path + (value.empty() ? "" : " = ") + Shortened(value) +
               "\n";
    }
  }
  return lines;
}

// ---- The system around a registration ---------------------------------------------------------

/// Replaces a function that the module imports, for as long as the module stays loaded.
template <typename Function>
void Patch(HMODULE module, std::string_view name, Function replacement) {
  auto* base = reinterpret_cast<std::byte*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const auto& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  void** entry = nullptr;
  for (const auto* library =
           reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
       library->Name != 0; ++library) {
    const auto* names = reinterpret_cast<const ULONG_PTR*>(base + library->OriginalFirstThunk);
    auto* functions = reinterpret_cast<void**>(base + library->FirstThunk);
    for (; *names != 0; ++names, ++functions) {
      if (IMAGE_SNAP_BY_ORDINAL64(*names)) {
        continue;  // imported by its number: no name to read
      }
      const auto* import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + *names);
      entry = name == reinterpret_cast<const char*>(import->Name) ? functions : entry;
    }
  }
  ASSERT_NE(entry, nullptr) << name;
  DWORD protection = 0;
  VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &protection);
  *entry = reinterpret_cast<void*>(replacement);
}

std::string events;  // what the shell and the user were told

void WINAPI Notify(LONG event, UINT flags, LPCVOID first, LPCVOID second) {
  EXPECT_TRUE(event == SHCNE_ASSOCCHANGED && flags == SHCNF_IDLIST && first == second);
  events += "the shell is told\n";
}
int WINAPI ShowMessage(HWND owner, LPCSTR text, LPCSTR caption, UINT style) {
  EXPECT_EQ(owner, reinterpret_cast<HWND>(77));
  events += "message: " + std::string(caption) + "/" + std::to_string(style) + ": " + text + "\n";
  return IDOK;
}
HWND WINAPI FindInstaller(LPCSTR className, LPCSTR title) {
  EXPECT_STREQ(className, "MsiDialogCloseClass");
  EXPECT_EQ(title, nullptr);
  return reinterpret_cast<HWND>(77);
}

/// What fails, and how: the code, or an exception.
constexpr LSTATUS kThrows = -1;
struct Fault {
  const wchar_t* key = nullptr;    // what the path of a key to be made or deleted begins with
  const wchar_t* value = nullptr;  // the name of a value to be written
  LSTATUS code = ERROR_ACCESS_DENIED;
};
std::vector<Fault> faults;

LSTATUS Failure(const wchar_t* Fault::*kind, const wchar_t* name) {
  for (const Fault& fault : faults) {
    if (fault.*kind != nullptr && name != nullptr &&
        std::wstring_view(name).starts_with(fault.*kind)) {
      return fault.code == kThrows ? throw std::runtime_error("injected") : fault.code;
    }
  }
  return ERROR_SUCCESS;
}

LSTATUS WINAPI CreateKey(HKEY key, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options,
                         REGSAM access, LPSECURITY_ATTRIBUTES security, PHKEY result,
                         LPDWORD disposition) {
  const LSTATUS failure = Failure(&Fault::key, path);
  return failure != 0 ? failure
                      : RegCreateKeyExW(key, path, reserved, type, options, access, security,
                                        result, disposition);
}
LSTATUS WINAPI SetValue(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                        DWORD size) {
  const LSTATUS failure = Failure(&Fault::value, name);
  return failure != 0 ? failure : RegSetValueExW(key, name, reserved, type, data, size);
}
DWORD WINAPI DeleteKey(HKEY key, LPCWSTR path) {
  Failure(&Fault::key, path);
  return SHDeleteKeyW(key, path);
}
HRESULT WINAPI InitializeCom(LPVOID reserved) {
  return Failure(&Fault::value, L"COM") != 0 ? E_FAIL : CoInitialize(reserved);
}

enum Setting : unsigned { kProperties = 1, kAiff = 2, kThumbnails = 4, kColumns = 8, kAll = 15 };

constexpr const wchar_t* kHandlers =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\PropertySystem\\PropertyHandlers\\";
constexpr const wchar_t* kProviderIid = L"\\ShellEx\\{e357fccd-a995-4576-b01f-234630154e96}";
constexpr const wchar_t* kExtractorIid = L"\\ShellEx\\{BB2E617C-0920-11d1-9A0B-00C04FC2D6C1}";

constexpr const wchar_t* kSchemas = L"Software\\TagsmithPropertySystem";  // the double's notes

void SetText(HKEY hive, const std::wstring& key, const wchar_t* name, const std::wstring& text,
             DWORD type = REG_SZ) {
  RegSetKeyValueW(hive, key.c_str(), name, type, text.c_str(),
                  static_cast<DWORD>(2 * text.size() + 2));
}

class Registration : public ::testing::Test {
 protected:
  Registration() : scratch(ScratchSystem::kWithClasses) {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    GetVersionExW(&info);
    system = info.dwMajorVersion;
    Patch(module.Get(), "SHChangeNotify", Notify);
    Patch(module.Get(), "MessageBoxA", ShowMessage);
    Patch(module.Get(), "FindWindowA", FindInstaller);
    Patch(module.Get(), "RegCreateKeyExW", CreateKey);
    Patch(module.Get(), "RegSetValueExW", SetValue);
    Patch(module.Get(), "SHDeleteKeyW", DeleteKey);
    Patch(module.Get(), "CoInitialize", InitializeCom);
    events.clear();
    faults.clear();
  }

  static Tree Dump() {
    Tree tree;
    Collect(HKEY_LOCAL_MACHINE, "M", tree);
    Collect(HKEY_CLASSES_ROOT, "C", tree);
    KeyHandle schemas;
    RegCreateKeyW(HKEY_CURRENT_USER, kSchemas, schemas.Receive());
    Collect(schemas.Get(), "Schema", tree);
    return tree;
  }

  static void Begin(unsigned settings) {
    SHDeleteKeyW(HKEY_LOCAL_MACHINE, L"Software");
    SHDeleteKeyW(HKEY_CURRENT_USER, kSchemas);
    for (const wchar_t* key :
         {L"CLSID", L".aif", L".aiff", L".mp3", L"SystemFileAssociations", L"Folder"}) {
      SHDeleteKeyW(HKEY_CLASSES_ROOT, key);
    }
    for (unsigned i = 0; i < 4; ++i) {
      SetSetting(HKEY_LOCAL_MACHINE, kSettings[i], settings >> i & 1U);
    }
  }

  /// Handlers and lists of another program.
  static void AddForeignValues() {
    for (const std::wstring extension : {L".aif", L".mp3"}) {
      SetText(HKEY_LOCAL_MACHINE, kHandlers + extension, nullptr, L"{foreign}");
      for (const wchar_t* iid : {kProviderIid, kExtractorIid}) {
        SetText(HKEY_CLASSES_ROOT, extension + iid, nullptr, L"{foreign}");
      }
    }
    SetText(HKEY_CLASSES_ROOT, L"SystemFileAssociations\\.aif", L"FullDetails", L"prop:foreign");
    SetText(HKEY_CLASSES_ROOT, L"SystemFileAssociations\\.aif", L"Other", L"stays");
    SetText(HKEY_LOCAL_MACHINE, std::wstring(kHandlers) + L".aif", nullptr, L"{expanded}",
            REG_EXPAND_SZ);
    // The longest text that is backed up, and one that is too long.
    SetText(HKEY_CLASSES_ROOT, L"SystemFileAssociations\\.aiff", L"InfoTip",
            std::wstring(16'382, L'x'));
    SetText(HKEY_CLASSES_ROOT, L"SystemFileAssociations\\.aiff", L"PreviewDetails",
            std::wstring(16'383, L'x'));
  }

  /// Calls an export and adds what becomes of the tree to what was seen.
  Tree Step(const char* name, const Tree& before) {
    const HRESULT result = module.Call(name, DWORD{0});
    Tree after = Dump();
    seen += std::string(name) + ": " + HexResult(result) + "\n" + std::exchange(events, "");
    for (const std::string& line : scratch.NewMessages()) {
      seen += "log: " + line + "\n";
    }
    seen += Changes(before, after);
    return after;
  }

  /// Compares what was seen with the file of this kind of system.
  void ExpectSeen(const std::string& name) {
    const std::string folder = Utf8(ProgramFolder());
    for (std::size_t at = 0; (at = seen.find(folder)) != std::string::npos;) {
      seen.replace(at, folder.size(), "<folder>\\");
    }
    ExpectFile(name + "-" + std::to_string(system) + ".txt", seen);
  }

  /// The property lists, a property a line.
  void ShowLists() {
    seen += "\n== lists\n";
    Begin(kAll);
    module.Call("DllRegisterServer");
    for (const auto& [path, value] : Dump()) {
      if (path.starts_with("C\\SystemFileAssociations\\.aif|")) {
        seen += path + "\n";
        for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
          end = value.find(';', at);
          seen += "  " + value.substr(at, end == std::string::npos ? end : end - at + 1) + "\n";
        }
      }
    }
  }

  ScratchSystem scratch;
  LoadedModule module;
  DWORD system = 0;  // the major version
  std::string seen;
};

// ---- Tests ------------------------------------------------------------------------------------

TEST_F(Registration, ComesAndGoesAsAWhole) {
  struct Case {
    const char* title;
    unsigned settings;
    std::function<void()> prepare;
    bool isRepeated = false;
    std::function<void()> takeOver = nullptr;  // before removal
  };
  const auto setAll = [](auto value) {
    return [value] {
      for (const wchar_t* setting : kSettings) {
        SetSetting(HKEY_LOCAL_MACHINE, setting, value);
      }
    };
  };
  const auto takeOver = [](const wchar_t* clsid) {
    return
        [clsid] { SetText(HKEY_LOCAL_MACHINE, std::wstring(kHandlers) + L".mp3", nullptr, clsid); };
  };
  const auto nothing = [] {};
  const Case cases[] = {
      {"no setting", 0, [] { SHDeleteKeyW(HKEY_LOCAL_MACHINE, L"Software\\Corvane"); }},
      {"settings of 2", 0, setAll(DWORD{2})},
      {"settings of a text", 0, setAll(L"1")},
      {"properties", kProperties, nothing},
      {"AIFF lists without properties", kAiff, nothing},
      {"properties with AIFF lists", kProperties | kAiff, nothing},
      {"thumbnails", kThumbnails, nothing},
      {"columns", kColumns, nothing},
      {"all over those of another program", kAll, AddForeignValues},
      {"all, and once more", kAll, AddForeignValues, true},
      {"all, and another took over", kAll, AddForeignValues, false, takeOver(L"{other}")},
      {"all, written in another case", kAll, AddForeignValues, false,
       takeOver(L"{7c1f2a90-3b6e-4d21-9a55-6e0b8c4d2f13}")},
  };
  for (const Case& c : cases) {
    Begin(c.settings);
    c.prepare();
    seen += std::string(seen.empty() ? "" : "\n") + "== " + c.title + "\n";
    const Tree before = Dump();
    if (c.isRepeated || c.takeOver) {
      module.Call("DllRegisterServer");
      events.clear();
    }
    const Tree registered = Dump();
    if (c.takeOver) {
      c.takeOver();
    } else {
      Step("InstallHandlers", registered);
    }
    seen += "-- and removed\n";
    Step("RemoveHandlers", before);
  }
  ShowLists();
  ExpectSeen("registration");
}

struct FailingSteps {
  const char* title;
  std::vector<Fault> faults;
};
std::vector<FailingSteps> AllFailingSteps() {
  static const std::wstring aif = std::wstring(kHandlers) + L".aif";
  static const std::wstring aiff = aif + L"f";
  static const std::wstring mp3 = std::wstring(kHandlers) + L".mp3";
  return {
      {"nothing is approved", {{L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Ext"}}},
      {"nothing is approved, throws",
       {{L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Ext", nullptr, kThrows}}},
      {"thumbnails are not approved", {{nullptr, L"{2E8B7D41"}}},
      {"thumbnails are not approved, disk full", {{nullptr, L"{2E8B7D41", ERROR_DISK_FULL}}},
      {"property handler of .aif", {{aif.c_str()}}},
      {"property handler of .mp3", {{mp3.c_str()}}},
      {"property handler of .aif, .aiff throws", {{aiff.c_str(), nullptr, kThrows}, {aif.c_str()}}},
      {"class of the property handler", {{L"CLSID\\{7C1F"}}},
      {"class of the property handler, throws", {{L"CLSID\\{7C1F", nullptr, kThrows}}},
      {"ManualSafeSave", {{nullptr, L"ManualSafeSave"}}},
      {"server", {{L"CLSID\\{7C1F2A90-3B6E-4D21-9A55-6E0B8C4D2F13}\\InProc"}}},
      {"threading model", {{nullptr, L"ThreadingModel"}}},
      {"COM", {{nullptr, L"COM"}}},
      {"COM throws", {{nullptr, L"COM", kThrows}}},
      {"lists of .aiff", {{L"SystemFileAssociations\\.aiff"}}},
      {"lists throw", {{L"SystemFileAssociations", nullptr, kThrows}}},
      {"class of the thumbnail handler", {{L"CLSID\\{2E8B"}}},
      {"class of the thumbnail handler, throws", {{L"CLSID\\{2E8B", nullptr, kThrows}}},
      {"thumbnails of .aif", {{L".aif\\ShellEx"}}},
      {"thumbnails of .mp3", {{L".mp3\\ShellEx"}}},
      {"thumbnails of .aif, .aiff throws",
       {{L".aif\\ShellEx"}, {L".aiff\\ShellEx", nullptr, kThrows}}},
      {"class of the column handler", {{L"CLSID\\{A3D0"}}},
      {"columns", {{L"Folder"}}},
      {"columns throw", {{L"Folder", nullptr, kThrows}}},
      {"removal throws", {{L"CLSID", nullptr, kThrows}}},
  };
}

TEST_F(Registration, EndsOrGoesOnWhereAStepFails) {
  Begin(kAll);
  module.Call("DllRegisterServer");
  const Tree whole = Dump();
  for (const FailingSteps& c : AllFailingSteps()) {
    Begin(kAll);
    events.clear();
    scratch.NewMessages();
    faults = c.faults;
    const std::size_t length = seen.size();
    seen += std::string(seen.empty() ? "" : "\n") + "== " + c.title + "\n";
    Step("InstallHandlers", whole);
    if (seen.ends_with("InstallHandlers: 0x00000000\nthe shell is told\n")) {
      seen.resize(length);  // this system has no such step
    }
    if (c.title == "removal throws"sv || (c.title == "COM throws"sv && system >= 6)) {
      Step("DllUnregisterServer", whole);
    }
    faults.clear();
  }
  ExpectSeen("failures");
}

}  // namespace
}  // namespace tagsmith::test
