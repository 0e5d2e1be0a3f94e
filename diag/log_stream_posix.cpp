#include <sys/stat.h>

#include "diag/log_stream.h"

namespace tagsmith {
namespace {

std::optional<FileFacts> Facts(int result, const struct stat& status) {
  if (result != 0) {
    return std::nullopt;
  }
  return FileFacts{.volume = status.st_dev, .number = status.st_ino, .size = status.st_size};
}

}  // namespace

std::optional<FileFacts> AskFile(std::FILE* stream) {
  struct stat status {};
  return Facts(::fstat(::fileno(stream), &status), status);
}

std::optional<FileFacts> AskFile(const char* path) {
  struct stat status {};
  return Facts(::stat(path, &status), status);
}

std::FILE* OpenLogStream(const char* path) { return std::fopen(path, "a+e"); }

}  // namespace tagsmith
