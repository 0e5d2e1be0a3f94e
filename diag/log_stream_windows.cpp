#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "diag/log_stream.h"
#include "platform/windows_handles.h"

namespace tagsmith {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// By the handle: a directory entry keeps the size of an open file from before.
std::optional<FileFacts> Facts(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION facts{};
  if (GetFileInformationByHandle(file, &facts) == FALSE) {
    return std::nullopt;
  }
  const auto join = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32U | low; };
  return FileFacts{
      .volume = facts.dwVolumeSerialNumber,
      .number = join(facts.nFileIndexHigh, facts.nFileIndexLow),
      .size = static_cast<std::int64_t>(join(facts.nFileSizeHigh, facts.nFileSizeLow))};
}

}  // namespace

std::optional<FileFacts> AskFile(std::FILE* stream) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is given as a number here
  return Facts(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))));
}

std::optional<FileFacts> AskFile(const char* path) {
  const KernelHandle file(CreateFileA(path, FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return file ? Facts(file.Get()) : std::nullopt;
}

std::FILE* OpenLogStream(const char* path) {
  // Appending without the right to write elsewhere: the system then finds the end with each write.
  KernelHandle file(CreateFileA(path, GENERIC_READ | FILE_APPEND_DATA, kShareAll, nullptr,
                                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    return nullptr;
  }
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(file.Get()),
                                         _O_APPEND | _O_TEXT | _O_NOINHERIT);
  if (descriptor < 0) {
    return nullptr;
  }
  static_cast<void>(file.Detach());  // the descriptor has it now
  std::FILE* stream = _fdopen(descriptor, "a+");
  if (stream == nullptr) {
    _close(descriptor);
  }
  return stream;
}

}  // namespace tagsmith
