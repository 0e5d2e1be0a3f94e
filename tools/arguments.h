// The command line of a tool.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tagsmith {

/// How a tool ends.
enum ExitStatus : int {
  kDoneAll = 0,
  kFailedSome = 1,
  kWrongUsage = 2,
};

/// An option "--NAME" or "--NAME VALUE".
struct Option {
  const char* name;
  const char* value;                         // what is asked for ("a number"); null: no value
  std::function<bool(const char*)> receive;  // gets the value; false: it is not such a one
};

Option Flag(const char* name, bool& flag);
Option Number(const char* name, std::uint32_t& number, std::uint32_t most = UINT32_MAX);
Option Text(const char* name, std::optional<std::string>& text);

/// What a command line comes to.
struct CommandLine {
  std::vector<std::string> files;
  std::optional<ExitStatus> end = {};  // the tool ends with it, without doing anything
};

/// Hands the options among the arguments to their receivers, in order; the files are all other
/// arguments, and whatever comes after "--". "--help" or "-h" print `usage` on standard output and
/// end the tool. So does, with a message and `usage` on standard error, an option that is not
/// understood, or no file where none of the options has set `needsNoFile`.
CommandLine ParseArguments(const char* tool, const char* usage, std::span<const Option> options,
                           std::vector<std::string> arguments, const bool& needsNoFile = false);

}  // namespace tagsmith
