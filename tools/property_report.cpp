#include "tools/property_report.h"

#include <propvarutil.h>

#include <algorithm>
#include <array>

#include "handlers/property_keys.h"
#include "shellext/base/handler_ids.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

std::string GuidText(const GUID& guid) {
  std::array<wchar_t, 40> wide{};
  StringFromGUID2(guid, wide.data(), static_cast<int>(wide.size()));
  return {wide.data(), wide.data() + std::wstring_view(wide.data()).size()};
}

PropertyItem MakeItem(const PROPERTYKEY& key, const PROPVARIANT& value) {
  PropertyItem item;
  item.key = key;
  switch (value.vt) {
    case VT_LPWSTR:
      item.type = "string";
      item.texts.emplace_back(value.pwszVal);
      break;
    case VT_VECTOR | VT_LPWSTR:
      item.type = "strings";
      for (ULONG i = 0; i < value.calpwstr.cElems; ++i) {
        item.texts.emplace_back(value.calpwstr.pElems[i]);
      }
      break;
    case VT_UI4:
      item.type = "uint32";
      item.number = value.ulVal;
      break;
    case VT_UI8:
      item.type = "uint64";
      item.number = value.uhVal.QuadPart;
      break;
    case VT_BOOL:
      item.type = "bool";
      item.number = value.boolVal != VARIANT_FALSE ? 1 : 0;
      break;
    case VT_EMPTY:
      item.type = "empty";
      break;
    default:
      item.type = "vt:" + std::to_string(value.vt);
  }
  if (value.vt == (VT_VECTOR | VT_BOOL)) {
    // As a flag stays whose key the property system does not know.
    for (ULONG i = 0; i < value.cabool.cElems; ++i) {
      item.flags.push_back(value.cabool.pElems[i] != VARIANT_FALSE);
    }
  }
  return item;
}

void WriteValue(JsonWriter& json, const PropertyItem& item) {
  if (item.type == "string") {
    json.Text(Utf16(item.texts.front()));
  } else if (item.type == "strings") {
    json.BeginArray();
    for (const std::wstring& text : item.texts) {
      json.Text(Utf16(text));
    }
    json.EndArray();
  } else if (item.type == "bool") {
    json.Bool(item.number != 0);
  } else if (item.type == "uint32" || item.type == "uint64") {
    json.Unsigned(item.number);
  } else if (!item.flags.empty()) {
    json.BeginArray();
    for (const bool flag : item.flags) {
      json.Bool(flag);
    }
    json.EndArray();
  } else {
    json.Null();
  }
}

}  // namespace

std::string NameOf(const PROPERTYKEY& key) {
  const auto* named =
      std::find_if(std::begin(kAllPropertyKeys), std::end(kAllPropertyKeys), [&](const auto* k) {
        return k->key.pid == key.pid && IsEqualGUID(k->key.fmtid, key.fmtid) != 0;
      });
  return named != std::end(kAllPropertyKeys) ? std::string((*named)->name)
                                             : GuidText(key.fmtid) + "/" + std::to_string(key.pid);
}

std::string ShowValue(const PropertyItem& item) {
  std::string shown;
  for (const std::wstring& text : item.texts) {
    shown += shown.empty() ? "" : "; ";
    shown += Utf16ToUtf8(Utf16(text));
  }
  for (const bool flag : item.flags) {
    shown += (shown.empty() ? "" : "; ") + std::string(flag ? "yes" : "no");
  }
  if (item.type == "bool") {
    shown = item.number != 0 ? "yes" : "no";
  } else if (item.type == "uint32" || item.type == "uint64") {
    shown = std::to_string(item.number);
  }
  return shown;
}

PropertyReport AskPropertyHandler(const HandlerSource& handlers, const std::string& file) {
  PropertyReport report;
  ComPointer<IStream> stream;
  report.initialize = OpenStream(WidenUtf8(file), stream);
  if (FAILED(report.initialize)) {
    return report;
  }
  ComPointer<IInitializeWithStream> handler;
  report.initialize = handlers.Create(kPropertyHandlerClsid, __uuidof(IInitializeWithStream),
                                      handler.ReceiveVoid());
  if (FAILED(report.initialize)) {
    return report;
  }
  report.initialize = handler->Initialize(stream.Get(), STGM_READ);
  ComPointer<IPropertyStore> store;
  if (SUCCEEDED(report.initialize) &&
      SUCCEEDED(handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid()))) {
    report.items = ReadItems(*store);
  }
  return report;
}

std::vector<PropertyItem> ReadItems(IPropertyStore& store) {
  std::vector<PropertyItem> items;
  DWORD count = 0;
  if (FAILED(store.GetCount(&count))) {
    return items;
  }
  for (DWORD i = 0; i < count; ++i) {
    PROPERTYKEY key{};
    PROPVARIANT value;
    PropVariantInit(&value);
    if (SUCCEEDED(store.GetAt(i, &key)) && SUCCEEDED(store.GetValue(key, &value))) {
      items.push_back(MakeItem(key, value));
    }
    PropVariantClear(&value);
  }
  return items;
}

void WriteJson(JsonWriter& json, const PropertyReport& report) {
  json.BeginObject();
  json.Key("initialize");
  json.Latin1(HexResult(report.initialize));
  json.Key("items");
  json.BeginArray();
  for (const PropertyItem& item : report.items) {
    json.BeginObject();
    json.Key("name");
    json.Latin1(NameOf(item.key));
    json.Key("fmtid");
    json.Latin1(GuidText(item.key.fmtid));
    json.Key("pid");
    json.Unsigned(item.key.pid);
    json.Key("type");
    json.Latin1(item.type);
    json.Key("value");
    WriteValue(json, item);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
}

std::string ToText(const PropertyReport& report) {
  std::string page;
  if (FAILED(report.initialize)) {
    page = ReportLine("No properties", HexResult(report.initialize));
  }
  for (const PropertyItem& item : report.items) {
    const std::string value = ShowValue(item);
    if (!value.empty()) {
      page += ReportLine(NameOf(item.key), value);
    }
  }
  return page;
}

}  // namespace tagsmith
