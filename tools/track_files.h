// Which files a command line names.
#pragma once

#include <string>
#include <vector>

namespace tagsmith {

/// The files (UTF-8), in the order given; in the place of a folder all files in it and below it
/// whose names end in .mp3, .aif or .aiff, by name. What cannot be read, or holds no track, is told
/// on standard error, and `isComplete` becomes false.
std::vector<std::string> FindTracks(const std::vector<std::string>& given, bool& isComplete);

}  // namespace tagsmith
