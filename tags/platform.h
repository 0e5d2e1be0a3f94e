// What the tag library asks of the operating system.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "platform/handle.h"

namespace tagsmith {

using FilePointer = Handle<std::FILE*, std::fclose>;

/// Opens a file by its UTF-8 path in one of fopen's modes; null on failure, with errno set.
/// On Windows the path may have 260 characters, terminator included; one that is not valid UTF-8
/// is opened as it stands.
FilePointer OpenFile(const char* path, const char* mode);

/// The file's size in bytes, nothing when the system does not tell.
std::optional<std::uint64_t> FileSizeOf(std::FILE* file);

/// fseek with a 64-bit offset; 0 on success.
int SeekFile(std::FILE* file, std::int64_t offset, int origin);

/// ftell with a 64-bit result; negative on failure.
std::int64_t TellFile(std::FILE* file);

/// Widens text of the system's own multibyte encoding (Windows: the ANSI code page; elsewhere
/// ISO-8859-1).
std::u16string WidenSystemText(std::string_view text);

/// The way back: "?" stands for what the system's encoding lacks.
std::string NarrowSystemText(std::u16string_view text);

}  // namespace tagsmith
