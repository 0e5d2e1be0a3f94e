// Each way for a process to end, in a child process of its own; what is left in log and dumps.
#include "diag/crash_reports.h"

#include <dbghelp.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "diag/fault_guard.h"
#include "diag/log.h"
#include "diag/minidump.h"
#include "format/bounded.h"
#include "platform/system_library.h"
#include "tests/unit/test_support.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

constexpr std::uint32_t kModuleThreadFlags = kTranslator | kTerminateHandler | kUnexpectedHandler;

// ---- In the child -----------------------------------------------------------------------------

volatile int zero = 0;
int* volatile nowhere = reinterpret_cast<int*>(0x10);

int Guard(void (*fault)()) {
  return Guarded("The guarded method failed", 7, [&] {
    fault();
    return 0;
  });
}

void Read() { zero = *nowhere; }
void Write() { *nowhere = 1; }
void Divide() { zero = 100 / zero; }

struct ChildCase {
  const char* name;
  std::uint32_t threadFlags;
  DWORD exitCode;
  Lines log;  // regular expressions, in order
  int dumps;
  int (*run)();  // its result is the exit code
};

Lines Report(const std::string& kind, const std::string& code) {
  return {R"(\*\* )" + kind + " code: " + code,
          R"(The exception happened on \w{3} \w{3} \d\d/\d{4} at \d\d:\d\d\.)",
          "Exception process ID:[0-9A-F]{4,8} thread ID:[0-9A-F]{4,8}"};
}

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Lines Address() { return {R"(Address: [0-9a-f]{8} '.*crash_reports_test\.exe')"}; }
Lines AnyAddress() { return {R"(Address: [0-9a-f]{8} '.*')"}; }
Lines Saved() {
  return {R"(Saved a dump file to '.*\\e00_\d{10}\.dmp')",
          R"(Please send this file to Corvane \(support@corvane\.example\).*)"};
}
Lines Faulting(const std::string& how) { return {"Faulting address: 00000010 \\(" + how + "\\)"}; }

const std::vector<ChildCase>& Cases() {
  static const std::vector<ChildCase> cases = {
      {"read", kModuleThreadFlags, 0xC0000005,
       Report("Unhandled exception", "C0000005") + Faulting("reading") + Address() + Saved(), 1,
       [] {
         Read();
         return 0;
       }},
      {"write", kModuleThreadFlags, 0xC0000005,
       Report("Unhandled exception", "C0000005") + Faulting("writing") + Address() + Saved(), 1,
       [] {
         Write();
         return 0;
       }},
      {"divide", kModuleThreadFlags, 0xC0000094,
       Report("Unhandled exception", "C0000094") + Address() + Saved(), 1,
       [] {
         Divide();
         return 0;
       }},
      {"illegal", kModuleThreadFlags, 0xC000001D,
       Report("Unhandled exception", "C000001D") + Address() + Saved(), 1,
       []() -> int { __builtin_trap(); }},
      {"abort", kModuleThreadFlags, 1, Report("SIGABRT", "00000016") + AnyAddress(), 0,
       []() -> int { std::abort(); }},
      {"interrupt", kModuleThreadFlags, 1, Report("SIGINT", "00000002") + AnyAddress(), 0,
       [] { return std::raise(SIGINT); }},
      {"terminate signal", kModuleThreadFlags, 1, Report("SIGTERM", "0000000F") + AnyAddress(), 0,
       [] { return std::raise(SIGTERM); }},
      {"illegal signal", kAllHandlers, 1, Report("SIGILL", "00000004") + AnyAddress(), 0,
       [] { return std::raise(SIGILL); }},
      {"floating-point signal", kAllHandlers, 1, Report("SIGFPE", "00000008") + AnyAddress(), 0,
       [] { return std::raise(SIGFPE); }},
      {"segment signal", kAllHandlers, 1,
       Report("SIGSEGV", "0000000B") + AnyAddress() +
           Lines{"Error: No exception data to create dump"},
       0, [] { return std::raise(SIGSEGV); }},
      {"terminate", kModuleThreadFlags, 1, Report("Terminate", "00000000") + AnyAddress(), 0,
       []() -> int { std::terminate(); }},
      {"throw", kModuleThreadFlags, 1, Report("Terminate", "00000000") + AnyAddress(), 0,
       []() -> int { throw std::runtime_error("uncaught"); }},
      {"invalid parameter",
       kModuleThreadFlags,
       5,
       {"IPH ignored"},
       0,
       [] {
         const auto handler = _set_invalid_parameter_handler(nullptr);
         handler(nullptr, nullptr, nullptr, 0, 0);
         return 5;
       }},
      {"guarded fault", kModuleThreadFlags, 7,
       Report("Handled exception", "C0000005") + Faulting("reading") + Address() + Saved() +
           Lines{"The guarded method failed"},
       1, [] { return Guard(Read); }},
      {"guarded fault elsewhere",
       kModuleThreadFlags,
       7,
       {"The guarded method failed"},
       0,
       [] {
         int result = 0;
         std::thread([&] { result = Guard(Divide); }).join();
         return result;
       }},
      {"guarded throw",
       kModuleThreadFlags,
       7,
       {"The guarded method failed"},
       0,
       [] { return Guard([] { throw 1; }); }},
      {"no translator",
       kTerminateHandler,
       7,
       {"The guarded method failed"},
       0,
       [] { return Guard(Read); }},
      {"thread functions", kModuleThreadFlags, 1,
       Report("Terminate", "00000000") + Lines{"EFC: [0-9A-F]{4,8}:0012", "LFC: 0007:0034"} +
           AnyAddress(),
       0,
       []() -> int {
         RecordThreadFunction(GetCurrentThreadId(), 0x11);
         RecordThreadFunction(GetCurrentThreadId(), 0x12);
         RecordThreadFunction(7, 0x34);
         std::terminate();
       }},
      {"removed elsewhere", kModuleThreadFlags, 7,
       Lines{"Trying to remove exception handlers for a different thread"} +
           Report("Handled exception", "C0000005") + Faulting("writing") + Address() + Saved() +
           Lines{"The guarded method failed"},
       1,
       [] {
         std::thread([] { RemoveThreadHandlers(); }).join();
         return Guard(Write);
       }},
      {"removed",
       kAllHandlers,
       7,
       {"The guarded method failed"},
       0,
       [] {
         RemoveThreadHandlers();
         return Guard(Write);
       }},
      {"all names taken", kModuleThreadFlags, 7,
       Report("Handled exception", "C0000005") + Faulting("reading") + Address() +
           Lines{"Failed to generate a unique file name for mini dump",
                 "The guarded method failed"},
       200,
       [] {
         std::array<wchar_t, MAX_PATH> folder{};
         GetTempPathW(MAX_PATH, folder.data());
         std::array<wchar_t, 400> path{};
         const wchar_t* name = MakeUniqueFileName(folder.data(), path, L"e", L".dmp", nullptr);
         const std::size_t counter = static_cast<std::size_t>(name - path.data()) + 1;
         const std::size_t lastDigit = std::wstring_view(path.data()).size() - 5;
         // Two minutes' names, in case one ends in between.
         for (int minute = 0; minute < 2; ++minute) {
           for (int i = 0; i < 100; ++i) {
             path[counter] = static_cast<wchar_t>(L'0' + i / 10);
             path[counter + 1] = static_cast<wchar_t>(L'0' + i % 10);
             std::ofstream(std::filesystem::path(path.data())) << "taken";
           }
           path[lastDigit] =
               path[lastDigit] == L'9' ? L'0' : static_cast<wchar_t>(path[lastDigit] + 1);
         }
         return Guard(Read);
       }},
  };
  return cases;
}

