#include <aclapi.h>
#include <sddl.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <map>
#include <thread>

#include "platform/system_library.h"
#include "shellext/base/module.h"
#include "shellext/base/registry.h"
#include "shellext/base/version_info.h"
#include "shellext/property_schema.h"
#include "tags/unicode.h"
#include "tests/shell/shell_environment.h"
#include "tools/report_text.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

// ---- Registry trees ---------------------------------------------------------------------------

/// Keys as "M\path" (machine) and "C\path" (classes), values as "M\path|name"; with their content.
using Tree = std::map<std::string, std::string>;

std::string Narrow(const std::wstring& text) { return Utf16ToUtf8(Utf16(text)); }

void Collect(HKEY key, const std::string& path, Tree& tree) {
  std::array<wchar_t, 300> name{};
  std::array<BYTE, 4000> data{};
  for (DWORD i = 0;; ++i) {
    DWORD length = 300;
    DWORD size = 4000;
    DWORD type = REG_NONE;
    if (RegEnumValueW(key, i, name.data(), &length, nullptr, &type, data.data(), &size) !=
        ERROR_SUCCESS) {
      break;
    }
    tree[path + "|" + Narrow(name.data())] =
        type == REG_DWORD ? "#" + std::to_string(*reinterpret_cast<const DWORD*>(data.data()))
                          : (type == REG_EXPAND_SZ ? "%" : "") +
                                Narrow(reinterpret_cast<const wchar_t*>(data.data()));
  }
  for (DWORD i = 0;; ++i) {
    DWORD length = 300;
    if (RegEnumKeyExW(key, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    HKEY child = nullptr;
    const std::string childPath = path + "\\" + Narrow(name.data());
    tree[childPath] = "";
    RegOpenKeyExW(key, name.data(), 0, KEY_READ, &child);
    Collect(child, childPath, tree);
    RegCloseKey(child);
  }
}

/// Adds a value, and the keys above it.
void Add(Tree& tree, const std::string& key, const std::string& name, const std::string& value) {
  for (std::size_t at = key.find('\\'); at != std::string::npos; at = key.find('\\', at + 1)) {
    tree.emplace(key.substr(0, key.find('\\', at + 1)), "");
  }
  if (name != "no value") {
    tree[key + "|" + name] = value;
  }
}

void Remove(Tree& tree, const std::string& key) {
  std::erase_if(tree, [&](const auto& entry) {
    return entry.first == key || entry.first.starts_with(key + "\\") ||
           entry.first.starts_with(key + "|");
  });
}

/// The differences between two trees; empty: none.
Lines Compare(const Tree& seen, const Tree& expected) {
  Lines lines;
  for (const auto& [path, value] : expected) {
    const auto found = seen.find(path);
    if (found == seen.end()) {
      lines.push_back("missing " + path);
    } else if (found->second != value) {
      lines.push_back(
          std::string(path).append(" is ").append(found->second).append(" not ").append(value));
    }
  }
  for (const auto& [path, value] : seen) {
    if (!expected.contains(path)) {
      lines.push_back(std::string("too much: ").append(path).append(" ").append(value));
    }
  }
  return lines;
}

// ---- The system around a registration ---------------------------------------------------------

constexpr const wchar_t* kSettings[] = {L"Add property handler", L"Add AIFF association",
                                        L"Add thumbnail handler", L"Add column handler"};
enum Setting : unsigned { kProperties = 1, kAiff = 2, kThumbnails = 4, kColumns = 8, kAll = 15 };

/// Replaces a function that the module imports, for as long as this lives.
class ImportPatch {
 public:
  template <typename Function>
  ImportPatch(HMODULE module, std::string_view name, Function replacement) {
    auto* base = reinterpret_cast<std::byte*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const DWORD place =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + place);
         library->Name != 0; ++library) {
      const auto* names =
          reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
      auto* functions = reinterpret_cast<IMAGE_THUNK_DATA*>(base + library->FirstThunk);
      for (; names->u1.AddressOfData != 0; ++names, ++functions) {
        const auto* import =
            reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
        if (name == reinterpret_cast<const char*>(import->Name)) {
          entry_ = reinterpret_cast<void**>(&functions->u1.Function);
        }
      }
    }
    EXPECT_NE(entry_, nullptr) << name;
    former_ = Exchange(reinterpret_cast<void*>(replacement));
  }
  ~ImportPatch() { Exchange(former_); }
  ImportPatch(const ImportPatch&) = delete;
  ImportPatch& operator=(const ImportPatch&) = delete;

 private:
  void* Exchange(void* function) {
    DWORD protection = 0;
    VirtualProtect(entry_, sizeof(function), PAGE_READWRITE, &protection);
    void* former = std::exchange(*entry_, function);
    VirtualProtect(entry_, sizeof(function), protection, &protection);
    return former;
  }

  void** entry_ = nullptr;
  void* former_ = nullptr;
};

