// The log in a file that is named after the day.
#pragma once

#include <cstdint>
#include <cstdio>

#include "diag/log.h"

namespace tagsmith {

/// Opens DIRECTORY/PREFIXyymmdd.log for appending and takes it as the log file; a new file is
/// begun when the day changes. Returns the stream, null when it cannot be opened (lines then go to
/// standard error). At most 259 characters of the directory and 11 of the prefix are used; both may
/// be null. The two-digit year is 100 for 2000 and 18 for 2018.
std::FILE* OpenDateNamedLog(std::int32_t maximumLevel, const char* directory,
                            const char* namePrefix, const char* locationName, bool milliseconds,
                            LogLetters letters, std::int32_t locationNumber);

}  // namespace tagsmith
