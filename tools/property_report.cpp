#include "tools/property_report.h"

#include <propvarutil.h>

#include <span>

#include "handlers/tag_fields.h"
#include "shellext/base/handler_ids.h"
#include "shellext/base/registered_keys.h"
#include "tags/unicode.h"
#include "tools/report_text.h"

namespace tagsmith {
namespace {

std::vector<std::wstring> TextsOf(const CALPWSTR& texts) {
  return {texts.pElems, texts.pElems + texts.cElems};
}

std::vector<bool> FlagsOf(const CABOOL& flags) {
  std::vector<bool> values;
  for (ULONG i = 0; i < flags.cElems; ++i) {
    values.push_back(flags.pElems[i] != VARIANT_FALSE);
  }
  return values;
}

ReportValue ValueOf(const PROPVARIANT& value) {
  switch (value.vt) {
    case VT_LPWSTR:
      return {value.vt, std::wstring(value.pwszVal)};
    case VT_VECTOR | VT_LPWSTR:
      return {value.vt, TextsOf(value.calpwstr)};
    case VT_UI4:
      return {value.vt, std::uint32_t{value.ulVal}};
    case VT_UI8:
      return {value.vt, std::uint64_t{value.uhVal.QuadPart}};
    case VT_BOOL:
      return {value.vt, value.boolVal != VARIANT_FALSE};
    case VT_VECTOR | VT_BOOL:
      // What becomes of a flag when the property system does not know its key.
      return {value.vt, FlagsOf(value.cabool)};
    default:
      return {value.vt, {}};
  }
}

std::string PropertyTypeOf(const ReportValue& value) {
  constexpr TypeName kNames[] = {
      {VT_LPWSTR, "string"}, {VT_VECTOR | VT_LPWSTR, "strings"},
      {VT_UI4, "uint32"},    {VT_UI8, "uint64"},
      {VT_BOOL, "bool"},     {VT_EMPTY, "empty"},
  };
  return NameOfType(value.type, kNames);
}

}  // namespace

std::string NameOf(const PROPERTYKEY& key) {
  const ID3Tag tag;
  for (const std::span<const Field> fields : {V2Fields(), AudioFields(tag)}) {
    for (const Field& field : fields) {
      if (IsSameKey(field.key.key, key)) {
        return std::string(field.key.name);
      }
    }
  }
  const NamedKey& contents = property_keys::kSearchContents;
  return IsSameKey(contents.key, key) ? std::string(contents.name)
                                      : Utf8(GuidText(key.fmtid)) + "/" + std::to_string(key.pid);
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
      items.push_back({key, ValueOf(value)});
    }
    PropVariantClear(&value);
  }
  return items;
}

void WriteJson(JsonWriter& json, const PropertyReport& report) {
  json.Object([&] {
    json.Member("initialize", HexResult(report.initialize));
    json.Member("items", [&] {
      json.Array(report.items, [&](const PropertyItem& item) {
        json.Object([&] {
          json.Member("name", NameOf(item.key));
          json.Member("fmtid", Utf8(GuidText(item.key.fmtid)));
          json.Member("pid", item.key.pid);
          json.Member("type", PropertyTypeOf(item.value));
          json.Member("value", [&] { WriteJson(json, item.value.content); });
        });
      });
    });
  });
}

std::string ToText(const PropertyReport& report) {
  std::string page;
  if (FAILED(report.initialize)) {
    page = ReportLine("No properties", ResultInWords(report.initialize));
  }
  for (const PropertyItem& item : report.items) {
    const std::string value = ToText(item.value.content);
    if (!value.empty()) {
      page += ReportLine(NameOf(item.key), value);
    }
  }
  return page;
}

}  // namespace tagsmith
