#include "handlers/column_provider.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "diag/fault_guard.h"
#include "handlers/column_rows.h"
#include "handlers/utf8_path.h"

namespace tagsmith {
namespace {

/// Whether the shell's own knowledge of the item lets its file be opened.
bool IsServed(const SHCOLUMNDATA& item) {
  constexpr DWORD kRefused = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_OFFLINE;
  if ((item.dwFileAttributes & kRefused) != 0 || item.pwszExt == nullptr) {
    return false;
  }
  constexpr const wchar_t* kPrefixes[] = {L".mp3", L".aif"};
  return std::any_of(std::begin(kPrefixes), std::end(kPrefixes), [&](const wchar_t* prefix) {
    return _wcsnicmp(item.pwszExt, prefix, std::wcslen(prefix)) == 0;
  });
}

}  // namespace

// ---- CShellColumnProvider ---------------------------------------------------------------------

STDMETHODIMP CShellColumnProvider::Initialize(LPCSHCOLUMNINIT /*init*/) noexcept { return S_OK; }

// ---- CMP3ColumnProvider -----------------------------------------------------------------------

STDMETHODIMP CMP3ColumnProvider::GetColumnInfo(DWORD index, SHCOLUMNINFO* info) noexcept {
  return Guarded("Column provider failed", S_FALSE,
                 [&] { return info != nullptr && DescribeColumn(index, *info) ? S_OK : S_FALSE; });
}

STDMETHODIMP CMP3ColumnProvider::GetItemData(LPCSHCOLUMNID column, LPCSHCOLUMNDATA item,
                                             VARIANT* value) noexcept {
  return Guarded("Column provider failed", S_FALSE, [&] {
    PruneModuleLog();
    if (column == nullptr || item == nullptr || value == nullptr || !IsServed(*item)) {
      return S_FALSE;
    }
    const std::wstring_view file(item->wszFile, wcsnlen(item->wszFile, std::size(item->wszFile)));
    const auto path = ToUtf8Path(file);
    if (!path) {
      return S_FALSE;
    }
    WriteLogLine(kLogInformation, "Opening: %s", path->data());
    ID3Tag tag;
    static_cast<TagOptions&>(tag) = kFieldOptions;
    const bool isOpened = reading_.openFile(tag, path->data(), kScanQuick, nullptr, false);
    const VARIANT answer = ReadColumn(*column, tag, isOpened);
    if (answer.vt == VT_EMPTY) {
      return S_FALSE;
    }
    *value = answer;
    return S_OK;
  });
}

}  // namespace tagsmith
