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

/// Hands the options among the arguments to their receivers, in order, and returns the files: all
/// other arguments, and whatever comes after "--". None of them after "--help" or "-h", which print
/// `usage` on standard output. Nothing, with a message and `usage` on standard error, when an
/// option is not understood or there is no file; none is needed where an option has set
/// `needsNoFile`.
std::optional<std::vector<std::string>> ParseArguments(const char* tool, const char* usage,
                                                       std::span<const Option> options,
                                                       std::vector<std::string> arguments,
                                                       const bool& needsNoFile = false);

}  // namespace tagsmith
