// Each way for a process to end, in a child process of its own; what is left in log and dumps.
#include "diag/crash_reports.h"

#include <dbghelp.h>

#include <process.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <thread>

#include "diag/fault_guard.h"
#include "diag/log.h"
#include "diag/minidump.h"
#include "platform/system_library.h"
#include "tests/shell/shell_environment.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

constexpr std::uint32_t kModuleThreadFlags = kTranslator | kTerminateHandler | kUnexpectedHandler;

// ---- In the child -----------------------------------------------------------------------------

volatile int zero = 0;
int* volatile wildPointer = reinterpret_cast<int*>(0x10);

int Guard(void (*fault)()) {
  return Guarded("The guarded method failed", 7, [&] {
    fault();
    return 0;
  });
}

void Read() { zero = *wildPointer; }
void Write() { *wildPointer = 1; }
void Divide() { zero = 100 / zero; }

/// Files under all names that a dump of this minute or of the next one may have; what is there
/// stays.
void TakeAllNames() {
  std::array<wchar_t, MAX_PATH> folder{};
  GetTempPathW(MAX_PATH, folder.data());
  for (const int minute : {0, 1}) {
    const std::time_t time = std::time(nullptr) + std::time_t{60} * minute;
    for (int i = 0; i < 100; ++i) {
      std::array<wchar_t, 40> name{};
      std::array<wchar_t, 20> digits{};
      std::wcsftime(digits.data(), digits.size(), L"%y%m%d%H%M", std::localtime(&time));
      std::swprintf(name.data(), name.size(), L"e%02d_%ls.dmp", i, digits.data());
      std::ofstream(std::filesystem::path(folder.data()) / name.data(), std::ios::app) << "taken";
    }
  }
}

struct Child {
  const char* name;
  std::uint32_t threadFlags;
  bool dumps;    // else there is no folder for temporary files
  int (*run)();  // its result is the exit code
};
constexpr Child kChildren[] = {
    {"reads wildly", kModuleThreadFlags, true, [] { return Read(), 0; }},
    {"writes wildly", kModuleThreadFlags, false, [] { return Write(), 0; }},
    {"divides by zero", kModuleThreadFlags, false, [] { return Divide(), 0; }},
    {"aborts", kModuleThreadFlags, false, []() -> int { std::abort(); }},
    {"is interrupted", kModuleThreadFlags, false, [] { return std::raise(SIGINT); }},
    {"is terminated", kModuleThreadFlags, false, [] { return std::raise(SIGTERM); }},
    {"raises SIGILL", kAllHandlers, false, [] { return std::raise(SIGILL); }},
    {"raises SIGFPE", kAllHandlers, false, [] { return std::raise(SIGFPE); }},
    {"raises SIGSEGV", kAllHandlers, false, [] { return std::raise(SIGSEGV); }},
    {"throws", kModuleThreadFlags, false, []() -> int { throw std::runtime_error("uncaught"); }},
    {"terminates in known functions", kModuleThreadFlags, false,
     []() -> int {
       RecordThreadFunction(GetCurrentThreadId(), 0x11);
       RecordThreadFunction(GetCurrentThreadId(), 0x12);
       RecordThreadFunction(7, 0x34);
       std::terminate();
     }},
    {"contains what its guard meets", kModuleThreadFlags, true,
     [] {
       const auto handler = _set_invalid_parameter_handler(nullptr);
       handler(nullptr, nullptr, nullptr, 0, 0);
       int sum = Guard(Read) + Guard([] { throw 1; });
       sum += Guard(Read);  // reported, but not dumped again
       sum += Guard([] { RaiseException(0xE06D7363, 0, 0, nullptr); });
       std::thread([&] {
         sum += Guard(Divide);  // on this thread faults are not reported
         RemoveThreadHandlers();
       }).join();
       TakeAllNames();
       sum += Guard(Write);
       RemoveThreadHandlers();
       return sum + Guard(Write);
     }},
};

}  // namespace