int notifications;
void WINAPI CountNotification(LONG event, UINT flags, LPCVOID first, LPCVOID second) {
  EXPECT_EQ(event, SHCNE_ASSOCCHANGED);
  EXPECT_EQ(flags, static_cast<UINT>(SHCNF_IDLIST));
  EXPECT_TRUE(first == nullptr && second == nullptr);
  ++notifications;
}

std::string shownMessage;
int WINAPI ShowMessage(HWND owner, LPCSTR text, LPCSTR caption, UINT style) {
  EXPECT_EQ(owner, reinterpret_cast<HWND>(77));
  shownMessage = std::string(caption) + "/" + std::to_string(style) + ": " + text;
  return IDOK;
}

HWND WINAPI FindInstaller(LPCSTR className, LPCSTR title) {
  EXPECT_STREQ(className, "MsiDialogCloseClass");
  EXPECT_EQ(title, nullptr);
  return reinterpret_cast<HWND>(77);
}

std::wstring throwsAt;  // what the key begins with
LSTATUS WINAPI CreateOrThrow(HKEY key, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options,
                             REGSAM access, LPSECURITY_ATTRIBUTES security, PHKEY result,
                             LPDWORD disposition) {
  if (std::wstring_view(path).starts_with(throwsAt)) {
    throw std::runtime_error("injected");
  }
  return RegCreateKeyExW(key, path, reserved, type, options, access, security, result, disposition);
}
HRESULT WINAPI InitializeOrThrow(LPVOID /*reserved*/) { throw std::runtime_error("injected"); }

std::wstring failingName;
LSTATUS failure;
LSTATUS WINAPI SetOrFail(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                         DWORD size) {
  return name != nullptr && name == failingName
             ? failure
             : RegSetValueExW(key, name, reserved, type, data, size);
}
LSTATUS WINAPI DeleteOrThrow(HKEY /*key*/, LPCWSTR /*path*/) {
  throw std::runtime_error("injected");
}

/// A key that cannot be opened for writing while this lives.
class ReadOnlyKey {
 public:
  ReadOnlyKey(HKEY hive, const wchar_t* path) {
    RegOpenKeyExW(hive, path, 0, KEY_ALL_ACCESS, &key_);
    Protect(L"D:P(A;;KRWDRC;;;WD)");
  }
  ~ReadOnlyKey() {
    Protect(L"D:(A;;KA;;;WD)");
    RegCloseKey(key_);
  }
  ReadOnlyKey(const ReadOnlyKey&) = delete;
  ReadOnlyKey& operator=(const ReadOnlyKey&) = delete;

 private:
  void Protect(const wchar_t* descriptor) {
    PSECURITY_DESCRIPTOR security = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(descriptor, SDDL_REVISION_1, &security,
                                                         nullptr);
    EXPECT_EQ(RegSetKeySecurity(key_, DACL_SECURITY_INFORMATION, security), ERROR_SUCCESS);
    LocalFree(security);
  }

  HKEY key_ = nullptr;
};

