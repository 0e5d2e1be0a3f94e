#include "tools/track_files.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "shellext/base/registered_keys.h"
#include "tags/unicode.h"
#include "tools/report_text.h"
#include "tools/shell_host.h"

namespace tagsmith {
namespace {

namespace fs = std::filesystem;

std::string NameOf(const fs::path& path) { return Utf8(path.generic_wstring()); }

bool IsTrack(const fs::path& path) {
  const std::wstring extension = path.extension().wstring();
  return std::any_of(std::begin(kExtensions), std::end(kExtensions),
                     [&](const wchar_t* known) { return _wcsicmp(extension.c_str(), known) == 0; });
}

class FolderWalk {
 public:
  explicit FolderWalk(std::vector<std::string>& files) : files_(files) {}

  /// False when a folder could not be read to its end.
  bool Visit(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::directory_entry> entries;
    for (fs::directory_iterator i(folder, error), end; !error && i != end; i.increment(error)) {
      entries.push_back(*i);
    }
    bool isComplete = !error;
    if (error) {
      std::fprintf(stderr, "tsprobe: %s: %s\n", NameOf(folder).c_str(), error.message().c_str());
    }
    std::sort(entries.begin(), entries.end());
    parents_.push_back(folder);
    for (const fs::directory_entry& entry : entries) {
      std::error_code ignored;
      if (!entry.is_directory(ignored)) {
        if (IsTrack(entry.path())) {
          files_.push_back(NameOf(entry.path()));
        }
      } else if (!LeadsBack(entry.path())) {
        isComplete = Visit(entry.path()) && isComplete;
      }
    }
    parents_.pop_back();
    return isComplete;
  }

 private:
  /// Links may lead to a folder that is being walked.
  [[nodiscard]] bool LeadsBack(const fs::path& folder) const {
    return std::any_of(parents_.begin(), parents_.end(), [&](const fs::path& parent) {
      std::error_code ignored;
      return fs::equivalent(parent, folder, ignored);
    });
  }

  std::vector<std::string>& files_;
  std::vector<fs::path> parents_;
};

}  // namespace

std::vector<std::string> FindTracks(const std::vector<std::string>& given, bool& isComplete) {
  std::vector<std::string> files;
  for (const std::string& name : given) {
    const fs::path path(WidenUtf8(name));
    std::error_code ignored;
    if (!fs::is_directory(path, ignored)) {
      files.push_back(name);
      continue;
    }
    const std::size_t before = files.size();
    isComplete = FolderWalk(files).Visit(path) && isComplete;
    if (files.size() == before) {
      std::fprintf(stderr, "tsprobe: no .mp3, .aif or .aiff files in %s\n", name.c_str());
      isComplete = false;
    }
  }
  return files;
}

}  // namespace tagsmith