int RunChild(const std::string& name, const char* log) {
  ConfigureLog(kLogWarning, std::fopen(log, "a+"), nullptr, false, LogLetters::kNone);
  for (const ChildCase& c : Cases()) {
    if (c.name == name) {
      InstallProcessHandlers(0);
      InstallThreadHandlers(c.threadFlags);
      return c.run();
    }
  }
  return 99;
}

// ---- In the parent ----------------------------------------------------------------------------

struct Outcome {
  DWORD exitCode = 0;
  Lines log;
  std::vector<std::filesystem::path> dumps;
};

Outcome Start(const std::string& name, const std::filesystem::path& folder) {
  const std::filesystem::path log = folder / "child.log";
  std::array<wchar_t, MAX_PATH> temporaryFolder{};
  GetTempPathW(MAX_PATH, temporaryFolder.data());
  SetEnvironmentVariableW(L"TMP", folder.c_str());
  std::array<wchar_t, 400> program{};
  GetModuleFileNameW(nullptr, program.data(), 399);
  std::wstring command = L"\"" + std::wstring(program.data()) + L"\" --child \"" + WidenUtf8(name) +
                         L"\" \"" + log.wstring() + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  EXPECT_NE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                           &startup, &process),
            FALSE);
  SetEnvironmentVariableW(L"TMP", temporaryFolder.data());
  Outcome outcome;
  WaitForSingleObject(process.hProcess, 100'000);
  GetExitCodeProcess(process.hProcess, &outcome.exitCode);
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  std::ifstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    outcome.log.push_back(line.substr(std::min<std::size_t>(line.size(), 21)));
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".dmp") {
      outcome.dumps.push_back(entry.path());
    }
  }
  return outcome;
}

/// The exception that a minidump holds; a code of 0: none.
MINIDUMP_EXCEPTION ExceptionIn(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string dump((std::istreambuf_iterator<char>(file)), {});
  using Reader = BOOL(WINAPI*)(PVOID, ULONG, PMINIDUMP_DIRECTORY*, PVOID*, ULONG*);
  const auto read = FindFunction<Reader>(LoadLibraryW(L"dbghelp.dll"), "MiniDumpReadDumpStream");
  MINIDUMP_DIRECTORY* directory = nullptr;
  void* stream = nullptr;
  ULONG size = 0;
  if (!dump.starts_with("MDMP") ||
      read(dump.data(), ExceptionStream, &directory, &stream, &size) == FALSE) {
    return {};
  }
  return static_cast<const MINIDUMP_EXCEPTION_STREAM*>(stream)->ExceptionRecord;
}

