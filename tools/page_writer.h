// One page that shows the answers of many files as the shell would.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "tools/file_report.h"
#include "tools/own_reading.h"

namespace tagsmith {

/// Writes the page as files are read: what stands of it at any time shows the files so far. UTF-8,
/// complete in itself; page/page.html says how it shows them.
class PageWriter {
 public:
  /// `path` in UTF-8. The column titles, the module's version, the name of the reading and the
  /// lists that registration writes are told to the page once.
  PageWriter(const std::string& path, const HandlerSource& handlers, const char* reading);

  void Add(const FileReport& report, const OwnReading& reading);

  /// Ends the page; `isComplete` tells it whether all files were read.
  void Finish(bool isComplete);

  /// False once any of it could not be written.
  [[nodiscard]] bool IsWritten() const { return static_cast<bool>(file_); }

 private:
  std::ofstream file_;
};

}  // namespace tagsmith
