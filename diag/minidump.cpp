#include "diag/minidump.h"

#include <dbghelp.h>

#include <array>
#include <optional>
#include <string_view>

#include "diag/log.h"
#include "format/bounded.h"
#include "platform/file_version.h"
#include "platform/system_library.h"
#include "platform/windows_handles.h"

namespace tagsmith {
namespace {

/// A name for a log line. On the stack, as all that a report needs.
class NarrowName {
 public:
  explicit NarrowName(const wchar_t* name) {
    WideCharToMultiByte(CP_UTF8, 0, name, -1, text_.data(), static_cast<int>(text_.size()) - 1,
                        nullptr, nullptr);
  }
  [[nodiscard]] const char* Get() const { return text_.data(); }

 private:
  std::array<char, 800> text_{};
};

/// "yyMMddHHmm", now.
std::array<wchar_t, 32> TimeText() {
  std::array<wchar_t, 32> date{};
  std::array<wchar_t, 16> time{};
  GetDateFormatW(LOCALE_SYSTEM_DEFAULT, 0, nullptr, L"yyMMdd", date.data(), 16);
  GetTimeFormatW(LOCALE_SYSTEM_DEFAULT, 0, nullptr, L"HHmm", time.data(), 16);
  AppendBounded(date, time.data());
  return date;
}

/// "_1234", the four numbers of a module's file version; empty when its major part is 0 or unknown.
std::array<wchar_t, 48> VersionText(const wchar_t* modulePath) {
  std::array<wchar_t, 48> text{};
  const auto version =
      modulePath != nullptr ? ReadFileVersion(modulePath) : std::optional<FileVersion>();
  if (version && version->major != 0) {
    FormatBounded(text, L"_%u%u%u%u", version->major, version->minor, version->build,
                  version->revision);
  }
  return text;
}

using DumpWriter = BOOL(WINAPI*)(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE,
                                 PMINIDUMP_EXCEPTION_INFORMATION, PMINIDUMP_USER_STREAM_INFORMATION,
                                 PMINIDUMP_CALLBACK_INFORMATION);

/// The debug-help library's function; null, logged, when it is not there.
DumpWriter FindDumpWriter() {
  HMODULE library = LoadSystemLibrary(L"dbghelp.dll");
  if (library == nullptr) {
    WriteLogLine(kLogError, "DBGHELP.DLL not found");
    return nullptr;
  }
  const auto writeDump = FindFunction<DumpWriter>(library, "MiniDumpWriteDump");
  if (writeDump == nullptr) {
    WriteLogLine(kLogError, "DBGHELP.DLL is too old to use 'MiniDumpWriteDump'");
  }
  return writeDump;
}

}  // namespace

const wchar_t* MakeUniqueFileName(const wchar_t* folder, std::span<wchar_t> path,
                                  const wchar_t* base, const wchar_t* extension,
                                  const wchar_t* modulePath) {
  constexpr int kMostNames = 100;
  const std::wstring_view folderText(folder);
  const wchar_t* separator = folderText.ends_with(L'\\') ? L"" : L"\\";
  const auto time = TimeText();
  const auto version = VersionText(modulePath);
  for (int i = 0; i < kMostNames; ++i) {
    FormatBounded(path, L"%ls%ls%ls%02d_%ls%ls%ls", folder, separator, base, i, time.data(),
                  version.data(), extension);
    if (GetFileAttributesW(path.data()) == INVALID_FILE_ATTRIBUTES) {
      return path.data() + std::wstring_view(path.data()).rfind(L'\\') + 1;
    }
  }
  return nullptr;
}

bool WriteMinidump(const wchar_t* folder, EXCEPTION_POINTERS* exception) {
  std::array<wchar_t, 261> temporaryFolder{};
  if (folder == nullptr) {
    GetTempPathW(260, temporaryFolder.data());
    folder = temporaryFolder.data();
  }
  const DumpWriter writeDump = FindDumpWriter();
  if (writeDump == nullptr) {
    return false;
  }
  std::array<wchar_t, 400> path{};
  if (MakeUniqueFileName(folder, path, L"e", L".dmp", nullptr) == nullptr) {
    WriteLogLine(kLogWarning, "Failed to generate a unique file name for mini dump");
    return false;
  }
  const NarrowName name(path.data());
  KernelHandle file(CreateFileW(path.data(), GENERIC_WRITE, FILE_SHARE_WRITE, nullptr,
                                CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    WriteLogLine(kLogError, "Failed to create the dump file '%s' (%X)", name.Get(),
                 static_cast<unsigned>(GetLastError()));
    return false;
  }
  MINIDUMP_EXCEPTION_INFORMATION information{};
  information.ThreadId = GetCurrentThreadId();
  information.ExceptionPointers = exception;
  information.ClientPointers = FALSE;
  const bool isSaved = writeDump(GetCurrentProcess(), GetCurrentProcessId(), file.Get(),
                                 MiniDumpNormal, &information, nullptr, nullptr) != FALSE;
  if (isSaved) {
    constexpr DWORD kTimeToBeWritten = 1000;  // milliseconds, before the process may end
    WriteLogLine(kLogError, "Saved a dump file to '%s'", name.Get());
    Sleep(kTimeToBeWritten);
  } else {
    WriteLogLine(kLogError, "Failed to save the dump file to '%s' (%X)", name.Get(),
                 static_cast<unsigned>(GetLastError()));
  }
  file.Reset();
  WriteLogLine(kLogError, "%s",
               "Please send this file to Corvane (support@corvane.example), with a description of "
               "what Tagsmith was doing when the exception happened.");
  return isSaved;
}

}  // namespace tagsmith
