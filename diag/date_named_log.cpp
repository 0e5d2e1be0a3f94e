#include "diag/date_named_log.h"

#include <array>

#include "diag/clock.h"
#include "diag/log_file.h"
#include "format/bounded.h"

namespace tagsmith {
namespace {

struct DateName {
  std::array<char, 260> directory{};
  std::array<char, 12> prefix{};
  std::tm day{};
};
DateName openFile;

void RenewAfterMidnight(const std::tm& now, const LogLook& look) {
  if (now.tm_year > openFile.day.tm_year || now.tm_yday > openFile.day.tm_yday) {
    const DateName before = openFile;
    CloseLog();
    OpenDateNamedLog(look.maximumLevel, before.directory.data(), before.prefix.data(), nullptr,
                     look.milliseconds, look.letters, 0);
  }
}

}  // namespace

std::FILE* OpenDateNamedLog(std::int32_t maximumLevel, const char* directory,
                            const char* namePrefix, const char* locationName, bool milliseconds,
                            LogLetters letters, std::int32_t locationNumber) {
  const std::size_t length = CopyBounded(openFile.directory, directory != nullptr ? directory : "");
  CopyBounded(openFile.prefix, namePrefix != nullptr ? namePrefix : "");
  openFile.day = LocalTimeNow();

  const std::tm& day = openFile.day;
  const int year = day.tm_year >= 101 ? day.tm_year - 100 : day.tm_year;
  const bool needsSlash = length != 0 && openFile.directory[length - 1] != '\\' &&
                          openFile.directory[length - 1] != '/';
  std::array<char, 301> path{};
  FormatBounded(path, "%s%s%s%02d%02d%02d.log", openFile.directory.data(), needsSlash ? "/" : "",
                openFile.prefix.data(), year, day.tm_mon + 1, day.tm_mday);
  std::FILE* stream = std::fopen(path.data(), "a+");
  UseLogFile({maximumLevel, milliseconds, letters}, stream, locationName, locationNumber,
             RenewAfterMidnight);
  return stream;
}

}  // namespace tagsmith
