#include "tools/column_report.h"

#include <shlobj.h>

#include <shlwapi.h>

#include "shellext/base/handler_ids.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

/// What the shell tells of an item, but for the extension. False when the path is too long for it.
bool DescribeItem(const std::wstring& path, SHCOLUMNDATA& item) {
  const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH, item.wszFile, nullptr);
  const DWORD attributes = GetFileAttributesW(path.c_str());
  item.dwFileAttributes = attributes == INVALID_FILE_ATTRIBUTES ? 0 : attributes;
  return length != 0 && length < MAX_PATH;
}

void TakeValue(const VARIANT& value, ColumnItem& item) {
  switch (value.vt) {
    case VT_BSTR:
      item.type = "bstr";
      item.text = value.bstrVal != nullptr ? value.bstrVal : L"";
      break;
    case VT_I4:
      item.type = "i4";
      item.number = static_cast<std::uint64_t>(std::int64_t{value.lVal});
      break;
    case VT_UI4:
      item.type = "ui4";
      item.number = value.ulVal;
      break;
    case VT_UI8:
      item.type = "ui8";
      item.number = value.ullVal;
      break;
    default:
      item.type = "vt:" + std::to_string(value.vt);
  }
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
      TakeValue(value, item);
      VariantClear(&value);
    }
    report.items.push_back(std::move(item));
  }
  return report;
}

void WriteJson(JsonWriter& json, const ColumnReport& report) {
  json.BeginArray();
  for (const ColumnItem& item : report.items) {
    json.BeginObject();
    json.Key("index");
    json.Unsigned(item.index);
    json.Key("title");
    json.Text(Utf16(item.title));
    json.Key("hresult");
    json.Latin1(HexResult(item.result));
    json.Key("type");
    if (item.type.empty()) {
      json.Null();
    } else {
      json.Latin1(item.type);
    }
    json.Key("value");
    if (item.type == "bstr") {
      json.Text(Utf16(item.text));
    } else if (item.type == "i4") {
      json.Integer(static_cast<std::int64_t>(item.number));
    } else if (item.type == "ui4" || item.type == "ui8") {
      json.Unsigned(item.number);
    } else {
      json.Null();
    }
    json.EndObject();
  }
  json.EndArray();
}

std::string ToText(const ColumnReport& report) {
  if (FAILED(report.initialize)) {
    return ReportLine("No columns", HexResult(report.initialize));
  }
  std::string page;
  for (const ColumnItem& item : report.items) {
    if (item.result != S_FALSE) {
      page += ReportLine(Utf16ToUtf8(Utf16(item.title)), ShowValue(item));
    }
  }
  return page;
}

std::string ShowValue(const ColumnItem& item) {
  if (item.result != S_OK) {
    return HexResult(item.result);
  }
  if (item.type == "bstr") {
    return Utf16ToUtf8(Utf16(item.text));
  }
  if (item.type == "i4") {
    return std::to_string(static_cast<std::int64_t>(item.number));
  }
  return item.type.starts_with("vt:") ? item.type : std::to_string(item.number);
}

}  // namespace tagsmith
