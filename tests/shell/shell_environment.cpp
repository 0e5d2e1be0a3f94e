#include "tests/shell/shell_environment.h"

#include <shlwapi.h>

#include <psapi.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "tags/unicode.h"
#include "tools/report_text.h"
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
constexpr std::size_t kHivesWithoutClasses = 2;
const Hive kHives[] = {
    {HKEY_LOCAL_MACHINE, L"\\M"}, {HKEY_CURRENT_USER, L"\\U"}, {HKEY_CLASSES_ROOT, L"\\C"}};

constexpr const wchar_t* kSettingsKey = L"Software\\Corvane\\Tagsmith\\Settings";

std::size_t FreeTlsIndices() {
  std::vector<DWORD> taken;
  for (DWORD index = TlsAlloc(); index != TLS_OUT_OF_INDEXES; index = TlsAlloc()) {
    taken.push_back(index);
  }
  std::for_each(taken.begin(), taken.end(), TlsFree);
  return taken.size();
}

std::size_t GdiObjects() {
  std::size_t count = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
  if (count == 0) {
    // Wine does not count them, but keeps the table of the process's GDI objects where Windows has
    // it: 24 bytes an entry, of which byte 14 is not 0 in those that are in use.
    const auto getEnvironment = FindFunction<const std::byte*(WINAPI*)()>(
        GetModuleHandleW(L"ntdll.dll"), "RtlGetCurrentPeb");
    const std::byte* table = *reinterpret_cast<const std::byte* const*>(getEnvironment() + 0xF8);
    for (std::size_t entry = 0; entry < 65536; ++entry) {
      count += table[24 * entry + 14] != std::byte{0} ? 1 : 0;
    }
  }
  return count;
}

std::size_t HeapBytes() {
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
  heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
  std::size_t bytes = 0;
  for (const HANDLE heap : heaps) {
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heap, &entry) != FALSE) {
      bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
  }
  return bytes;
}

/// A new handle takes the lowest free place, which moves up when handles are left open.
std::uintptr_t NextHandle() {
  const KernelHandle handle(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  return reinterpret_cast<std::uintptr_t>(handle.Get());
}

std::size_t PrivateBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  return counters.PagefileUsage;
}

}  // namespace

ScratchSystem::ScratchSystem(Classes classes) : file_("unused", "") {
  std::array<KeyHandle, std::size(kHives)> keys;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    RegCreateKeyW(HKEY_CURRENT_USER, (ScratchKey() + kHives[i].name).c_str(), keys[i].Receive());
  }
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if ((i < kHivesWithoutClasses || classes == kWithClasses) &&
        RegOverridePredefKey(kHives[i].key, keys[i].Get()) != ERROR_SUCCESS) {
      std::abort();  // before anything is done to the real ones
    }
  }
  const std::wstring folder = (Folder() / "AppData").wstring();
  RegSetKeyValueW(HKEY_CURRENT_USER,
                  L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
                  L"Local AppData", REG_SZ, folder.c_str(),
                  static_cast<DWORD>(2 * folder.size() + 2));
}

ScratchSystem::~ScratchSystem() {
  for (const Hive& hive : kHives) {
    RegOverridePredefKey(hive.key, nullptr);
  }
  SHDeleteKeyW(HKEY_CURRENT_USER, ScratchKey().c_str());
}

std::filesystem::path ScratchSystem::Folder() const {
  return std::filesystem::path(file_.Path()).parent_path();
}
std::filesystem::path ScratchSystem::LogFolder() const {
  return Folder() / "AppData" / "Corvane" / "Tagsmith";
}
std::string ScratchSystem::Log() const { return Content(LogFolder() / "tsmithsx.log"); }

Lines ScratchSystem::NewMessages() {
  Lines messages;
  const std::string log = Log();
  std::size_t end = 0;
  for (std::size_t at = std::exchange(seen_, log.size()); at < log.size(); at = end + 1) {
    end = std::min(log.find('\n', at), log.size());
    const std::string line = log.substr(at, end - at);
    if (!line.empty() && line.front() != '#') {
      messages.push_back(line.substr(std::min(line.size(), sizeof("2026-11-21 10:20:30:"))));
    }
  }
  return messages;
}

