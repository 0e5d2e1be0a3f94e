// What the handlers answered of one file.
#pragma once

#include <optional>
#include <string>

#include "tools/column_report.h"
#include "tools/property_report.h"
#include "tools/thumbnail_report.h"

namespace tagsmith {

/// Only what was asked.
struct FileReport {
  std::string file;             // as given
  const char* reading = "own";  // or "standard"
  std::optional<PropertyReport> properties;
  std::optional<ThumbnailReport> thumbnail;
  std::optional<ColumnReport> columns;
};

}  // namespace tagsmith