class Registration : public ::testing::Test {
 protected:
  Registration() : scratch(ScratchSystem::kWithClasses) {
    std::array<wchar_t, MAX_PATH> path{};
    GetModuleFileNameW(module.Get(), path.data(), MAX_PATH);
    modulePath = Narrow(path.data());
    notifications = 0;
    shownMessage.clear();
  }

  HRESULT Call(const char* name) {
    return FindFunction<HRESULT(WINAPI*)(DWORD)>(module.Get(), name)(0);
  }
  HRESULT Register() { return Call("DllRegisterServer"); }
  HRESULT Unregister() { return Call("DllUnregisterServer"); }

  static Tree Dump() {
    Tree tree;
    Collect(HKEY_LOCAL_MACHINE, "M", tree);
    Collect(HKEY_CLASSES_ROOT, "C", tree);
    HKEY schemas = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\TagsmithPropertySystem", 0, KEY_READ,
                      &schemas) == ERROR_SUCCESS) {
      Collect(schemas, "schema", tree);
      RegCloseKey(schemas);
    }
    return tree;
  }

  static void Empty() {
    SHDeleteKeyW(HKEY_LOCAL_MACHINE, L"Software");
    for (const wchar_t* key :
         {L"CLSID", L".aif", L".aiff", L".mp3", L"SystemFileAssociations", L"Folder"}) {
      SHDeleteKeyW(HKEY_CLASSES_ROOT, key);
    }
  }

  static void Set(unsigned settings) {
    for (unsigned i = 0; i < 4; ++i) {
      SetSetting(HKEY_LOCAL_MACHINE, kSettings[i], (settings >> i & 1U) != 0 ? 1 : 0);
    }
  }

  static bool IsOn(unsigned i) {
    return ReadDwordSetting(HKEY_LOCAL_MACHINE, kSettingsKey, kSettings[i], 7) == 1;
  }

  /// Handlers and lists of another program.
  static void AddForeignValues() {
    for (const wchar_t* extension : {L".aif", L".mp3"}) {
      SetStringValue(HKEY_LOCAL_MACHINE, (kHandlers + extension).c_str(), nullptr, L"{foreign}");
      for (const wchar_t* iid : {kProviderIid, kExtractorIid}) {
        const std::wstring key = std::wstring(extension) + L"\\ShellEx\\" + iid;
        SetStringValue(HKEY_CLASSES_ROOT, key.c_str(), nullptr, L"{foreign}");
      }
    }
    SetStringValue(HKEY_CLASSES_ROOT, L"SystemFileAssociations\\.aif", L"InfoTip", L"prop:foreign");
    SetStringValue(HKEY_CLASSES_ROOT, L"SystemFileAssociations\\.aif", L"Other", L"stays");
    // With a type of its own.
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, (kHandlers + L".aif").c_str(), nullptr, REG_EXPAND_SZ,
                    L"{expanded}", 22);
  }

  static constexpr const wchar_t* kProviderIid = L"{e357fccd-a995-4576-b01f-234630154e96}";
  static constexpr const wchar_t* kExtractorIid = L"{BB2E617C-0920-11d1-9A0B-00C04FC2D6C1}";
  static inline const std::wstring kHandlers =
      L"Software\\Microsoft\\Windows\\CurrentVersion\\PropertySystem\\PropertyHandlers\\";

  ScratchSystem scratch;
  LoadedModule module;
  std::string modulePath;
  ImportPatch notify{module.Get(), "SHChangeNotify", CountNotification};
  ImportPatch message{module.Get(), "MessageBoxA", ShowMessage};
  ImportPatch findWindow{module.Get(), "FindWindowA", FindInstaller};
};

// ---- What is expected -------------------------------------------------------------------------

constexpr const char* kApproved =
    "M\\Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr const char* kPropertyClsid = "{7C1F2A90-3B6E-4D21-9A55-6E0B8C4D2F13}";
constexpr const char* kThumbnailClsid = "{2E8B7D41-90C5-4F3A-B6D2-1A4C9E07F8B5}";
constexpr const char* kColumnClsid = "{A3D05C6E-71F9-4B28-8E4D-5B9F2C6A0E71}";

