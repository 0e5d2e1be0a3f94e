// How the reports of tsprobe write texts and results.
#pragma once

#include <windows.h>

#include <string>

namespace tagsmith {

/// A line of a report for people: a name and, in a column of its own, a value (both UTF-8).
std::string ReportLine(std::string name, const std::string& value);

/// "0x8000FFFF"
std::string HexResult(HRESULT result);

/// What the result means, with its number where it is not S_OK: "access denied (0x80070005)".
std::string ResultInWords(HRESULT result);

}  // namespace tagsmith
