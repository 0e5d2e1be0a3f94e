#include "diag/log.h"

#include <fstream>
#include <iomanip>
#include <regex>
#include <sstream>

#include "diag/clock.h"
#include "format/bounded.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

constexpr const char* kStamp = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)";

std::string ReadAll(const std::filesystem::path& path) {
  std::ostringstream content;
  content << std::ifstream(path).rdbuf();
  return content.str();
}

std::string TodayAndNow(const char* format) {
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
    ConfigureLog(2, std::fopen(file.Path(), "w"), location, milliseconds, letters);
  }
  std::string Written() {
    CloseLog();
    return ReadAll(file.Path());
  }
  std::filesystem::path Folder() { return std::filesystem::path(file.Path()).parent_path(); }

  TemporaryFile file{"tsmithsx.log", ""};
};

TEST_F(Log, WritesPrefixMessageAndLineEnd) {
  struct Case {
    LogLetters letters;
    const char* location;
    bool milliseconds;
    std::int32_t level;
    std::string expected;  // behind the time stamp
  };
  const std::string longName(100, 'n');
  const Case cases[] = {
      {LogLetters::kNone, nullptr, false, 1, ": text\n"},
      {LogLetters::kErrors, nullptr, false, 1, R"( \[E\]: text\n)"},
      {LogLetters::kErrors, "", false, 2, ": text\n"},
      {LogLetters::kErrorsAndWarnings, nullptr, false, 2, R"( \[W\]: text\n)"},
      {LogLetters::kErrorsAndWarnings, nullptr, false, 0, ": text\n"},
      {LogLetters::kAll, nullptr, true, 0, R"(\.\d{3} \[X\]: text\n)"},
      {LogLetters::kAll, "place", false, 2, R"( \[W\] \[place\] text\n)"},
      {LogLetters::kNone, longName.c_str(), false, 1, R"( \[n{64}\] text\n)"},
  };
  for (const Case& c : cases) {
    Configure(c.letters, c.location, c.milliseconds);
    EXPECT_GE(WriteLogLine(c.level, "%s", "text"), 0);
    const std::string lastLine = LastLogLine();
    const std::string written = Written();
    EXPECT_TRUE(std::regex_match(written, std::regex(kStamp + c.expected))) << written;
    EXPECT_EQ(written.substr(19), lastLine.substr(19));
  }
}

TEST_F(Log, KeepsLineEndsAndTakesUnstampedLines) {
  WriteLogLine(0, "%s", "\n# header");
  WriteLogLine(0, "\n# header %d", 1);
  EXPECT_STREQ(LastLogLine(), "\n# header 1\n");
  WriteLogLine(0, "#%c", '\r');
  WriteLogLine(0, "#%s%c%s", "zero", '\0', "unseen");
  WriteLogLine(0, "%s", "");
  WriteLogLine(3, "above the maximum level");
  const std::string pattern =
      kStamp + R"(: \n# header\n\n# header 1\n#\r?#zero\n)"s + kStamp + R"(: \n)";
  const std::string written = Written();
  EXPECT_TRUE(std::regex_match(written, std::regex(pattern))) << written;
}

TEST_F(Log, CutsLongMessages) {
  WriteLogLine(1, "%s", std::string(5000, 'x').c_str());
  EXPECT_EQ(std::string(LastLogLine()).size(), 1023U);
  EXPECT_EQ(Written().size(), 19U + 2 + 1024 + 1);
}

int callbackCalls;
std::string callbackLine;

TEST_F(Log, CallsBackAndHooks) {
  SetLogLineCallback([](int zero, const char* line) {
    callbackCalls += 1 + zero;
    callbackLine = line;
  });
  WriteLogLine(1, "one");
  WriteLogLine(3, "not written");
  EXPECT_EQ(callbackCalls, 1);
  EXPECT_EQ(callbackLine.substr(19), ": one\n");

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
  SetLogEcho(1);
  ::testing::internal::CaptureStdout();
  WriteLogLine(1, "echo");
  CloseLog();
  ::testing::internal::CaptureStderr();
  WriteLogLine(1, "no file");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "echo\n");
  EXPECT_NE(::testing::internal::GetCapturedStderr().find(": no file"), std::string::npos);
}

TEST_F(Log, PrunesWhenLargerThanTheLimit) {
  const std::string path = file.Path();
  WriteLogLine(0, "#%s", std::string(98, '-').c_str());
  PruneLogFile(path.c_str(), 120);
  WriteLogLine(3, "still not written");
  PruneLogFile(path.c_str(), static_cast<std::int32_t>(std::filesystem::file_size(path)));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Folder()), {}), 1);

  std::string before = TodayAndNow("%Y%m%d%H%M");
  PruneLogFile(path.c_str(), 99);
  if (before != TodayAndNow("%Y%m%d%H%M") &&
      !std::filesystem::exists(Folder() / ("tsmithsx-" + before + ".log"))) {
    before = TodayAndNow("%Y%m%d%H%M");
  }
  WriteLogLine(3, "written now");
  EXPECT_GE(std::filesystem::file_size(Folder() / ("tsmithsx-" + before + ".log")), 100U);
  const std::string written = Written();
  const std::string notice = path.substr(0, path.size() - 4) + "-" + before + ".log)\n";
  EXPECT_NE(written.find(": Pruning log file (old log is now " + notice), std::string::npos);
  EXPECT_NE(written.find(": written now\n"), std::string::npos);
}

TEST_F(Log, PruningTwiceInAMinuteKeepsBoth) {
  for (int i = 0; i < 2; ++i) {
    WriteLogLine(0, "#%s", std::string(200, static_cast<char>('a' + i)).c_str());
    PruneLogFile(file.Path(), 150);
  }
  std::string all;
  for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
    all += ReadAll(entry.path());
  }
  EXPECT_NE(all.find("aaaa"), std::string::npos);
  EXPECT_NE(all.find("bbbb"), std::string::npos);
}

TEST_F(Log, OpensDateNamedFiles) {
  const std::string folder = Folder().string();
  struct Case {
    std::string directory;
    const char* name;
    std::int32_t number;
    std::string expected;
  };
  const Case cases[] = {
      {folder, nullptr, 0, ": line\n"},
      {folder + "/", nullptr, 7, " [7] line\n"},
      {folder, "place", 7, " [place][7] line\n"},
      {folder, "place", -1, " [place] line\n"},
  };
  const std::filesystem::path path = Folder() / ("dayprefix00" + TodayAndNow("%y%m%d") + ".log");
  for (const Case& c : cases) {
    CloseLog();
    ASSERT_NE(OpenDateNamedLog(2, c.directory.c_str(), "dayprefix0012", c.name, false,
                               LogLetters::kNone, c.number),
              nullptr);
    WriteLogLine(1, "line");
    CloseLog();
    EXPECT_EQ(ReadAll(path).substr(19), c.expected);
    std::filesystem::remove(path);
  }
}

}  // namespace
}  // namespace tagsmith::test