const std::string kPropertyHandlers =
    "M\\Software\\Microsoft\\Windows\\CurrentVersion\\PropertySystem\\PropertyHandlers\\";
const std::string kColumnKey = std::string("C\\Folder\\shellex\\ColumnHandlers\\") + kColumnClsid;

const std::pair<const char*, const char*> kLists[] = {
    {"InfoTip",
     "prop:System.ItemType;System.Size;System.Music.Artist;System.Media.Duration;System."
     "OfflineAvailability"},
    {"ExtendedTileInfo",
     "prop:System.ItemType;System.Size;System.Music.Artist;System.Media.Duration;System."
     "OfflineAvailability"},
    {"FullDetails",
     "prop:System.PropGroup.Description;System.Title;System.Media.SubTitle;System.Rating;Sy"
     "stem.Comment;System.PropGroup.Media;System.Music.Artist;System.Music.AlbumArtist;Syst"
     "em.Music.AlbumTitle;System.Media.Year;System.Music.TrackNumber;System.Music.Genre;Sys"
     "tem.Media.Duration;System.PropGroup.Audio;System.Audio.EncodingBitrate;System.PropGro"
     "up.Origin;System.Media.Publisher;System.Media.EncodedBy;System.Media.AuthorUrl;System"
     ".Copyright;System.PropGroup.Content;System.ParentalRatingReason;System.Music.Composer"
     ";System.Music.Conductor;System.Music.ContentGroupDescription;System.Music.Mood;System"
     ".Music.PartOfSet;System.Music.InitialKey;System.Music.BeatsPerMinute;System.DRM.IsPro"
     "tected;System.Music.IsCompilation;System.PropGroup.FileSystem;System.ItemNameDisplay;"
     "System.ItemType;System.ItemFolderPathDisplay;System.DateCreated;System.DateModified;S"
     "ystem.Size;System.FileAttributes;System.OfflineAvailability;System.OfflineStatus;Syst"
     "em.SharedWith;System.FileOwner;System.ComputerName"},
    {"PreviewDetails",
     "prop:System.Music.Artist;System.Music.AlbumTitle;System.Music.Genre;*System.Media.Dur"
     "ation;System.Rating;System.Media.Year;*System.Size;System.Music.TrackNumber;System.Mu"
     "sic.AlbumArtist;System.Title;*System.Audio.EncodingBitrate;*System.DateModified;*Syst"
     "em.OfflineAvailability;*System.OfflineStatus;*System.DateCreated;*System.SharedWith"},
};

std::string ThumbnailKey(const std::string& extension) {
  return "C\\" + extension + "\\ShellEx\\" +
         (IsNt6OrLater() ? "{e357fccd-a995-4576-b01f-234630154e96}"
                         : "{BB2E617C-0920-11d1-9A0B-00C04FC2D6C1}");
}

void AddBackedUp(Tree& tree, const std::string& key, const std::string& name,
                 const std::string& value) {
  const auto former = tree.find(key + "|" + name);
  if (former != tree.end()) {
    tree.emplace(key + "|" + name + "tsmithbak", former->second);
  }
  Add(tree, key, name, value);
}

void AddClass(Tree& tree, const char* clsid, const char* name, const std::string& modulePath) {
  const std::string key = std::string("C\\CLSID\\") + clsid;
  Add(tree, key, "", name);
  Add(tree, key + "\\InProcServer32", "", modulePath);
  Add(tree, key + "\\InProcServer32", "ThreadingModel", "Apartment");
}

