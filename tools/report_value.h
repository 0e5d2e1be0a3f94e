// A value that a handler answered.
#pragma once

#include <windows.h>

#include <wtypes.h>

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "tools/json_writer.h"

namespace tagsmith {

/// The content of a VARIANT or PROPVARIANT, of the types that are looked at.
using ReportContent = std::variant<std::monostate, std::wstring, std::vector<std::wstring>, bool,
                                   std::vector<bool>, std::int32_t, std::uint32_t, std::uint64_t>;

struct ReportValue {
  VARTYPE type = VT_EMPTY;
  ReportContent content;
};

/// What a report calls a type.
struct TypeName {
  VARTYPE type;
  const char* name;
};

/// "vt:N" for a type without a name.
std::string NameOfType(VARTYPE type, std::span<const TypeName> names);

/// A null where there is no content.
void WriteJson(JsonWriter& json, const ReportContent& content);

/// For people; lists with "; " between their entries, empty where there is no content.
std::string ToText(const ReportContent& content);

}  // namespace tagsmith