int RunChild(const std::string& name, const char* log) {
  ConfigureLog(kLogWarning, std::fopen(log, "a+"), nullptr, false, LogLetters::kNone);
  for (const Child& child : kChildren) {
    if (child.name == name) {
      InstallProcessHandlers(0);
      InstallThreadHandlers(child.threadFlags);
      return child.run();
    }
  }
  return 99;
}

namespace {

// ---- In the parent ----------------------------------------------------------------------------

/// A child that runs.
struct Process {
  explicit Process(const Child& child) {
    const NoTemporaryFolder none;
    if (child.dumps) {
      SetEnvironmentVariableW(L"TMP", folder.c_str());
    }
    const std::string name = "\"" + std::string(child.name) + "\"";
    id = _wspawnl(_P_NOWAIT, (ProgramFolder() + L"shell_test.exe").c_str(), L"shell_test",
                  L"--child", WidenUtf8(name).c_str(), (folder / "log").c_str(), nullptr);
  }

  TemporaryFile unused{"unused", ""};
  std::filesystem::path folder = std::filesystem::path(unused.Path()).parent_path();
  std::intptr_t id = -1;
};

/// Code and address of the exception that a minidump holds, as the log shows them.
std::string ExceptionIn(std::string dump) {
  using Reader = BOOL(WINAPI*)(PVOID, ULONG, PMINIDUMP_DIRECTORY*, PVOID*, ULONG*);
  const auto read = FindFunction<Reader>(LoadLibraryW(L"dbghelp.dll"), "MiniDumpReadDumpStream");
  MINIDUMP_DIRECTORY* directory = nullptr;
  void* stream = nullptr;
  ULONG size = 0;
  if (!dump.starts_with("MDMP") ||
      read(dump.data(), ExceptionStream, &directory, &stream, &size) == FALSE) {
    return "no exception";
  }
  const auto& record = static_cast<const MINIDUMP_EXCEPTION_STREAM*>(stream)->ExceptionRecord;
  return Format("%08X %08x", static_cast<unsigned>(record.ExceptionCode),
                static_cast<unsigned>(record.ExceptionAddress));
}

TEST(CrashReports, OfEveryEnding) {
  std::vector<std::unique_ptr<Process>> processes;  // at the same time: a dump takes a second
  for (const Child& child : kChildren) {
    processes.push_back(std::make_unique<Process>(child));
  }
  // What differs from run to run.
  const std::pair<std::regex, const char*> variable[] = {
      {std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: )"), ""},
      {std::regex(R"(on \w{3} \w{3} \d\d/\d{4} at \d\d:\d\d\.)"), "on <date> at <time>."},
      {std::regex(R"(ID:[0-9A-F]{4,8})"), "ID:<id>"},
      {std::regex(R"(EFC: [0-9A-F]{4,8})"), "EFC: <id>"},
      {std::regex(R"((Address:) [0-9a-f]{8} '[^']*\\)"), "$1 <address> '<folder>\\"},
      {std::regex(R"('[^']*\\(e\d\d_)\d{10}\.dmp)"), "'<folder>\\$1<time>.dmp"},
  };
  std::string seen;
  for (std::size_t i = 0; i < processes.size(); ++i) {
    int code = -1;
    _cwait(&code, processes[i]->id, 0);
    const std::string log = Content(processes[i]->folder / "log");
    std::string shown = log;
    for (const auto& [pattern, replacement] : variable) {
      shown = std::regex_replace(shown, pattern, replacement);
    }
    seen += std::string(seen.empty() ? "" : "\n") + "== A process that " + kChildren[i].name +
            "\n" + shown + Format("exit code %08X\n", static_cast<unsigned>(code));
    // The dump that was saved holds the exception that was reported.
    std::smatch reported;
    std::smatch saved;
    std::regex_search(log, reported, std::regex(R"(code: (\w{8})[^*]*Address: (\w{8}))"));
    if (std::regex_search(log, saved, std::regex(R"(Saved a dump file to '.*(e00_.*dmp)')"))) {
      EXPECT_EQ(ExceptionIn(Content(processes[i]->folder / saved.str(1), std::ios::binary)),
                reported.str(1) + " " + reported.str(2));
    }
  }
  ExpectFile("crash-reports.txt", seen);
}

/// The handlers of signals, the filter and the invalid-parameter handler that are installed.
std::vector<void*> InstalledHandlers() {
  std::vector<void*> current;
  for (const int signal : {SIGABRT, SIGINT, SIGTERM, SIGFPE, SIGILL, SIGSEGV}) {
    const SignalHandler handler = std::signal(signal, SIG_DFL);
    std::signal(signal, handler);
    current.push_back(reinterpret_cast<void*>(handler));
  }
  const auto filter = SetUnhandledExceptionFilter(nullptr);
  SetUnhandledExceptionFilter(filter);
  const auto invalid = _set_invalid_parameter_handler(nullptr);
  _set_invalid_parameter_handler(invalid);
  current.insert(current.end(),
                 {reinterpret_cast<void*>(filter), reinterpret_cast<void*>(invalid)});
  return current;
}

TEST(CrashReports, HandlersComeBack) {
  const SignalHandler ownHandler = [](int) {};
  std::signal(SIGTERM, ownHandler);
  std::signal(SIGILL, ownHandler);
  ProcessHandlers process;
  ThreadHandlers thread;
  const std::vector<void*> before = InstalledHandlers();
  InstallProcessHandlers(kAllHandlers, &process);
  InstallThreadHandlers(kAllHandlers, &thread);
  std::vector<void*> expected = InstalledHandlers();
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_NE(before[i], expected[i]) << i;
  }
  RemoveThreadHandlers(&thread);
  RemoveProcessHandlers(&process);
  // What was saved of SIGILL went to SIGINT, whose own came back after it.
  const void* ours = std::exchange(expected[4], nullptr);
  std::vector<void*> after = InstalledHandlers();
  EXPECT_EQ(std::exchange(after[4], before[4]), ours);
  EXPECT_EQ(after, before);

