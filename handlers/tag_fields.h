// What the shell is shown of a tag: the one table of fields, for properties and columns.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "handlers/property_keys.h"
#include "handlers/wide_text.h"
#include "tags/tag_model.h"

namespace tagsmith {

using WideTexts = std::vector<std::wstring>;

/// Nothing, a text, several texts, a number or a flag.
using Value = std::variant<std::monostate, WideText, WideTexts, std::int32_t, std::uint32_t,
                           std::uint64_t, bool>;

enum class ShownIn { kBoth, kProperties, kColumns };

/// One key and how its value is read.
struct Field {
  const NamedKey& key;
  Value (*read)(const ID3Tag& tag);
  ShownIn shownIn = ShownIn::kBoth;
};

/// In the order in which properties are stored.
std::span<const Field> V2Fields();
std::span<const Field> V1Fields();
std::span<const Field> AudioFields(const ID3Tag& tag);

}  // namespace tagsmith
