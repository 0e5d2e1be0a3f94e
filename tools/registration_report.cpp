#include "tools/registration_report.h"

#include <windows.h>

#include <objbase.h>

#include <array>

#include "platform/file_version.h"
#include "shellext/base/handler_ids.h"
#include "shellext/base/module.h"
#include "shellext/base/registered_keys.h"
#include "shellext/base/registry.h"
#include "shellext/base/settings.h"
#include "shellext/base/version_info.h"
#include "tags/unicode.h"
#include "tools/report_text.h"

namespace tagsmith {
namespace {

using std::string_literals::operator""s;

constexpr const wchar_t* kWindowsListKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\PropertySystem\\SystemPropertyHandlers";
constexpr const wchar_t* kBlockedKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Blocked";
constexpr const wchar_t* kPoliciesKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Policies\\Explorer";
constexpr const wchar_t* kFileTypesOfUserKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\";
constexpr const wchar_t* kSystemTypesKey = L"SystemFileAssociations\\";
constexpr const wchar_t* kExplorerKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Advanced";

const HKEY kHives[] = {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER};

struct OurClass {
  const char* name;
  const CLSID& clsid;
  const wchar_t* setting;
};
enum : std::size_t { kProperties, kThumbnails, kColumns };
constexpr OurClass kOurClasses[] = {
    {"property handler", kPropertyHandlerClsid, kPropertySetting},
    {"thumbnail handler", kThumbnailHandlerClsid, kThumbnailSetting},
    {"column handler", kColumnHandlerClsid, kColumnSetting},
};

/// What keeps Explorer from asking any thumbnail handler.
struct KnownPolicy {
  const wchar_t* key;
  const wchar_t* name;
  const char* effect;
  bool isEverywhere;
};
constexpr KnownPolicy kKnownPolicies[] = {
    {kPoliciesKey, L"DisableThumbnails", "no thumbnails", true},
    {kPoliciesKey, L"DisableThumbnailsOnNetworkFolders", "no thumbnails in network folders", false},
    {kExplorerKey, L"IconsOnly", "always icons, never thumbnails", true},
};

/// Empty when the value is missing, or no string.
std::wstring ReadText(HKEY hive, const std::wstring& key, const wchar_t* name = nullptr) {
  std::optional<std::wstring> text;
  ReadStringValue(hive, key.c_str(), name, text);
  return text.value_or(std::wstring());
}

std::optional<std::uint32_t> ReadNumber(HKEY hive, const wchar_t* key, const wchar_t* name) {
  // A missing value reads as whatever default is given.
  const DWORD number = ReadDwordSetting(hive, key, name, 0);
  const bool isThere = number != 0 || ReadDwordSetting(hive, key, name, 1) == 0;
  return isThere ? std::optional<std::uint32_t>(number) : std::nullopt;
}

bool IsSame(const std::string& one, const std::string& other) {
  return _stricmp(one.c_str(), other.c_str()) == 0;
}

std::optional<RegisteredHandler> ReadHandler(HKEY hive, const std::wstring& key) {
  const std::wstring clsid = ReadText(hive, key);
  if (clsid.empty()) {
    return std::nullopt;
  }
  return RegisteredHandler{Utf8(clsid), Utf8(ReadText(HKEY_CLASSES_ROOT, L"CLSID\\" + clsid)),
                           Utf8(ReadText(hive, key, kBackup))};
}

RegistrationReport::Class ReadClass(const OurClass& ours) {
  const std::wstring clsid = GuidText(ours.clsid);
  RegistrationReport::Class found{ours.name, Utf8(clsid), {}, {}};
  const std::wstring module = ReadText(HKEY_CLASSES_ROOT, L"CLSID\\" + clsid + L"\\InProcServer32");
  found.module = Utf8(module);
  if (const auto version = ReadFileVersion(module.c_str()); version && !module.empty()) {
    found.version = DottedText(*version);
  }
  for (HKEY hive : kHives) {
    found.isBlocked = found.isBlocked || ValueExists(hive, kBlockedKey, clsid.c_str());
  }
  return found;
}

RegistrationReport::Setting ReadSetting(const wchar_t* name) {
  RegistrationReport::Setting setting{Utf8(name),
                                      ReadNumber(HKEY_LOCAL_MACHINE, kSettingsKey, name),
                                      ReadNumber(HKEY_CURRENT_USER, kSettingsKey, name),
                                      {}};
  setting.effect = IsOnForUser(name)      ? "on"
                   : IsOnForMachine(name) ? "off for this user"
                                          : "off for this computer";
  return setting;
}

std::wstring UsersChoice(const std::wstring& extension) {
  return ReadText(HKEY_CURRENT_USER, kFileTypesOfUserKey + extension + L"\\UserChoice", L"ProgId");
}

std::wstring FileType(const std::wstring& extension) {
  return ReadText(HKEY_CLASSES_ROOT, extension);
}

/// Of all types here Windows itself knows that they are audio.
std::wstring PerceivedType(const std::wstring& extension) {
  const std::wstring type = ReadText(HKEY_CLASSES_ROOT, extension, L"PerceivedType");
  return type.empty() ? L"audio" : type;
}

/// The association array of a file, from the most special place to the most general one. The
/// extension's own key, where thumbnail handlers are registered, is missing in the documented
/// arrays; it is placed as special as the system's entry for the extension.
struct KnownPlace {
  const char* name;
  const wchar_t* parent;
  std::wstring (*find)(const std::wstring& extension);  // empty: there is none
};
constexpr KnownPlace kThumbnailPlaces[] = {
    {"user's choice", L"", UsersChoice},
    {"file type", L"", FileType},
    {"system's entry", kSystemTypesKey, [](const std::wstring& extension) { return extension; }},
    {"extension", L"", [](const std::wstring& extension) { return extension; }},
    {"perceived type", kSystemTypesKey, PerceivedType},
    {"all files", L"", [](const std::wstring&) { return L"*"s; }},
    {"all files and folders", L"", [](const std::wstring&) { return L"AllFilesystemObjects"s; }},
};

RegistrationReport::Type ReadType(const std::wstring& extension) {
  const wchar_t* provider = IsNt6OrLater() ? kThumbnailProviderKey : kExtractImageKey;
  RegistrationReport::Type type;
  type.extension = Utf8(extension);
  type.properties = ReadHandler(HKEY_LOCAL_MACHINE, kPropertyHandlersKey + extension);
  for (const KnownPlace& place : kThumbnailPlaces) {
    if (const std::wstring found = place.find(extension); !found.empty()) {
      const std::wstring key = place.parent + found;
      type.thumbnails.push_back(
          {place.name, Utf8(key), ReadHandler(HKEY_CLASSES_ROOT, key + provider)});
    }
  }
  // A value of the list's key, or a key below it.
  type.override = Utf8(ReadText(HKEY_LOCAL_MACHINE, kWindowsListKey, extension.c_str()));
  if (type.override.empty()) {
    type.override = Utf8(ReadText(HKEY_LOCAL_MACHINE, kWindowsListKey + L"\\"s + extension));
  }
  return type;
}

/// Who answers where `handler` is registered, as far as it is one of ours that is asked for.
std::string Answer(const RegistrationReport& report,
                   const std::optional<RegisteredHandler>& handler, std::size_t ours,
                   const std::string& place = "") {
  const RegistrationReport::Class& own = report.classes[ours];
  if (!handler) {
    return "nobody: no handler is registered";
  }
  if (!IsSame(handler->clsid, own.clsid)) {
    return "another handler: " + (handler->name.empty() ? handler->clsid : handler->name) +
           (place.empty() ? "" : " (" + place + ")");
  }
  if (own.module.empty()) {
    return "nobody: our class is not registered";
  }
  if (own.version.empty()) {
    return "nobody: the module is not there";
  }
  if (own.isBlocked) {
    return "nobody: our class is blocked";
  }
  const std::string& effect = report.settings[ours].effect;
  return effect == "on" ? "ours" : "nobody: switched " + effect;
}

std::vector<RegistrationReport::Verdict> Judge(const RegistrationReport& report) {
  const bool hasProperties = IsNt6OrLater();
  std::vector<RegistrationReport::Verdict> verdicts;
  for (const RegistrationReport::Type& type : report.types) {
    verdicts.push_back({"properties of " + type.extension,
                        !hasProperties           ? "not asked for before Windows Vista"
                        : !type.override.empty() ? "Windows' own handler"
                                                 : Answer(report, type.properties, kProperties)});
  }
  std::string without;  // the policy
  for (const RegistrationReport::Policy& policy : report.policies) {
    for (const KnownPolicy& known : kKnownPolicies) {
      if (known.isEverywhere && policy.effect == known.effect) {
        without = "nobody: " + policy.name + " switches thumbnails off";
      }
    }
  }
  for (const RegistrationReport::Type& type : report.types) {
    RegistrationReport::Place asked;
    for (std::size_t i = 0; i < type.thumbnails.size() && !asked.handler; ++i) {
      asked = type.thumbnails[i];
    }
    verdicts.push_back(
        {"thumbnails of " + type.extension,
         !without.empty() ? without : Answer(report, asked.handler, kThumbnails, asked.name)});
  }
  std::optional<RegisteredHandler> columns;
  const std::string& clsid = report.classes[kColumns].clsid;
  if (!ReadText(HKEY_CLASSES_ROOT, kColumnHandlersKey + GuidText(kColumnHandlerClsid)).empty()) {
    columns = RegisteredHandler{clsid, {}, {}};
  }
  verdicts.push_back({"columns", hasProperties ? "not asked for since Windows Vista"
                                               : Answer(report, columns, kColumns)});
  return verdicts;
}

std::string Handler(const std::optional<RegisteredHandler>& handler) {
  if (!handler) {
    return "none";
  }
  return handler->clsid + (handler->name.empty() ? "" : " (" + handler->name + ")") +
         (handler->backup.empty() ? "" : ", kept from before: " + handler->backup);
}

std::string Number(const std::optional<std::uint32_t>& number) {
  return number ? std::to_string(*number) : "not set";
}

}  // namespace

RegistrationReport ReadRegistration() {
  RegistrationReport report;
  for (const OurClass& ours : kOurClasses) {
    report.classes.push_back(ReadClass(ours));
    report.settings.push_back(ReadSetting(ours.setting));
  }
  report.settings.push_back(ReadSetting(kStandardReadingSetting));
  // Only the machine's value of this one is read, and only the user's of the next.
  RegistrationReport::Setting aiff = ReadSetting(kAiffSetting);
  aiff.effect = IsOnForMachine(kAiffSetting) ? "on" : "off";
  report.settings.push_back(aiff);
  RegistrationReport::Setting logSize = ReadSetting(kLogSizeSetting);
  logSize.effect = std::to_string(logSize.user.value_or(kDefaultLogSize)) + " bytes";
  report.settings.push_back(logSize);
  for (const wchar_t* extension : kExtensions) {
    report.types.push_back(ReadType(extension));
  }
  for (HKEY hive : kHives) {
    for (const KnownPolicy& known : kKnownPolicies) {
      if (ReadDwordSetting(hive, known.key, known.name, 0) != 0) {
        report.policies.push_back(
            {Utf8(known.name), hive == HKEY_LOCAL_MACHINE ? "computer" : "user", known.effect});
      }
    }
  }
  report.verdicts = Judge(report);
  return report;
}

std::string ToText(const RegistrationReport& report) {
  std::string page = "  Who answers\n";
  for (const auto& verdict : report.verdicts) {
    page += ReportLine(verdict.subject, verdict.answer);
  }
  page += "  Classes\n";
  for (const auto& found : report.classes) {
    page += ReportLine(
        found.name + " " + found.clsid.substr(0, 9) + "...}",
        found.module.empty()
            ? "not registered"
            : found.module + ", " + (found.version.empty() ? "not there" : found.version));
  }
  page += "  Settings\n";
  for (const auto& setting : report.settings) {
    page += ReportLine(setting.name, "computer " + Number(setting.machine) + ", user " +
                                         Number(setting.user) + ": " + setting.effect);
  }
  page += "  Types\n";
  for (const auto& type : report.types) {
    page += ReportLine(type.extension + " properties", Handler(type.properties));
    page += ReportLine(type.extension + " in Windows' own list",
                       type.override.empty() ? "no" : type.override);
    for (const auto& place : type.thumbnails) {
      if (place.handler) {
        page += ReportLine(type.extension + " thumbnails, " + place.name,
                           place.key + ": " + Handler(place.handler));
      }
    }
  }
  page += report.policies.empty() ? "  Policies\n    none\n" : "  Policies\n";
  for (const auto& policy : report.policies) {
    page += ReportLine(policy.name + " (" + policy.hive + ")", policy.effect);
  }
  return page;
}

namespace {

void WriteHandler(JsonWriter& json, const char* key,
                  const std::optional<RegisteredHandler>& handler) {
  json.Member(key, [&] {
    if (!handler) {
      json.Value(nullptr);
      return;
    }
    json.Object([&] {
      json.Member("clsid", handler->clsid);
      json.Member("name", handler->name);
      json.Member("backup", handler->backup);
    });
  });
}

void Write(JsonWriter& json, const RegistrationReport::Class& found) {
  json.Member("name", found.name);
  json.Member("clsid", found.clsid);
  json.Member("module", found.module);
  json.Member("version", found.version);
  json.Member("blocked", found.isBlocked);
}

void Write(JsonWriter& json, const RegistrationReport::Setting& setting) {
  json.Member("name", setting.name);
  json.Member("machine", setting.machine);
  json.Member("user", setting.user);
  json.Member("effect", setting.effect);
}

void Write(JsonWriter& json, const RegistrationReport::Type& type) {
  json.Member("extension", type.extension);
  WriteHandler(json, "properties", type.properties);
  json.Member("windowsOwn", type.override);
  json.Member("thumbnails", [&] {
    json.Array(type.thumbnails, [&](const RegistrationReport::Place& place) {
      json.Object([&] {
        json.Member("place", place.name);
        json.Member("key", place.key);
        WriteHandler(json, "handler", place.handler);
      });
    });
  });
}

void Write(JsonWriter& json, const RegistrationReport::Policy& policy) {
  json.Member("name", policy.name);
  json.Member("hive", policy.hive);
  json.Member("effect", policy.effect);
}

void Write(JsonWriter& json, const RegistrationReport::Verdict& verdict) {
  json.Member("subject", verdict.subject);
  json.Member("answer", verdict.answer);
}

}  // namespace

void WriteJson(JsonWriter& json, const RegistrationReport& report) {
  const auto list = [&](const char* key, const auto& entries) {
    json.Member(key, [&] {
      json.Array(entries, [&](const auto& entry) { json.Object([&] { Write(json, entry); }); });
    });
  };
  json.Object([&] {
    list("classes", report.classes);
    list("settings", report.settings);
    list("types", report.types);
    list("policies", report.policies);
    list("verdicts", report.verdicts);
  });
}

}  // namespace tagsmith
