#include "tools/report_value.h"

#include <algorithm>
#include <concepts>
#include <type_traits>

#include "handlers/overloaded.h"
#include "tags/unicode.h"
#include "tools/report_text.h"

namespace tagsmith {
namespace {

std::string Show(const std::wstring& text) { return Utf8(text); }
std::string Show(bool flag) { return flag ? "yes" : "no"; }

template <typename Entry>
std::string Joined(const std::vector<Entry>& entries) {
  std::string joined;
  for (const Entry& entry : entries) {
    joined += (joined.empty() ? "" : "; ") + Show(entry);
  }
  return joined;
}

}  // namespace

std::string NameOfType(VARTYPE type, std::span<const TypeName> names) {
  const auto named =
      std::find_if(names.begin(), names.end(), [&](const TypeName& n) { return n.type == type; });
  return named != names.end() ? named->name : "vt:" + std::to_string(type);
}

void WriteJson(JsonWriter& json, const ReportContent& content) {
  const auto writeText = [&](const std::wstring& text) { json.Value(Utf16(text)); };
  const auto writePlain = [&](std::integral auto value) { json.Value(value); };
  std::visit(Overloaded{
                 [&](std::monostate) { json.Value(nullptr); },
                 writeText,
                 writePlain,
                 [&](const std::vector<std::wstring>& texts) { json.Array(texts, writeText); },
                 [&](const std::vector<bool>& flags) { json.Array(flags, writePlain); },
             },
             content);
}

std::string ToText(const ReportContent& content) {
  return std::visit(Overloaded{
                        [](std::monostate) { return std::string(); },
                        [](const std::wstring& text) { return Show(text); },
                        [](bool flag) { return Show(flag); },
                        [](std::integral auto number) { return std::to_string(number); },
                        [](const std::vector<std::wstring>& texts) { return Joined(texts); },
                        [](const std::vector<bool>& flags) { return Joined(flags); },
                    },
                    content);
}

}  // namespace tagsmith
