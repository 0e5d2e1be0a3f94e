#include "tests/shell/shell_environment.h"

#include <psapi.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/system_library.h"
#include "shellext/base/module.h"
#include "shellext/base/registry.h"
#include "shellext/class_objects.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

/// Of this process's own, because several run at the same time.
std::wstring ScratchKey() {
  return L"Software\\TagsmithScratch" + std::to_wstring(GetCurrentProcessId());
}

struct Hive {
  HKEY key;
  const wchar_t* name;
};
const Hive kHives[] = {{HKEY_LOCAL_MACHINE, L"Machine"},
                       {HKEY_CURRENT_USER, L"User"},
                       {HKEY_CLASSES_ROOT, L"Classes"}};

}  // namespace

ScratchSystem::ScratchSystem(Classes classes) : folder_("unused", "") {
  std::vector<std::pair<const Hive*, HKEY>> scratch;
  for (const Hive& hive : kHives) {
    if (hive.key == HKEY_CLASSES_ROOT && classes == kSystemClasses) {
      continue;
    }
    HKEY key = nullptr;
    const std::wstring path = ScratchKey() + L"\\" + hive.name;
    RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                    nullptr);
    scratch.emplace_back(&hive, key);
  }
  for (const auto& [hive, key] : scratch) {
    RegOverridePredefKey(hive->key, key);
    RegCloseKey(key);
    replaced_.push_back(hive->key);
  }
  SetStringValue(HKEY_CURRENT_USER,
                 L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
                 L"Local AppData", AppData().c_str());
}

ScratchSystem::~ScratchSystem() {
  for (const HKEY hive : replaced_) {
    RegOverridePredefKey(hive, nullptr);
  }
  SHDeleteKeyW(HKEY_CURRENT_USER, ScratchKey().c_str());
}

std::filesystem::path ScratchSystem::AppData() const {
  return std::filesystem::path(folder_.Path()).parent_path() / "AppData";
}

std::filesystem::path ScratchSystem::LogFolder() const {
  return AppData() / "Corvane" / "Tagsmith";
}

std::string ScratchSystem::Log() const {
  std::ostringstream content;
  content << std::ifstream(LogFolder() / "tsmithsx.log").rdbuf();
  return content.str();
}

void SetSetting(HKEY hive, const wchar_t* name, DWORD value) {
  ASSERT_EQ(SetDwordValue(hive, kSettingsKey, name, value), ERROR_SUCCESS);
}

void SetSetting(HKEY hive, const wchar_t* name, const wchar_t* text) {
  ASSERT_EQ(SetStringValue(hive, kSettingsKey, name, text), ERROR_SUCCESS);
}

LoadedModule::LoadedModule(const wchar_t* copyName) {
  std::wstring path = ProgramFolder() + L"tsshell.dll";
  if (copyName != nullptr) {
    const std::wstring copy = ProgramFolder() + copyName;
    CopyFileW(path.c_str(), copy.c_str(), FALSE);
    path = copy;
  }
  module_ = LoadLibraryW(path.c_str());
  EXPECT_NE(module_, nullptr);
}

LoadedModule::~LoadedModule() { FreeLibrary(module_); }

HRESULT LoadedModule::GetClassObject(REFCLSID clsid, REFIID riid, void** object) const {
  using Getter = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
  return FindFunction<Getter>(module_, "DllGetClassObject")(clsid, riid, object);
}

bool LoadedModule::CanUnload() const {
  using Asker = HRESULT(WINAPI*)();
  return FindFunction<Asker>(module_, "DllCanUnloadNow")() == S_OK;
}

ComPointer<IInitializeWithStream>& MakeHandler(const LoadedModule& module,
                                               ComPointer<IInitializeWithStream>& handler) {
  return MakeHandler(module, kPropertyHandlerClsid, L"Add property handler", handler);
}

