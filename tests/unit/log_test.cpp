#include "diag/log.h"

#include <fstream>
#include <iomanip>
#include <map>
#include <regex>
#include <sstream>

#include "diag/clock.h"
#include "diag/date_named_log.h"
#include "diag/log_file.h"
#include "diag/log_stream.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

constexpr const char* kStamp = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)";

std::string Now(const char* format) {
  const std::tm now = LocalTimeNow();
  std::ostringstream text;
  text << std::put_time(&now, format);
  return text.str();
}

class Log : public ::testing::Test {
 protected:
  Log() { Configure(LogLetters::kNone); }
  ~Log() override {
    CloseLog();
    SetLogEcho(0);
    SetLogLineCallback(nullptr);
    SetLogHooks({});
  }
  void Configure(LogLetters letters, const char* location = nullptr, bool milliseconds = false) {
    CloseLog();
    stream = std::fopen(file.Path(), "w");
    ConfigureLog(2, stream, location, milliseconds, letters);
  }
  /// The content of each file of the folder, by name; the log is closed.
  std::map<std::string, std::string> Files() {
    CloseLog();
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      std::ostringstream content;
      content << std::ifstream(entry.path()).rdbuf();
      files[entry.path().filename().string()] = content.str();
    }
    return files;
  }
  std::string Written() { return Files()["tsmithsx.log"]; }
  std::filesystem::path Folder() { return std::filesystem::path(file.Path()).parent_path(); }

  TemporaryFile file{"tsmithsx.log", ""};
  std::FILE* stream = nullptr;
};

TEST_F(Log, WritesPrefixMessageAndLineEnd) {
  struct Case {
    LogLetters letters;
    const char* location;
    bool milliseconds;
    std::int32_t level;
    std::string expected;  // after the time stamp
  };
  const std::string longName(100, 'n');
  const Case cases[] = {
      {LogLetters::kNone, nullptr, false, 1, ": text\n"},
      {LogLetters::kErrors, nullptr, false, 1, R"( \[E\]: text\n)"},
      {LogLetters::kErrors, "", false, 2, ": text\n"},
      {LogLetters::kErrorsAndWarnings, nullptr, false, 1, R"( \[E\]: text\n)"},
      {LogLetters::kErrorsAndWarnings, nullptr, false, 2, R"( \[W\]: text\n)"},
      {LogLetters::kErrorsAndWarnings, nullptr, false, 0, ": text\n"},
      {LogLetters::kAll, nullptr, true, 0, R"(\.\d{3} \[X\]: text\n)"},
      {LogLetters::kAll, nullptr, false, -1, ": text\n"},
      {LogLetters::kAll, "place", false, 2, R"( \[W\] \[place\] text\n)"},
      {LogLetters::kNone, longName.c_str(), false, 1, R"( \[n{64}\] text\n)"},
  };
  for (const Case& c : cases) {
    Configure(c.letters, c.location, c.milliseconds);
    const std::string before = Now("%Y-%m-%d %H:%M:%S");
    EXPECT_GE(WriteLogLine(c.level, "%s", "text"), 0);
    const std::string lastLine = LastLogLine();
    EXPECT_TRUE(std::regex_match(lastLine, std::regex(kStamp + c.expected))) << lastLine;
    EXPECT_LE(before, lastLine.substr(0, 19));
    EXPECT_LE(lastLine.substr(0, 19), Now("%Y-%m-%d %H:%M:%S"));
    EXPECT_GE(std::filesystem::file_size(file.Path()), lastLine.size());  // not kept back
    EXPECT_EQ(Written(), lastLine);
  }
  // Levels beyond the letters.
  ConfigureLog(9, std::fopen(file.Path(), "w"), nullptr, false, LogLetters::kAll);
  WriteLogLine(6, "debug");
  EXPECT_EQ(LastLogLine() + 19, " [D]: debug\n"s);
  WriteLogLine(7, "deeper");
  EXPECT_EQ(LastLogLine() + 19, ": deeper\n"s);
}

TEST_F(Log, KeepsLineEndsAndCutsLongMessages) {
  WriteLogLine(0, "%s", "\n# header");
  WriteLogLine(0, "\n# header %d", 1);
  EXPECT_STREQ(LastLogLine(), "\n# header 1\n");
  WriteLogLine(0, "\n");
  WriteLogLine(0, "#%c", '\r');
  WriteLogLine(0, "#%s%c%s", "zero", '\0', "unseen");
  WriteLogLine(0, "%s", "");
  EXPECT_EQ(WriteLogLine(3, "above the maximum level"), 0);
  const std::string pattern =
      kStamp + R"(: \n# header\n\n# header 1\n\n#\r?#zero\n)"s + kStamp + R"(: \n)";
  const std::string written = Written();
  EXPECT_TRUE(std::regex_match(written, std::regex(pattern))) << written;

  Configure(LogLetters::kNone);
  WriteLogLine(1, "%s", std::string(5000, 'x').c_str());
  EXPECT_EQ(LastLogLine() + 19, ": " + std::string(1023 - 21, 'x'));
  EXPECT_EQ(Written().substr(19), ": " + std::string(1024, 'x') + "\n");
}