/// What registering makes of the tree.
Tree Registered(Tree tree, unsigned settings, const std::string& modulePath) {
  const bool isNt6 = IsNt6OrLater();
  Add(tree, kApproved, isNt6 ? kPropertyClsid : kColumnClsid,
      isNt6 ? "Tagsmith property handler" : "Tagsmith column handler");
  Add(tree, kApproved, kThumbnailClsid, "Tagsmith thumbnail handler");
  if (isNt6 && (settings & kProperties) != 0) {
    for (const char* extension : {".aif", ".aiff", ".mp3"}) {
      AddBackedUp(tree, kPropertyHandlers + extension, "", kPropertyClsid);
    }
    AddClass(tree, kPropertyClsid, "Tagsmith property handler", modulePath);
    Add(tree, std::string("C\\CLSID\\") + kPropertyClsid, "ManualSafeSave", "#1");
    tree["schema|" + modulePath.substr(0, modulePath.rfind('\\')) + "\\Tagsmith.propdesc"] =
        "registered";
    for (const char* extension : {".aif", ".aiff"}) {
      for (const auto& [name, text] : kLists) {
        if ((settings & kAiff) != 0) {
          AddBackedUp(tree, std::string("C\\SystemFileAssociations\\") + extension, name, text);
        }
      }
    }
  }
  if (!isNt6 && (settings & kColumns) != 0) {
    AddClass(tree, kColumnClsid, "Tagsmith column handler", modulePath);
    Add(tree, kColumnKey, "", "Tagsmith column handler");
  }
  if ((settings & kThumbnails) != 0) {
    AddClass(tree, kThumbnailClsid, "Tagsmith thumbnail handler", modulePath);
    for (const char* extension : {".aif", ".aiff", ".mp3"}) {
      AddBackedUp(tree, ThumbnailKey(extension), "", kThumbnailClsid);
    }
  }
  return tree;
}

/// What removal leaves of the tree before: all of it but the thumbnail keys, which do not come
/// back; and keys that were made on the way to ours.
Tree Removed(Tree tree, unsigned settings) {
  const bool isNt6 = IsNt6OrLater();
  Add(tree, kApproved, "no value", "");
  const bool isRegistered = (settings & (isNt6 ? kProperties : kColumns)) != 0;
  if ((settings & kThumbnails) != 0 || isRegistered) {
    Add(tree, "C\\CLSID", "no value", "");
  }
  if (isNt6 && isRegistered) {
    Add(tree, kPropertyHandlers.substr(0, kPropertyHandlers.size() - 1), "no value", "");
    if ((settings & kAiff) != 0) {
      Add(tree, "C\\SystemFileAssociations", "no value", "");
      if (tree.contains("C\\SystemFileAssociations\\.aif|InfoTip")) {
        // Lists without a backup stay where another list has one.
        for (const auto& [name, text] : kLists) {
          tree.emplace(std::string("C\\SystemFileAssociations\\.aif|") + name, text);
        }
      }
    }
  }
  if (!isNt6 && isRegistered) {
    Add(tree, kColumnKey.substr(0, kColumnKey.rfind('\\')), "no value", "");
  }
  for (const char* extension : {".aif", ".aiff", ".mp3"}) {
    if ((settings & kThumbnails) != 0) {
      Add(tree, std::string("C\\") + extension + "\\ShellEx", "no value", "");
    }
    if ((settings & kThumbnails) != 0 || (!isNt6 && isRegistered)) {
      Remove(tree, ThumbnailKey(extension));
    }
  }
  return tree;
}

// ---- Tests ------------------------------------------------------------------------------------

TEST_F(Registration, ComesAndGoesAsAWhole) {
  for (const bool hasForeignValues : {true, false}) {
    for (unsigned settings = 0; settings <= kAll; ++settings) {
      SCOPED_TRACE(std::to_string(settings) + (hasForeignValues ? " foreign" : ""));
      Empty();
      Set(settings);
      if (hasForeignValues) {
        AddForeignValues();
      }
      const Tree before = Dump();
      notifications = 0;
      EXPECT_EQ(Call("InstallHandlers"), S_OK);
      EXPECT_EQ(notifications, 1);
      EXPECT_EQ(Compare(Dump(), Registered(before, settings, modulePath)), Lines{});
      EXPECT_EQ(Call("RemoveHandlers"), S_OK);
      EXPECT_EQ(notifications, 2);
      EXPECT_EQ(Compare(Dump(), Removed(before, settings)), Lines{});
    }
  }
  EXPECT_EQ(shownMessage, "");
}