void ScratchSystem::FillLog() const {
  std::filesystem::create_directories(LogFolder());
  std::ofstream(LogFolder() / "tsmithsx.log") << std::string(103'000, 'x');
}

void SetSetting(HKEY hive, const wchar_t* name, DWORD value) {
  ASSERT_EQ(RegSetKeyValueW(hive, kSettingsKey, name, REG_DWORD, &value, sizeof(value)), 0);
}

void SetSetting(HKEY hive, const wchar_t* name, const wchar_t* text) {
  ASSERT_EQ(RegSetKeyValueW(hive, kSettingsKey, name, REG_SZ, text,
                            static_cast<DWORD>(2 * std::wcslen(text) + 2)),
            0);
}

void SwitchOn() {
  for (const wchar_t* setting : kSettings) {
    SetSetting(HKEY_LOCAL_MACHINE, setting, DWORD{1});
  }
}

LoadedModule::LoadedModule() : module_(LoadLibraryW((ProgramFolder() + L"tsshell.dll").c_str())) {
  EXPECT_NE(module_, nullptr);
}

LoadedModule::~LoadedModule() { FreeLibrary(module_); }

Belongings::Belongings()
    : tlsIndices(FreeTlsIndices()),
      handle(NextHandle()),
      gdiObjects(GdiObjects()),
      privateBytes(PrivateBytes()),
      heap(HeapBytes()) {}

void Belongings::ExpectBack() const {
  const Belongings now;
  EXPECT_LT(now.heap, heap + 512);
  EXPECT_LT(now.privateBytes, privateBytes + (std::size_t{4} << 20U));
  EXPECT_EQ(now.tlsIndices, tlsIndices);
  EXPECT_EQ(now.handle, handle);
  EXPECT_EQ(now.gdiObjects, gdiObjects);
}

std::ostream& operator<<(std::ostream& out, const Belongings& had) {
  return out << "free TLS indices " << had.tlsIndices << ", next handle " << had.handle
             << ", GDI objects " << had.gdiObjects << ", private bytes " << had.privateBytes
             << ", heap " << had.heap;
}

void ExpectNothingIsLeft(const std::function<void()>& request) {
  constexpr int kFirstRounds = 4;  // they fill caches
  constexpr int kRounds = 20;
  for (int i = 0; i < kFirstRounds; ++i) {
    request();
  }
  const Belongings before;
  for (int i = 0; i < kRounds; ++i) {
    request();
  }
  before.ExpectBack();
}

void TestStream::FaultIfIn(std::string_view method) const {
  if (method == faultIn) {
    int* volatile nowhere = reinterpret_cast<int*>(0x10);
    *nowhere = 1;
  }
}

STDMETHODIMP TestStream::QueryInterface(REFIID riid, void** object) {
  FaultIfIn("QueryInterface");
  const bool isServed = !failsQuery && riid == IID_IStream;
  *object = static_cast<IStream*>(this);  // what a query that fails leaves there is no reference
  references += isServed ? 1 : 0;
  return isServed ? S_OK : E_NOINTERFACE;
}

STDMETHODIMP TestStream::Read(void* data, ULONG wanted, ULONG* count) {
  FaultIfIn("Read");
  const ReadResult result = source.Read({static_cast<std::byte*>(data), wanted});
  const auto given = static_cast<ULONG>(result.count);
  // What a failing read says of its count is a lie.
  *count = result.error != 0 ? wanted : overstatesCount && given == wanted ? given + 1000 : given;
  return result.error != 0 ? STG_E_READFAULT : given < wanted ? endResult : S_OK;
}

STDMETHODIMP TestStream::Seek(LARGE_INTEGER distance, DWORD origin, ULARGE_INTEGER* reached) {
  FaultIfIn("Seek");
  constexpr SeekOrigin kOrigins[] = {SeekOrigin::kBegin, SeekOrigin::kCurrent, SeekOrigin::kEnd};
  const auto position = source.Seek(distance.QuadPart, kOrigins[origin]);
  reached->QuadPart = position.value_or(0);
  return position ? S_OK : STG_E_INVALIDFUNCTION;
}

STDMETHODIMP TestStream::Stat(STATSTG* status, DWORD flags) {
  FaultIfIn("Stat");
  *status = {};
  status->cbSize.QuadPart = source.Status().size;
  if (hasName && flags == STATFLAG_DEFAULT) {
    SHStrDupW(name_.c_str(), &status->pwcsName);
  }
  return failsStat ? STG_E_ACCESSDENIED : S_OK;
}

std::string Content(const std::filesystem::path& path, std::ios::openmode mode) {
  std::ifstream file(path, mode);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Format(const char* format, ...) {
  std::array<char, 1000> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  return text.data();
}

std::string Shortened(const std::string& text) {
  return text.size() < 70 ? text : text.substr(0, 40) + "... (" + std::to_string(text.size()) + ")";
}

void ExpectFile(const std::string& name, const std::string& seen) {
  // Elsewhere than where they were built, the tests are told where the texts are.
  const char* elsewhere = std::getenv("TAGSMITH_EXPECTED");
  const std::string expected =
      Content((elsewhere != nullptr ? elsewhere : TAGSMITH_EXPECTED) + name);
  EXPECT_EQ(seen, expected) << name;
  if (seen != expected) {
    std::ofstream(std::filesystem::path(ProgramFolder()) / ("seen-" + name), std::ios::binary)
        << seen;
  }
}

}  // namespace tagsmith::test

int main(int argc, char** argv) {
  if (argc == 4 && argv[1] == std::string("--child")) {
    return tagsmith::test::RunChild(argv[2], argv[3]);
  }
  if (argc == 3 && argv[1] == std::string("--write")) {
    return tagsmith::test::WriteAsChild(argv[2]);
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
