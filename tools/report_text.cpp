#include "tools/report_text.h"

#include <algorithm>
#include <array>

#include "format/bounded.h"

namespace tagsmith {

std::u16string_view Utf16(std::wstring_view text) {
  return {reinterpret_cast<const char16_t*>(text.data()), text.size()};
}

std::string ReportLine(std::string name, const std::string& value) {
  constexpr std::size_t kNameWidth = 40;
  name.resize(std::max(kNameWidth, name.size() + 1), ' ');
  return "    " + name + value + "\n";
}

std::string HexResult(HRESULT result) {
  std::array<char, 12> text{};
  FormatBounded(text, "0x%08X", static_cast<unsigned>(result));
  return text.data();
}

}  // namespace tagsmith
