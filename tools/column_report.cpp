#include "tools/column_report.h"

#include <shlobj.h>

#include <shlwapi.h>

#include <array>

#include "shellext/handler_ids.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

/// What the shell tells of an item, but for the extension.
SHCOLUMNDATA DescribeItem(const std::wstring& path) {
  SHCOLUMNDATA item{};
  std::array<wchar_t, MAX_PATH> full{};
  const DWORD length =
      GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  lstrcpynW(item.wszFile, length < full.size() ? full.data() : path.c_str(), MAX_PATH);
  const DWORD attributes = GetFileAttributesW(path.c_str());
  item.dwFileAttributes = attributes == INVALID_FILE_ATTRIBUTES ? 0 : attributes;
  return item;
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
  SHCOLUMNDATA data = DescribeItem(WidenUtf8(file));
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
    if (item.result == S_OK) {
      page +=
          ReportLine(Utf16ToUtf8(Utf16(item.title)),
                     item.type == "bstr" ? Utf16ToUtf8(Utf16(item.text))
                                         : std::to_string(static_cast<std::int64_t>(item.number)));
    }
  }
  return page;
}

}  // namespace tagsmith