TEST(CrashReports, OfEveryEnding) {
  for (const ChildCase& c : Cases()) {
    SCOPED_TRACE(c.name);
    const TemporaryFile file("unused", "");
    const Outcome outcome = Start(c.name, std::filesystem::path(file.Path()).parent_path());
    EXPECT_EQ(outcome.exitCode, c.exitCode);
    EXPECT_EQ(outcome.log.size(), c.log.size()) << ::testing::PrintToString(outcome.log);
    if (outcome.log.size() != c.log.size()) {
      continue;
    }
    std::string code;
    std::string address;
    for (std::size_t i = 0; i < c.log.size(); ++i) {
      const std::string& line = outcome.log[i];
      EXPECT_TRUE(std::regex_match(line, std::regex(c.log[i]))) << line << "\n" << c.log[i];
      if (line.starts_with("** ")) {
        code = line.substr(line.size() - 8);
      } else if (line.starts_with("Address: ")) {
        address = line.substr(9, 8);
      }
    }
    if (c.dumps == 1 && outcome.dumps.size() == 1) {
      const MINIDUMP_EXCEPTION exception = ExceptionIn(outcome.dumps[0]);
      std::array<char, 20> shown{};
      FormatBounded(shown, "%08X %08x", static_cast<unsigned>(exception.ExceptionCode),
                    static_cast<unsigned>(exception.ExceptionAddress));
      EXPECT_EQ(std::string(shown.data()), code.append(" ").append(address));
    }
    EXPECT_EQ(outcome.dumps.size(), static_cast<std::size_t>(c.dumps));
  }
}

TEST(CrashReports, HandlersComeBack) {
  // With a filter before ours it comes back; without one ours stays.
  const auto first = [](EXCEPTION_POINTERS*) -> LONG { return 0; };
  const auto before = SetUnhandledExceptionFilter(first);
  const SignalHandler ownHandler = [](int) {};
  std::signal(SIGTERM, ownHandler);
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGILL, ownHandler);
  ProcessHandlers process;
  ThreadHandlers thread;
  InstallProcessHandlers(kAllHandlers, &process);
  InstallThreadHandlers(kAllHandlers, &thread);
  RemoveThreadHandlers(&thread);
  RemoveProcessHandlers(&process);
  EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), ownHandler);
  // What was saved of SIGILL went to SIGINT, whose own came back after it.
  EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_DFL);
  EXPECT_NE(std::signal(SIGILL, SIG_DFL), ownHandler);
  EXPECT_EQ(SetUnhandledExceptionFilter(nullptr), +first);

  InstallProcessHandlers(kUnhandledFilter, &process);
  RemoveProcessHandlers(&process);
  EXPECT_NE(SetUnhandledExceptionFilter(before), nullptr);
  EXPECT_EQ(process.processId, GetCurrentProcessId());
}

TEST(CrashReports, LoadingTheModuleLeavesNoHandlers) {
  const auto filter = SetUnhandledExceptionFilter(nullptr);
  SetUnhandledExceptionFilter(filter);
  ASSERT_NE(filter, nullptr);
  const auto invalid = _set_invalid_parameter_handler(nullptr);
  _set_invalid_parameter_handler(invalid);
  constexpr int kSignals[] = {SIGABRT, SIGINT, SIGTERM, SIGFPE, SIGILL, SIGSEGV};
  const auto handlers = [&] {
    std::vector<SignalHandler> current;
    for (const int signal : kSignals) {
      current.push_back(std::signal(signal, SIG_DFL));
      std::signal(signal, current.back());
    }
    return current;
  };
  const auto before = handlers();
  for (int i = 0; i < 100; ++i) {
    HMODULE module = LoadLibraryW((ProgramFolder() + L"tsshell.dll").c_str());
    ASSERT_NE(module, nullptr);
    EXPECT_NE(handlers(), before);
    FreeLibrary(module);
    ASSERT_EQ(GetModuleHandleW(L"tsshell.dll"), nullptr);
  }
  EXPECT_EQ(handlers(), before);
  EXPECT_EQ(SetUnhandledExceptionFilter(filter), filter);
  EXPECT_EQ(_set_invalid_parameter_handler(invalid), invalid);
}

TEST(Minidumps, FailuresAreLogged) {
  const LogWatch log;
  CONTEXT context{};
  EXCEPTION_RECORD record{};
  EXCEPTION_POINTERS exception{&record, &context};
  EXPECT_FALSE(WriteMinidump(L"Z:\\no\\such\\folder", &exception));
  const Lines lines = LogWatch::Messages();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(std::regex_match(
      lines[0],
      std::regex(
          R"(1 Failed to create the dump file 'Z:\\no\\such\\folder\\e00_\d{10}\.dmp' \(3\))")))
      << lines[0];
}

TEST(UniqueFileNames, CarryTheModulesVersion) {
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

int main(int argc, char** argv) {
  if (argc == 4 && argv[1] == std::string("--child")) {
    return tagsmith::test::RunChild(argv[2], argv[3]);
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
