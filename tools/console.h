// What a command-line tool asks of the operating system.
#pragma once

#include <string>
#include <vector>

namespace tagsmith {

/// The arguments after the program's name, as UTF-8 (on Linux as they are).
std::vector<std::string> ProgramArguments(int argc, char** argv);

/// Makes standard output pass bytes through as they are written.
void UseBinaryOutput();

/// A file that takes everything and keeps nothing.
const char* NullDevice();

}  // namespace tagsmith
