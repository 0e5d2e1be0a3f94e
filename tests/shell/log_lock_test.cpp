// The log under threads and processes.
#include "diag/log_lock.h"

#include <process.h>

#include <chrono>
#include <fstream>
#include <latch>
#include <map>
#include <regex>
#include <thread>

#include "diag/fault_guard.h"
#include "diag/log_stream.h"
#include "tests/shell/shell_environment.h"

namespace tagsmith::test {
namespace {

constexpr int kThreads = 8;
constexpr int kLines = 625;  // of each thread in each of two processes

class LogLock : public ::testing::Test {
 public:
  explicit LogLock(const char* path = nullptr) {
    ConfigureLog(kLogWarning, OpenLogStream(path != nullptr ? path : file.Path()), nullptr, false,
                 LogLetters::kNone);
    InstallLogLock();
  }
  ~LogLock() override {
    SetLogLineCallback(nullptr);
    CloseLog();
    RemoveLogLock();
  }
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;

  void TestBody() override {}

 protected:
  TemporaryFile file{"shared.log", ""};
};

/// Writes lines from all threads, pruning in between.
void WriteLines(const char* path, const char* process) {
  std::vector<std::jthread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([=] {
      for (int line = 0; line < kLines; ++line) {
        if (line % 50 == 0) {
          PruneLogFile(path, 20'000);
        }
        while (WriteLogLine(kLogError, "line %s %d %d", process, thread, line) < 0) {
          // Refused, as a busy machine may make it: not written.
        }
      }
    });
  }
}

}  // namespace

int WriteAsChild(const char* path) {
  const LogLock log(path);
  WriteLines(path, "child");
  return 0;
}

namespace {

TEST_F(LogLock, EveryLineOfThreadsAndProcessesArrivesOnce) {
  const std::intptr_t child =
      _spawnl(_P_NOWAIT, __argv[0], "shell_test", "--write", file.Path(), nullptr);
  WriteLines(file.Path(), "parent");
  int code = -1;
  EXPECT_EQ(_cwait(&code, child, 0), child);
  EXPECT_EQ(code, 0);

  std::map<std::string, int> counts;
  const auto folder = std::filesystem::path(file.Path()).parent_path();
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    ++files;
    std::ifstream lines(entry.path());
    for (std::string line; std::getline(lines, line);) {
      const bool isNotice = line.find(": Pruning log file (old log is now ") == 19;
      counts[isNotice ? "notice" : line.substr(std::min<std::size_t>(line.size(), 19))]++;
    }
  }
  EXPECT_GT(files, 1);
  counts.erase("notice");
  for (const char* writer : {"parent", "child"}) {
    for (int i = 0; i < kThreads * kLines; ++i) {
      const std::string line = std::string(": line ") + writer + " " + std::to_string(i / kLines) +
                               " " + std::to_string(i % kLines);
      ASSERT_EQ(counts[line], 1) << line;
    }
  }
  EXPECT_EQ(counts.size(), std::size_t{2} * kThreads * kLines);
}

TEST_F(LogLock, IsNotKeptByAFaultInALine) {
  const auto writeElsewhere = [] {
    std::int32_t result = 0;
    std::jthread([&] { result = WriteLogLine(kLogError, "elsewhere"); }).join();
    return result;
  };
  const char* volatile nowhere = reinterpret_cast<const char*>(0x10);
  EXPECT_EQ(Guarded("The line failed", 7, [&] { return WriteLogLine(kLogError, "%s", nowhere); }),
            7);
  EXPECT_GE(writeElsewhere(), 0);
  EXPECT_EQ(
      Guarded("", 7,
              [&] {
                RunContained(
                    [](void* text) { WriteLogLine(kLogError, "%s", static_cast<char*>(text)); },
                    const_cast<char*>(nowhere));
                WriteLogLine(kLogError, "next");
                return writeElsewhere() >= 0 ? 1 : 0;
              }),
      1);
}

std::latch* isInLine = nullptr;
std::latch* mayGoOn = nullptr;

TEST_F(LogLock, IsNotWaitedForLongerThanASecond) {
  using Clock = std::chrono::steady_clock;
  std::latch entered(1);
  std::latch released(1);
  isInLine = &entered;
  mayGoOn = &released;
  SetLogLineCallback([](int, const char*) {
    SetLogLineCallback(nullptr);
    EXPECT_GE(WriteLogLine(kLogError, "within"), 0);
    isInLine->count_down();
    mayGoOn->wait();
  });
  std::jthread slow([] { WriteLogLine(kLogError, "slow"); });
  entered.wait();
  const auto start = Clock::now();
  EXPECT_EQ(WriteLogLine(kLogError, "dropped"), -1);
  const auto first = Clock::now() - start;
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(WriteLogLine(kLogError, "dropped"), -1);
  }
  EXPECT_GE(first, std::chrono::milliseconds(900));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
  released.count_down();
  slow.join();
  EXPECT_GE(WriteLogLine(kLogError, "written"), 0);
}

TEST_F(LogLock, LimitsTheLinesOfARequest) {
  int written = 0;
  const auto write = [&](int lines) {
    for (int i = 0; i < lines; ++i) {
      written += WriteLogLine(kLogError, "line") >= 0 ? 1 : 0;
    }
  };
  {
    const LogRequest request;
    {
      const LogRequest inner;
      write(700);
    }
    write(700);
    EXPECT_EQ(written, 1000);
    const UnlimitedLog unlimited;
    write(10);
    std::jthread([&] { write(10); }).join();
  }
  EXPECT_EQ(written, 1020);
  EXPECT_NE(std::string(LastLogLine()).find(": 400 further log lines of this request were dropped"),
            std::string::npos);
  write(2000);
  EXPECT_EQ(written, 3020);
}

}  // namespace
}  // namespace tagsmith::test