TEST_F(Registration, KeepsTheFirstBackupWhenItIsRepeated) {
  Set(kAll);
  AddForeignValues();
  Register();
  const Tree registered = Dump();
  EXPECT_EQ(Register(), S_OK);
  // What had no backup has one now, of our own value.
  const Tree again = Registered(registered, kAll, modulePath);
  EXPECT_EQ(Compare(Dump(), again), Lines{});
  EXPECT_EQ(again.at(ThumbnailKey(".mp3") + "|tsmithbak"), "{foreign}");
}

TEST_F(Registration, LeavesWhatAnotherTookOver) {
  if (!IsNt6OrLater()) {
    return;
  }
  for (const auto& [current, expected] :
       {std::pair{L"{other}", "{other}"},
        std::pair{L"{7c1f2a90-3b6e-4d21-9a55-6e0b8c4d2f13}", "{foreign}"}}) {
    Empty();
    Set(kAll);
    AddForeignValues();
    Register();
    SetStringValue(HKEY_LOCAL_MACHINE, (kHandlers + L".mp3").c_str(), nullptr, current);
    Unregister();
    EXPECT_EQ(Dump()[kPropertyHandlers + ".mp3|"], expected);
  }
}

TEST_F(Registration, TakesOnlyOneForOn) {
  const auto registersNothing = [&] {
    const Tree before = Dump();
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(Compare(Dump(), Registered(before, 0, modulePath)), Lines{});
  };
  registersNothing();  // absent
  for (const wchar_t* setting : kSettings) {
    SetSetting(HKEY_LOCAL_MACHINE, setting, 2);
  }
  registersNothing();
  for (const wchar_t* setting : kSettings) {
    SetSetting(HKEY_LOCAL_MACHINE, setting, L"1");
  }
  registersNothing();
}

TEST_F(Registration, EndsWithTheClassThatCannotBeWritten) {
  const auto clsids = IsNt6OrLater() ? std::vector{kPropertyClsid, kThumbnailClsid}
                                     : std::vector{kColumnClsid, kThumbnailClsid};
  for (std::size_t i = 0; i < clsids.size(); ++i) {
    Empty();
    Set(kAll);
    const std::wstring key = WidenUtf8(std::string("CLSID\\") + clsids[i]);
    SetStringValue(HKEY_CLASSES_ROOT, key.c_str(), nullptr, nullptr);
    {
      const ReadOnlyKey readOnly(HKEY_CLASSES_ROOT, key.c_str());
      EXPECT_EQ(Register(), static_cast<HRESULT>(0x80070005));
    }
    Tree tree = Dump();
    const std::string server = std::string("C\\CLSID\\") + clsids[i] + "\\InProcServer32";
    EXPECT_FALSE(tree.contains(server));
    EXPECT_FALSE(tree.contains(ThumbnailKey(".aif")));
    EXPECT_FALSE(tree.contains(kColumnKey) && i == 0);
    EXPECT_EQ(tree.contains(std::string(kApproved) + "|" + kThumbnailClsid), i == 1);
    if (IsNt6OrLater()) {
      EXPECT_EQ(tree.contains("C\\SystemFileAssociations"), i == 1);
      EXPECT_TRUE(std::any_of(tree.begin(), tree.end(), [](const auto& entry) {
        return entry.first.starts_with("schema|");
      }));
    }
  }
  EXPECT_EQ(notifications, 0);
}

TEST_F(Registration, NamesTheHandlerThatIsNotApproved) {
  Set(kAll);
  const ImportPatch setValue(module.Get(), "RegSetValueExW", SetOrFail);
  failingName = WidenUtf8(kThumbnailClsid);
  failure = ERROR_DISK_FULL;
  EXPECT_EQ(Register(), HRESULT_FROM_WIN32(ERROR_DISK_FULL));
  EXPECT_EQ(scratch.Log().find("Failed to create"), std::string::npos);
  failure = ERROR_ACCESS_DENIED;
  EXPECT_EQ(Register(), static_cast<HRESULT>(0x80070005));
  EXPECT_NE(scratch.Log().find(std::string("Failed to create the shell approved GUID ") +
                               kThumbnailClsid),
            std::string::npos);
}