std::string TagOfAllFields() {
  const auto frame = [](std::string_view id, std::string_view text) {
    return Frame(4, id, '\0' + std::string(text));
  };
  return V2Tag(4, frame("TIT2", "Title") + frame("TIT3", "Sub") + Frame(4, "POPM", "e\0\x80"s) +
                      Frame(4, "COMM", "\0eng\0Comment"s) + frame("TPE1", "Artist") +
                      frame("TPE2", "AA") + frame("TALB", "Album") + frame("TYER", "1999") +
                      frame("TRCK", "3/9") + frame("TCON", "(17)") + frame("TPUB", "Pub") +
                      frame("TENC", "Enc") + Frame(4, "WXXX", "\0\0http://u/"s) +
                      Frame(4, "WOAR", "http://a/") + frame("TCOP", "Copy") +
                      frame("TCOM", "Comp") + frame("TPE3", "Cond") + frame("TIT1", "Group") +
                      frame("TPOS", "2/3") + frame("TKEY", "Am") + frame("TBPM", "120") +
                      frame("TCMP", "1") + Frame(4, "TOPE", "\1\xFF\xFE" + Utf16Le(u"Ö")) +
                      Frame(4, "PCST", "\0\0\0\0"s));
}

Usage CurrentUsage() {
  Usage usage;
  // A new handle takes the lowest free place, which moves up when handles are left open.
  const HANDLE probe = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  usage.nextHandle = reinterpret_cast<std::uintptr_t>(probe);
  CloseHandle(probe);
  usage.gdiObjects = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
  if (usage.gdiObjects == 0) {
    // Wine does not count them, but keeps the table of the process's GDI objects where Windows has
    // it: 24 bytes an entry, of which byte 14 is not 0 in those that are in use.
    const auto getEnvironment = FindFunction<const std::byte*(WINAPI*)()>(
        GetModuleHandleW(L"ntdll.dll"), "RtlGetCurrentPeb");
    const std::byte* table = *reinterpret_cast<const std::byte* const*>(getEnvironment() + 0xF8);
    for (std::size_t entry = 0; entry < 65536; ++entry) {
      usage.gdiObjects += table[24 * entry + 14] != std::byte{0} ? 1 : 0;
    }
  }
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  usage.memory = counters.PagefileUsage;
  return usage;
}

void TestStream::FaultIfIn(std::string_view method) const {
  if (method == faultIn) {
    int* volatile nowhere = reinterpret_cast<int*>(0x10);
    *nowhere = 1;
  }
}

STDMETHODIMP TestStream::QueryInterface(REFIID riid, void** object) {
  FaultIfIn("QueryInterface");
  if (failsQuery || (riid != IID_IUnknown && riid != IID_IStream)) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  *object = static_cast<IStream*>(this);
  AddRef();
  return S_OK;
}

STDMETHODIMP TestStream::Read(void* data, ULONG wanted, ULONG* count) {
  FaultIfIn("Read");
  ++calls;
  *count = 0;
  if (throws) {
    throw std::runtime_error("read");
  }
  if (position + wanted > failsFrom) {
    *count = wanted;  // a lie
    return STG_E_READFAULT;
  }
  const std::uint64_t left = position < content_.size() ? content_.size() - position : 0;
  const auto given = static_cast<ULONG>(std::min<std::uint64_t>({wanted, left, largestRead}));
  if (given != 0) {
    std::memcpy(data, content_.data() + position, given);
  }
  position += given;
  *count = overstatesCount && given == wanted ? given + 1000 : given;
  return given < wanted ? endResult : S_OK;
}

STDMETHODIMP TestStream::Seek(LARGE_INTEGER distance, DWORD origin, ULARGE_INTEGER* reached) {
  FaultIfIn("Seek");
  ++calls;
  const std::uint64_t base = origin == STREAM_SEEK_SET   ? 0
                             : origin == STREAM_SEEK_CUR ? position
                                                         : content_.size();
  const std::int64_t target = static_cast<std::int64_t>(base) + distance.QuadPart;
  if (failsSeek || target < 0) {
    return STG_E_INVALIDFUNCTION;
  }
  position = static_cast<std::uint64_t>(target);
  if (reached != nullptr) {
    reached->QuadPart = position;
  }
  return S_OK;
}

