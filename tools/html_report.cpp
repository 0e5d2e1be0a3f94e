#include "tools/html_report.h"

#include <wincrypt.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include "format/bounded.h"
#include "shellext/property_lists.h"
#include "tags/unicode.h"
#include "tools/report_text.h"

namespace tagsmith {
namespace {

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>Tracks</title><style>
body { font: 14px "Segoe UI", sans-serif; background: #f3f3f3; color: #222; margin: 2em; }
section { background: #fff; border-radius: 8px; padding: 1em 1.5em; margin-bottom: 1.5em;
          box-shadow: 0 1px 3px #0003; }
h2 { font-size: 15px; margin: 0 0 1em; } h3 { font-size: 12px; color: #666; margin: 0 0 .4em; }
.views { display: flex; flex-wrap: wrap; gap: 2em; align-items: flex-start; }
.tile { display: flex; gap: .8em; } .tile img, .none { width: 96px; height: 96px;
        object-fit: contain; background: #eee; }
.tip { background: #ffffe8; border: 1px solid #bbb; padding: .4em .7em; }
td, th { padding: 1px .8em 1px 0; vertical-align: top; text-align: left; font-weight: normal; }
td:first-child { color: #666; } .group { font-weight: 600; padding-top: .5em; }
</style></head><body>
)";

/// RFC 4648, 4.
std::string Base64(std::span<const std::byte> bytes) {
  constexpr DWORD kForm = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
  const auto* data = reinterpret_cast<const BYTE*>(bytes.data());
  const auto size = static_cast<DWORD>(bytes.size());
  DWORD length = 0;
  CryptBinaryToStringA(data, size, kForm, nullptr, &length);
  std::string text(length, '\0');
  CryptBinaryToStringA(data, size, kForm, text.data(), &length);
  text.resize(length);
  return text;
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    const char* entity = c == '&'   ? "&amp;"
                         : c == '<' ? "&lt;"
                         : c == '>' ? "&gt;"
                         : c == '"' ? "&quot;"
                                    : nullptr;
    entity != nullptr ? escaped += entity : escaped += c;
  }
  return escaped;
}

/// "System.Music.AlbumTitle" as "Album title".
std::string Label(std::string_view name) {
  std::string label;
  for (const char c : name.substr(name.rfind('.') + 1)) {
    const bool isUpper = std::isupper(static_cast<unsigned char>(c)) != 0;
    label += !label.empty() && isUpper ? " " : "";
    label += label.empty() || !isUpper
                 ? c
                 : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return label;
}

std::string Duration(std::uint64_t units) {
  const auto seconds = static_cast<unsigned long>(units / 10'000'000);
  std::array<char, 40> text{};
  FormatBounded(text, "%02lu:%02lu:%02lu", seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text.data();
}

/// As the shell words it.
std::string Worded(std::string_view name, std::uint64_t number, const std::string& plain) {
  if (name == "System.Media.Duration" || name == "Duration") {
    return Duration(number);
  }
  if (name == "System.Audio.EncodingBitrate" || name == "Bit rate") {
    return std::to_string(number / 1000) + " kbps";
  }
  if (name == "Sample rate") {
    return std::to_string(number) + " Hz";
  }
  if (name == "System.Rating") {
    std::string stars;
    for (const unsigned least : {1U, 13U, 38U, 63U, 87U}) {
      stars += number >= least ? "\u2605" : "\u2606";
    }
    return stars;
  }
  return plain;
}

/// The value of a property for people; empty where there is none.
std::string ValueOf(const FileReport& report, std::string_view name) {
  if (report.properties) {
    for (const PropertyItem& item : report.properties->items) {
      if (NameOf(item.key) == name) {
        return Worded(name, NumberIn(item.value.content), ToText(item.value.content));
      }
    }
  }
  return {};
}

/// The properties' names of a list, without its "prop:" and the marks before them.
std::vector<std::string> NamesOf(std::wstring_view listName) {
  std::vector<std::string> names;
  const auto* list = std::find_if(std::begin(kPropertyLists), std::end(kPropertyLists),
                                  [&](const PropertyList& l) { return l.name == listName; });
  std::string text = Utf16ToUtf8(Utf16(std::wstring_view(list->text).substr(5)));
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(';', at), text.size());
    const std::size_t start = at + (text[at] == '*' ? 1 : 0);
    names.push_back(text.substr(start, end - start));
    at = end + 1;
  }
  return names;
}

std::string Row(const std::string& label, const std::string& value) {
  return "<tr><td>" + Escaped(label) + "</td><td>" + Escaped(value) + "</td></tr>\n";
}

std::string Tile(const FileReport& report, const std::string& name) {
  std::string tile = "<div><h3>Tile</h3><div class=tile>";
  tile += report.thumbnail && report.thumbnail->pixels
              ? "<img alt=\"\" src=\"data:image/png;base64," +
                    Base64(EncodePng(*report.thumbnail->pixels)) + "\">"
              : std::string("<div class=none></div>");
  tile += "<div>" + Escaped(name);
  for (const std::string& property : NamesOf(L"ExtendedTileInfo")) {
    const std::string value = ValueOf(report, property);
    tile += value.empty() ? "" : "<br>" + Escaped(value);
  }
  return tile + "</div></div></div>\n";
}

std::string ToolTip(const FileReport& report) {
  std::string tip;
  for (const std::string& property : NamesOf(L"InfoTip")) {
    const std::string value = ValueOf(report, property);
    if (!value.empty()) {
      tip += (tip.empty() ? "" : "<br>") + Escaped(Label(property) + ": " + value);
    }
  }
  return tip.empty() ? "" : "<div><h3>Tool tip</h3><div class=tip>" + tip + "</div></div>\n";
}

std::string DetailsPane(const FileReport& report) {
  std::string rows;
  std::string group;
  for (const std::string& property : NamesOf(L"FullDetails")) {
    if (property.starts_with("System.PropGroup.")) {
      group = "<tr><th class=group colspan=2>" + Label(property) + "</th></tr>\n";
    } else if (const std::string value = ValueOf(report, property); !value.empty()) {
      rows += std::exchange(group, "") + Row(Label(property), value);
    }
  }
  return "<div><h3>Details</h3><table>" + rows + "</table></div>\n";
}

std::string Columns(const FileReport& report) {
  if (!report.columns) {
    return {};
  }
  std::string rows;
  for (const ColumnItem& item : report.columns->items) {
    if (item.result == S_OK) {
      const std::string title = Utf16ToUtf8(Utf16(item.title));
      rows += Row(title, Worded(title, NumberIn(item.value.content), ShowValue(item)));
    }
  }
  return "<div><h3>Columns</h3><table>" + rows + "</table></div>\n";
}

}  // namespace

std::string ToHtml(std::span<const FileReport> files) {
  std::string page = kHead;
  for (const FileReport& report : files) {
    const std::string name = report.file.substr(report.file.find_last_of("/\\") + 1);
    page += "<section><h2>" + Escaped(report.file) + "</h2>\n<p>Reading: " + report.reading +
            "</p>\n<div class=views>\n";
    page += Tile(report, name) + ToolTip(report) + DetailsPane(report) + Columns(report);
    page += "</div></section>\n";
  }
  return page + "</body></html>\n";
}

}  // namespace tagsmith
