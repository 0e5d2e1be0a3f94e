// Writing a minidump of the process.
#pragma once

#include <windows.h>

#include <span>

namespace tagsmith {

/// Builds FOLDER\BASEnn_yyMMddHHmmEXTENSION for the first counter from 00 on whose name no file
/// has; with a module path whose file version is known, the version stands before the
/// extension. Returns the file name within `path`; null when all 100 names are taken.
const wchar_t* MakeUniqueFileName(const wchar_t* folder, std::span<wchar_t> path,
                                  const wchar_t* base, const wchar_t* extension,
                                  const wchar_t* modulePath);

/// Writes a minidump with the exception into `folder` (null: the user's temporary folder) and logs
/// what came of it. Waits a second after a dump was saved. True when one was.
bool WriteMinidump(const wchar_t* folder, EXCEPTION_POINTERS* exception);

}  // namespace tagsmith