STDMETHODIMP TestStream::Stat(STATSTG* status, DWORD flags) {
  FaultIfIn("Stat");
  ++calls;
  *status = {};
  if (failsStat) {
    return STG_E_ACCESSDENIED;
  }
  status->cbSize.QuadPart = size;
  if (hasName && flags == STATFLAG_DEFAULT) {
    const std::size_t bytes = (name_.size() + 1) * sizeof(wchar_t);
    status->pwcsName = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
    std::memcpy(status->pwcsName, name_.c_str(), bytes);
  }
  return S_OK;
}

std::vector<std::string> Shown(const std::vector<PropertyItem>& items) {
  std::vector<std::string> shown;
  shown.reserve(items.size());
  for (const PropertyItem& item : items) {
    shown.push_back(NameOf(item.key) + "=" +
                    (item.value.type == VT_EMPTY ? "-" : ToText(item.value.content)));
  }
  std::sort(shown.begin(), shown.end());
  return shown;
}

namespace {

constexpr const wchar_t* kHeldEvent = L"TagsmithTestFileIsHeld";
constexpr const wchar_t* kReleaseEvent = L"TagsmithTestReleaseFile";

}  // namespace

/// The child's side: opens the file for itself alone until it is told to let go.
static int HoldFile(const char* path) {
  HANDLE file = CreateFileA(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  HANDLE held = OpenEventW(EVENT_MODIFY_STATE, FALSE, kHeldEvent);
  HANDLE release = OpenEventW(SYNCHRONIZE, FALSE, kReleaseEvent);
  SetEvent(held);
  WaitForSingleObject(release, 30'000);
  return file != INVALID_HANDLE_VALUE ? 0 : 1;
}

FileHolder::FileHolder(const char* path)
    : held_(CreateEventW(nullptr, TRUE, FALSE, kHeldEvent)),
      release_(CreateEventW(nullptr, TRUE, FALSE, kReleaseEvent)) {
  std::array<char, 1024> program{};
  GetModuleFileNameA(nullptr, program.data(), static_cast<DWORD>(program.size()));
  std::string command = std::string(program.data()) + " --hold " + path;
  STARTUPINFOA startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  EXPECT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &process));
  CloseHandle(process.hThread);
  process_ = process.hProcess;
  EXPECT_EQ(WaitForSingleObject(held_, 30'000), WAIT_OBJECT_0);
}

FileHolder::~FileHolder() {
  SetEvent(release_);
  WaitForSingleObject(process_, 30'000);
  DWORD code = 1;
  GetExitCodeProcess(process_, &code);
  EXPECT_EQ(code, 0U);
  for (HANDLE handle : {held_, release_, process_}) {
    CloseHandle(handle);
  }
}

}  // namespace tagsmith::test

int main(int argc, char** argv) {
  if (argc > 2 && argv[1] == std::string("--hold")) {
    return tagsmith::test::HoldFile(argv[2]);
  }
  ::testing::InitGoogleTest(&argc, argv);
  const std::string variant =
      argc > 2 && argv[1] == std::string("--property-system") ? argv[2] : "";
  if (variant != "none") {
    tagsmith::UsePropertySystemDouble(
        variant.empty() ? L"propsys_double" : std::wstring(variant.begin(), variant.end()).c_str());
  }
  CoInitialize(nullptr);
  const int result = RUN_ALL_TESTS();
  CoUninitialize();
  // A filter that names no test is a mistake.
  return ::testing::UnitTest::GetInstance()->test_to_run_count() == 0 ? 1 : result;
}
