// What tsprobe prints of the column handler's answers.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tools/json_writer.h"
#include "tools/report_text.h"
#include "tools/shell_host.h"

namespace tagsmith {

struct ColumnItem {
  DWORD index = 0;
  std::wstring title;
  HRESULT result = E_FAIL;
  std::string type;          // bstr, i4, ui4, ui8 or vt:N; empty: no value
  std::wstring text;         // of bstr
  std::uint64_t number = 0;  // of the others; i4 widened with its sign
};

struct ColumnReport {
  HRESULT initialize = E_FAIL;
  std::vector<ColumnItem> items;  // all columns, in the order of their indexes
};

/// Asks the handler for its columns, and for the value of each for the file.
ColumnReport AskColumnHandler(const HandlerSource& handlers, const std::string& file);

/// As the value of "columns".
void WriteJson(JsonWriter& json, const ColumnReport& report);

/// A line each for people; columns without a value are left out.
std::string ToText(const ColumnReport& report);

/// The value for people; what failed by its result.
std::string ShowValue(const ColumnItem& item);

}  // namespace tagsmith