TEST_F(Registration, EndsWhereTheShellDoesNotApprove) {
  const wchar_t* key = L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
  Set(kAll);
  SetStringValue(HKEY_LOCAL_MACHINE, key, nullptr, nullptr);
  const Tree before = Dump();
  {
    const ReadOnlyKey readOnly(HKEY_LOCAL_MACHINE, key);
    EXPECT_EQ(Call("InstallHandlers"), static_cast<HRESULT>(0x80070005));
  }
  EXPECT_EQ(Compare(Dump(), before), Lines{});
  EXPECT_EQ(shownMessage,
            "Tagsmith/32: Failed to install the handlers (0x80070005 [ACCESS DENIED])");
  // On either system the line names the property handler.
  EXPECT_NE(
      scratch.Log().find(std::string("Failed to create the shell approved GUID ") + kPropertyClsid),
      std::string::npos);
  EXPECT_EQ(notifications, 0);
}

TEST_F(Registration, IsDecidedByTheLastExtension) {
  Set(kAll);
  const auto registerWithout = [&](HKEY hive, const std::wstring& key) {
    SetStringValue(hive, key.c_str(), nullptr, nullptr);
    const ReadOnlyKey readOnly(hive, key.c_str());
    return Register();
  };
  const std::wstring iid = IsNt6OrLater() ? kProviderIid : kExtractorIid;
  EXPECT_EQ(registerWithout(HKEY_CLASSES_ROOT, L".aif\\ShellEx\\" + iid), S_OK);
  EXPECT_EQ(notifications, 1);
  EXPECT_EQ(Dump()[ThumbnailKey(".mp3") + "|"], kThumbnailClsid);
  EXPECT_EQ(registerWithout(HKEY_CLASSES_ROOT, L".mp3\\ShellEx\\" + iid),
            static_cast<HRESULT>(0x80070005));
  EXPECT_EQ(notifications, 1);
  if (IsNt6OrLater()) {
    Empty();
    Set(kAll);
    EXPECT_EQ(registerWithout(HKEY_LOCAL_MACHINE, kHandlers + L".aiff"), S_OK);
    EXPECT_EQ(registerWithout(HKEY_LOCAL_MACHINE, kHandlers + L".mp3"),
              static_cast<HRESULT>(0x80070005));
    Empty();
    Set(kAll);
    EXPECT_EQ(registerWithout(HKEY_CLASSES_ROOT, L"SystemFileAssociations\\.aif"), S_OK);
    EXPECT_EQ(registerWithout(HKEY_CLASSES_ROOT, L"SystemFileAssociations\\.aiff"),
              static_cast<HRESULT>(0x80070005));
  }
}

TEST_F(Registration, SwitchesOffWhatThrows) {
  struct Case {
    const wchar_t* key;
    unsigned setting;  // number
    bool isOfNt6;
    bool isOfNt5;
    const char* line;
  };
  const Case cases[] = {
      {L"CLSID\\{7C1F", 0, true, false, "Registering 'Add property handler' failed (disabling)"},
      {L"SystemFileAssociations", 1, true, false,
       "Registering 'Add AIFF association' failed (disabling)"},
      {L"CLSID\\{2E8B", 2, true, true, "Registering 'Add thumbnail handler' failed (disabling)"},
      {L"Folder", 3, false, true, "Registering 'Add column handler' failed (disabling)"},
  };
  for (const Case& c : cases) {
    if (!(IsNt6OrLater() ? c.isOfNt6 : c.isOfNt5)) {
      continue;
    }
    SCOPED_TRACE(c.line);
    Empty();
    Set(kAll);
    throwsAt = c.key;
    {
      const ImportPatch create(module.Get(), "RegCreateKeyExW", CreateOrThrow);
      EXPECT_EQ(Register(), S_OK);
    }
    for (unsigned i = 0; i < 4; ++i) {
      EXPECT_EQ(IsOn(i), i != c.setting) << i;
    }
    EXPECT_NE(scratch.Log().find(c.line), std::string::npos);
    EXPECT_EQ(notifications, 1);
    notifications = 0;
    // The others are registered.
    Tree tree = Dump();
    EXPECT_EQ(tree.contains(ThumbnailKey(".mp3")), c.setting != 2);
    if (IsNt6OrLater()) {
      EXPECT_EQ(tree.contains("C\\SystemFileAssociations\\.aiff"), c.setting > 1);
    }
  }
}

