// The log's file as several processes share it: each appends, and one of them renames it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>

namespace tagsmith {

/// Which file it is, and its size in bytes.
struct FileFacts {
  std::uint64_t volume = 0;
  std::uint64_t number = 0;
  std::int64_t size = 0;

  [[nodiscard]] bool IsSameFile(const FileFacts& other) const {
    return volume == other.volume && number == other.number;
  }
};

/// Of the file that is open, or that `path` names (in the run-time library's narrow encoding).
/// Nothing when there is none.
std::optional<FileFacts> AskFile(std::FILE* stream);
std::optional<FileFacts> AskFile(const char* path);

/// Opens or makes the file for appending: what is flushed at once arrives in one piece, whoever
/// else appends. Others may read, rename and delete it meanwhile; child processes do not inherit
/// it. Null when it cannot be opened.
std::FILE* OpenLogStream(const char* path);

}  // namespace tagsmith
