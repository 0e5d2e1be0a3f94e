// What tsprobe prints of the column handler's answers.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tools/report_value.h"
#include "tools/shell_host.h"

namespace tagsmith {

struct ColumnItem {
  DWORD index = 0;
  std::wstring title;
  HRESULT result = E_FAIL;
  ReportValue value;  // where the result is S_OK
};

struct ColumnReport {
  HRESULT initialize = E_FAIL;
  std::vector<ColumnItem> items;  // all columns, in the order of their indexes
};

/// Asks the handler for its columns, and for the value of each for the file.
ColumnReport AskColumnHandler(const HandlerSource& handlers, const std::string& file);

/// The titles of all columns, in the order of their indexes; none when the handler does not come.
std::vector<std::wstring> ColumnTitles(const HandlerSource& handlers);

/// As the value of "columns".
void WriteJson(JsonWriter& json, const ColumnReport& report);

/// A line each for people; columns without a value are left out.
std::string ToText(const ColumnReport& report);

/// The value for people; what failed by its result.
std::string ShowValue(const ColumnItem& item);

}  // namespace tagsmith