  // Without a filter before it ours stays.
  const auto filter = SetUnhandledExceptionFilter(nullptr);
  InstallProcessHandlers(kUnhandledFilter, &process);
  RemoveProcessHandlers(&process);
  EXPECT_NE(SetUnhandledExceptionFilter(filter), nullptr);
}

TEST(CrashReports, LoadingTheModuleLeavesNoHandlers) {
  const std::vector<void*> before = InstalledHandlers();
  for (int i = 0; i < 5; ++i) {
    {
      const LoadedModule module;
      EXPECT_NE(InstalledHandlers(), before);
    }
    ASSERT_EQ(GetModuleHandleW(L"tsshell.dll"), nullptr);
    EXPECT_EQ(InstalledHandlers(), before);
  }
}

TEST(CrashReports, UniqueFileNamesCarryTheModulesVersion) {
  const TemporaryFile file("unused", "");
  const std::wstring folder = std::filesystem::path(file.Path()).parent_path().wstring();
  const std::wstring module = ProgramFolder() + L"tsshell.dll";
  for (const std::wstring& given : {folder, folder + L"\\"}) {
    std::array<wchar_t, 400> path{};
    const wchar_t* name = MakeUniqueFileName(given.c_str(), path, L"x", L".tmp", module.c_str());
    ASSERT_NE(name, nullptr);
    EXPECT_TRUE(std::regex_match(std::wstring(name), std::wregex(LR"(x00_\d{10}_126430\.tmp)")));
    EXPECT_EQ(std::wstring(path.data()), folder + L"\\" + name);
  }
}

}  // namespace
}  // namespace tagsmith::test
