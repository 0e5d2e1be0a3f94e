#include "tools/arguments.h"

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <string_view>

namespace tagsmith {
namespace {

constexpr int kFirstOption = 256;  // above all characters

std::vector<option> LongOptions(std::span<const Option> options) {
  std::vector<option> list;
  for (const Option& o : options) {
    list.push_back({o.name, o.value != nullptr ? required_argument : no_argument, nullptr,
                    kFirstOption + static_cast<int>(list.size())});
  }
  list.push_back({"help", no_argument, nullptr, 'h'});
  list.push_back({});
  return list;
}

}  // namespace

Option Flag(const char* name, bool& flag) {
  return {name, nullptr, [&flag](const char* /*none*/) {
            flag = true;
            return true;
          }};
}

Option Number(const char* name, std::uint32_t& number, std::uint32_t most) {
  return {name, "a number", [&number, most](const char* value) {
            const char* end = value + std::string_view(value).size();
            const auto [rest, error] = std::from_chars(value, end, number);
            return error == std::errc() && rest == end && number <= most;
          }};
}

Option Text(const char* name, std::optional<std::string>& text) {
  return {name, "a value", [&text](const char* value) {
            text = value;
            return true;
          }};
}

CommandLine ParseArguments(const char* tool, const char* usage, std::span<const Option> options,
                           std::vector<std::string> arguments, const bool& needsNoFile) {
  const auto refuse = [&](const std::string& reason) {
    std::fprintf(stderr, "%s: %s\n\n%s", tool, reason.c_str(), usage);
    return CommandLine{{}, kWrongUsage};
  };
  const std::vector<option> known = LongOptions(options);
  std::string program(tool);
  std::vector<char*> list = {program.data()};
  for (std::string& argument : arguments) {
    list.push_back(argument.data());
  }
  const int count = static_cast<int>(list.size());
  list.push_back(nullptr);
  optind = 0;  // begins anew
  // The colon: nothing is printed, and a missing value is told apart.
  for (int found = 0;
       (found = getopt_long(count, list.data(), ":h", known.data(), nullptr)) != -1;) {
    if (found == 'h') {
      std::fputs(usage, stdout);
      return {{}, kDoneAll};
    }
    if (found < kFirstOption) {
      const bool isCharacter = optopt > 0 && optopt < kFirstOption;
      const std::string name = isCharacter ? std::string("-") + static_cast<char>(optopt)
                                           : list[static_cast<std::size_t>(optind) - 1];
      return refuse(found == ':' ? name + " takes a value" : "unknown option " + name);
    }
    const Option& option = options[static_cast<std::size_t>(found - kFirstOption)];
    if (!option.receive(optarg)) {
      return refuse(std::string("--") + option.name + " takes " + option.value);
    }
  }
  if (optind == count && !needsNoFile) {
    return refuse("no file given");
  }
  return {{list.begin() + optind, list.end() - 1}};
}

}  // namespace tagsmith
