#include "tools/report_text.h"

#include <algorithm>
#include <array>

#include "format/bounded.h"
#include "handlers/album_art.h"

namespace tagsmith {
namespace {

struct ResultMeaning {
  HRESULT result;
  const char* words;
};
constexpr ResultMeaning kResultMeanings[] = {
    {S_OK, "answered"},
    {S_FALSE, "nothing to answer"},
    {kNoPicture, "no picture"},
    {E_UNEXPECTED, "a failure was caught in the handler"},
    {E_FAIL, "failed"},
    {E_NOTIMPL, "not implemented"},
    {E_NOINTERFACE, "the handler lacks what was asked for"},
    {E_POINTER, "null pointer"},
    {E_INVALIDARG, "invalid argument"},
    {E_OUTOFMEMORY, "out of memory"},
    {E_ACCESSDENIED, "access denied"},
    {STG_E_ACCESSDENIED, "access denied"},
    {STG_E_FILENOTFOUND, "file not found"},
    {STG_E_PATHNOTFOUND, "path not found"},
    {STG_E_SHAREVIOLATION, "another program holds the file"},
    {STG_E_LOCKVIOLATION, "another program holds the file"},
    {REGDB_E_CLASSNOTREG, "the handler is not registered"},
    {CLASS_E_CLASSNOTAVAILABLE, "the module does not serve this handler"},
    {CO_E_NOTINITIALIZED, "COM is not initialised"},
    {__HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), "file not found"},
    {__HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), "path not found"},
    {__HRESULT_FROM_WIN32(ERROR_INVALID_NAME), "not a file name"},
    {__HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION), "another program holds the file"},
    {__HRESULT_FROM_WIN32(ERROR_LOCK_VIOLATION), "another program holds the file"},
    {__HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE), "the path is too long"},
    {__HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND), "the module does not load"},
    {__HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT), "not a 64-bit module"},
};

}  // namespace

std::string ReportLine(std::string name, const std::string& value) {
  constexpr std::size_t kNameWidth = 40;
  name.resize(std::max(kNameWidth, name.size() + 1), ' ');
  return "    " + name + value + "\n";
}

std::string HexResult(HRESULT result) {
  std::array<char, 12> text{};
  FormatBounded(text, "0x%08X", static_cast<unsigned>(result));
  return text.data();
}

std::string ResultInWords(HRESULT result) {
  const auto* meaning = std::find_if(std::begin(kResultMeanings), std::end(kResultMeanings),
                                     [&](const ResultMeaning& m) { return m.result == result; });
  const std::string words = meaning != std::end(kResultMeanings) ? meaning->words
                            : SUCCEEDED(result)                  ? "answered otherwise"
                                                                 : "failed";
  return result == S_OK ? words : words + " (" + HexResult(result) + ")";
}

}  // namespace tagsmith
