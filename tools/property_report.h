// What tsprobe prints of the property handler's answers.
#pragma once

#include <windows.h>

#include <propsys.h>

#include <string>
#include <vector>

#include "tools/report_value.h"
#include "tools/shell_host.h"

namespace tagsmith {

struct PropertyItem {
  PROPERTYKEY key{};
  ReportValue value;
};

struct PropertyReport {
  HRESULT initialize = E_FAIL;
  std::vector<PropertyItem> items;  // in the order of GetAt
};

/// Asks the handler for all that it answers of the file.
PropertyReport AskPropertyHandler(const HandlerSource& handlers, const std::string& file);

/// All that the store holds.
std::vector<PropertyItem> ReadItems(IPropertyStore& store);

/// As the value of "properties".
void WriteJson(JsonWriter& json, const PropertyReport& report);

/// A line each for people; empty values are left out.
std::string ToText(const PropertyReport& report);

/// The key's canonical name, or its format identifier and number.
std::string NameOf(const PROPERTYKEY& key);

}  // namespace tagsmith
