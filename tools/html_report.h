// One page that shows the answers as the shell would.
#pragma once

#include <span>
#include <string>

#include "tools/file_report.h"

namespace tagsmith {

/// For every file its tile, tool tip, details pane and columns; UTF-8, complete in itself.
std::string ToHtml(std::span<const FileReport> files);

}  // namespace tagsmith
