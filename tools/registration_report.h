// What is registered on this machine, and which handler the shell asks because of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/json_writer.h"

namespace tagsmith {

/// A handler that stands in the registry; all texts in UTF-8.
struct RegisteredHandler {
  std::string clsid;
  std::string name;    // of its class; empty when that is not registered
  std::string backup;  // the handler that stood there before ours; empty: none
};

struct RegistrationReport {
  struct Class {
    std::string name;
    std::string clsid;
    std::string module;   // empty: the class is not registered
    std::string version;  // empty: the module is not there
    bool isBlocked = false;
  };
  struct Setting {
    std::string name;
    std::optional<std::uint32_t> machine;
    std::optional<std::uint32_t> user;
    std::string effect;
  };
  /// Where the shell looks for the thumbnail handler of a type.
  struct Place {
    std::string name;  // "user's choice"
    std::string key;   // below classes root
    std::optional<RegisteredHandler> handler;
  };
  struct Type {
    std::string extension;
    std::optional<RegisteredHandler> properties;
    std::string override;  // the handler of Windows' own list; empty: the list does not name it
    std::vector<Place> thumbnails;  // in the shell's order: the first with a handler is asked
  };
  struct Policy {
    std::string name;
    std::string hive;
    std::string effect;
  };
  struct Verdict {
    std::string subject;  // "properties of .aif"
    std::string answer;   // "ours"
  };
  std::vector<Class> classes;
  std::vector<Setting> settings;
  std::vector<Type> types;
  std::vector<Policy> policies;
  std::vector<Verdict> verdicts;
};

/// Reads the registry as the current user sees it.
RegistrationReport ReadRegistration();

std::string ToText(const RegistrationReport& report);
void WriteJson(JsonWriter& json, const RegistrationReport& report);

}  // namespace tagsmith