TEST_F(Log, CallsBackAndHooks) {
  static Lines called;
  SetLogLineCallback(
      [](int zero, const char* line) { called.push_back(std::to_string(zero) + (line + 19)); });
  WriteLogLine(1, "one");
  WriteLogLine(3, "not written");
  EXPECT_EQ(called, Lines{"0: one\n"});

  static int locks;
  static int unlocks;
  SetLogHooks({[] { return ++locks == 1; }, [] { ++unlocks; }});
  EXPECT_GE(WriteLogLine(1, "two"), 0);
  EXPECT_EQ(WriteLogLine(1, "dropped"), -1);
  EXPECT_EQ(WriteLogLine(3, "above the maximum"), 0);
  EXPECT_EQ(locks, 2);
  EXPECT_EQ(unlocks, 1);
  EXPECT_EQ(Written().find("dropped"), std::string::npos);
}

TEST_F(Log, EchoesOnlyWithAFile) {
  ::testing::internal::CaptureStdout();
  WriteLogLine(1, "no echo");
  SetLogEcho(1);
  WriteLogLine(1, "echo");
  CloseLog();
  ::testing::internal::CaptureStderr();
  WriteLogLine(1, "no file");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "echo\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr().substr(19), ": no file\n");
}

TEST_F(Log, PrunesWhenLargerThanTheLimit) {
  const std::string path = file.Path();
  const std::string old = "#" + std::string(98, '-') + "\n";
  WriteLogLine(0, "#%s", old.substr(1).c_str());
  const auto size = static_cast<std::int32_t>(std::filesystem::file_size(path));
  PruneLogFile(path.c_str(), size);
  WriteLogLine(3, "still not written");
  const std::string before = Now("%Y%m%d%H%M");
  SetLogEcho(1);
  PruneLogFile(path.c_str(), size - 1);
  const std::string after = Now("%Y%m%d%H%M");
  ::testing::internal::CaptureStdout();
  WriteLogLine(3, "written now");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");  // pruning ends the echo
  PruneLogFile(path.c_str(), 10);  // within the minute there is no other name
  WriteLogLine(1, "goes on");
  const auto files = Files();
  ASSERT_LE(files.size(), 3U);
  const std::string name =
      "tsmithsx-" + (files.contains("tsmithsx-" + before + ".log") ? before : after) + ".log";
  ASSERT_TRUE(files.contains(name));
  EXPECT_EQ(files.at(name), old);
  if (before != after || files.size() != 2) {
    GTEST_SKIP() << "the minute changed";
  }
  const std::string notice = kStamp + ": Pruning log file \\(old log is now .*"s + name + "\\)\n";
  EXPECT_TRUE(std::regex_match(
      files.at("tsmithsx.log"),
      std::regex(notice + kStamp + ": written now\n" + notice + kStamp + ": goes on\n")))
      << files.at("tsmithsx.log");
}

TEST_F(Log, ClosesTheFile) {
  std::fputs("kept back", stream);
  EXPECT_EQ(Written(), "kept back");
}

TEST_F(Log, FollowsTheFileThatAnotherProcessPruned) {
  CloseLog();
  ConfigureLog(2, OpenLogStream(file.Path()), nullptr, false, LogLetters::kNone);
  WriteLogLine(1, "line");
  const std::filesystem::path other = Folder() / "other.log";
  std::filesystem::rename(file.Path(), other);
  PruneLogFile(file.Path(), 1);
  WriteLogLine(1, "followed");
  const auto files = Files();
  EXPECT_EQ(files.size(), 2U);
  EXPECT_TRUE(std::regex_match(files.at("tsmithsx.log"), std::regex(kStamp + ": followed\n"s)));
}

TEST_F(Log, OpensDateNamedFiles) {
  struct Case {
    const char* slash;
    const char* name;
    std::int32_t number;
    std::string expected;
  };
  for (const Case& c :
       {Case{"", nullptr, 0, ": line\n"}, Case{"/", nullptr, -7, " [-7] line\n"},
        Case{"", "place", 1, " [place][1] line\n"}, Case{"", "place", -1, " [place] line\n"}}) {
    CloseLog();
    const std::string folder = Folder().string() + c.slash;
    OpenDateNamedLog(2, folder.c_str(), "dayprefix0012", c.name, false, LogLetters::kNone,
                     c.number);
    WriteLogLine(1, "line");
    const std::string name = "dayprefix00" + Now("%y%m%d") + ".log";
    EXPECT_EQ(Files()[name].substr(19), c.expected);
    std::filesystem::remove(Folder() / name);
  }
  static int days;
  UseLogFile({2, false, LogLetters::kNone}, std::fopen(file.Path(), "a"), nullptr, 0,
             [](const std::tm& /*now*/, const LogLook& /*look*/) { ++days; });
  WriteLogLine(1, "asks what day it is");
  CloseLog();
  ::testing::internal::CaptureStderr();
  WriteLogLine(1, "does not ask");
  EXPECT_EQ(::testing::internal::GetCapturedStderr().substr(19), ": does not ask\n");
  EXPECT_EQ(days, 1);
}

}  // namespace
}  // namespace tagsmith::test
