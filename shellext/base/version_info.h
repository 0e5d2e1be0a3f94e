// Versions: of Windows, and of a module's version resource.
#pragma once

#include <optional>

#include "platform/file_version.h"

namespace tagsmith {

/// Windows Vista or later, and Windows 2000 or later. The system is asked once per process.
bool IsNt6OrLater();
bool IsNt5OrLater();

/// The file version in the fixed part of a module's version resource. Each byte of `path` counts
/// as one UTF-16 unit, 260 at the most; null stands for the process's executable. Nothing when
/// there is no such resource.
std::optional<FileVersion> GetFileVersion(const char* path);

}  // namespace tagsmith