TEST(PropertySchema, PassesOnAFailureOfCom) {
  HRESULT result = S_OK;
  std::thread([&result] {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    result = RegisterPropertySchema(true);
    CoUninitialize();
  }).join();
  EXPECT_EQ(result, RPC_E_CHANGED_MODE);
}

// A code that the block had come to before the exception counts no more, but for the thumbnails:
// then the shell is not told.
TEST_F(Registration, ForgetsTheCodeBeforeAnException) {
  struct Case {
    HKEY hive;
    std::wstring failing;
    std::wstring throwing;
    int notifications;
  };
  const std::wstring iid = IsNt6OrLater() ? kProviderIid : kExtractorIid;
  std::vector<Case> cases = {{HKEY_CLASSES_ROOT, L".aif\\ShellEx\\" + iid, L".aiff\\ShellEx", 0}};
  if (IsNt6OrLater()) {
    cases.push_back({HKEY_LOCAL_MACHINE, kHandlers + L".aif", kHandlers + L".aiff", 1});
  }
  for (const Case& c : cases) {
    Empty();
    Set(kAll);
    SetStringValue(c.hive, c.failing.c_str(), nullptr, nullptr);
    const ReadOnlyKey readOnly(c.hive, c.failing.c_str());
    throwsAt = c.throwing;
    notifications = 0;
    const ImportPatch create(module.Get(), "RegCreateKeyExW", CreateOrThrow);
    EXPECT_EQ(Register(), S_OK);
    EXPECT_EQ(notifications, c.notifications);
    EXPECT_EQ(IsOn(0), c.notifications == 0);
    EXPECT_EQ(IsOn(2), c.notifications == 1);
  }
}

TEST_F(Registration, LogsAnExceptionOfTheSchema) {
  if (!IsNt6OrLater()) {
    return;
  }
  Set(kAll);
  const ImportPatch initialize(module.Get(), "CoInitialize", InitializeOrThrow);
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_TRUE(IsOn(0));
  EXPECT_NE(scratch.Log().find("Failed to register the property schema"), std::string::npos);
  EXPECT_NE(scratch.Log().find("Failed to unregister the property schema"), std::string::npos);
}

TEST_F(Registration, LetsNothingEscape) {
  Set(kAll);
  throwsAt = L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Ext";
  {
    const ImportPatch create(module.Get(), "RegCreateKeyExW", CreateOrThrow);
    EXPECT_EQ(Register(), S_OK);
  }
  EXPECT_EQ(notifications, 0);
  {
    const ImportPatch remove(module.Get(), "SHDeleteKeyW", DeleteOrThrow);
    EXPECT_EQ(Unregister(), S_OK);
  }
  EXPECT_NE(scratch.Log().find("DllRegisterServer failed"), std::string::npos);
  EXPECT_NE(scratch.Log().find("DllUnregisterServer failed"), std::string::npos);
}

// On a system that is too old for all of it.
class OldRegistration : public Registration {};

TEST_F(OldRegistration, IsRefused) {
  Set(kAll);
  const Tree before = Dump();
  EXPECT_EQ(Call("InstallHandlers"), static_cast<HRESULT>(0x80070001));
  EXPECT_EQ(Compare(Dump(), before), Lines{});
  EXPECT_EQ(shownMessage, "Tagsmith/32: Failed to install the handlers (0x80070001)");
  EXPECT_EQ(Unregister(), S_OK);
}

}  // namespace
}  // namespace tagsmith::test
