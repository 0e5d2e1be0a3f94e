#include "tools/column_report.h"

#include <shlobj.h>

#include <shlwapi.h>

#include "shellext/base/handler_ids.h"
#include "tags/unicode.h"
#include "tools/report_text.h"

namespace tagsmith {
namespace {

/// What the shell says about an item, except for its extension. False when the path is too long.
bool DescribeItem(const std::wstring& path, SHCOLUMNDATA& item) {
  const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH, item.wszFile, nullptr);
  const DWORD attributes = GetFileAttributesW(path.c_str());
  item.dwFileAttributes = attributes == INVALID_FILE_ATTRIBUTES ? 0 : attributes;
  return length != 0 && length < MAX_PATH;
}

ReportValue ValueOf(const VARIANT& value) {
  switch (value.vt) {
    case VT_BSTR:
      return {value.vt, value.bstrVal != nullptr ? std::wstring(value.bstrVal) : std::wstring()};
    case VT_I4:
      return {value.vt, std::int32_t{value.lVal}};
    case VT_UI4:
      return {value.vt, std::uint32_t{value.ulVal}};
    case VT_UI8:
      return {value.vt, std::uint64_t{value.ullVal}};
    default:
      return {value.vt, {}};
  }
}

std::string VariantTypeOf(const ReportValue& value) {
  constexpr TypeName kNames[] = {
      {VT_BSTR, "bstr"}, {VT_I4, "i4"}, {VT_UI4, "ui4"}, {VT_UI8, "ui8"}};
  return NameOfType(value.type, kNames);
}

}  // namespace

ColumnReport AskColumnHandler(const HandlerSource& handlers, const std::string& file) {
  ColumnReport report;
  ComPointer<IColumnProvider> handler;
  report.initialize =
      handlers.Create(kColumnHandlerClsid, IID_IColumnProvider, handler.ReceiveVoid());
  if (FAILED(report.initialize)) {
    return report;
  }
  SHCOLUMNDATA data{};
  if (!DescribeItem(WidenUtf8(file), data)) {
    report.initialize = HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE);
    return report;
  }
  SHCOLUMNINIT init{};
  lstrcpynW(init.wszFolder, data.wszFile, MAX_PATH);
  PathRemoveFileSpecW(init.wszFolder);
  report.initialize = handler->Initialize(&init);
  data.pwszExt = PathFindExtensionW(data.wszFile);

  SHCOLUMNINFO info{};
  for (DWORD index = 0; handler->GetColumnInfo(index, &info) == S_OK; ++index) {
    ColumnItem item;
    item.index = index;
    item.title = std::wstring(info.wszTitle);
    const SHCOLUMNID column = info.scid;
    VARIANT value{};
    item.result = handler->GetItemData(&column, &data, &value);
    if (item.result == S_OK) {
      item.value = ValueOf(value);
      VariantClear(&value);
    }
    report.items.push_back(std::move(item));
  }
  return report;
}

std::vector<std::wstring> ColumnTitles(const HandlerSource& handlers) {
  std::vector<std::wstring> titles;
  ComPointer<IColumnProvider> handler;
  if (SUCCEEDED(handlers.Create(kColumnHandlerClsid, IID_IColumnProvider, handler.ReceiveVoid()))) {
    SHCOLUMNINFO info{};
    while (handler->GetColumnInfo(static_cast<DWORD>(titles.size()), &info) == S_OK) {
      titles.emplace_back(info.wszTitle);
    }
  }
  return titles;
}

void WriteJson(JsonWriter& json, const ColumnReport& report) {
  json.Array(report.items, [&](const ColumnItem& item) {
    json.Object([&] {
      json.Member("index", item.index);
      json.Member("title", Utf16(item.title));
      json.Member("hresult", HexResult(item.result));
      json.Member("type",
                  item.result == S_OK ? std::optional(VariantTypeOf(item.value)) : std::nullopt);
      json.Member("value", [&] { WriteJson(json, item.value.content); });
    });
  });
}

std::string ToText(const ColumnReport& report) {
  if (FAILED(report.initialize)) {
    return ReportLine("No columns", ResultInWords(report.initialize));
  }
  std::string page;
  for (const ColumnItem& item : report.items) {
    if (item.result != S_FALSE) {
      page += ReportLine(Utf8(item.title), ShowValue(item));
    }
  }
  return page;
}

std::string ShowValue(const ColumnItem& item) {
  if (item.result != S_OK) {
    return ResultInWords(item.result);
  }
  const bool isKnown = !std::holds_alternative<std::monostate>(item.value.content);
  return isKnown ? ToText(item.value.content) : VariantTypeOf(item.value);
}

}  // namespace tagsmith
