// Converts the input as text, writes it as JSON, and formats its first numbers for display.
#include <algorithm>
#include <array>
#include <cstring>

#include "fuzz/target.h"
#include "tags/display_texts.h"
#include "tags/text_conversion.h"
#include "tags/text_helpers.h"
#include "tags/unicode.h"
#include "tools/json_writer.h"

namespace tagsmith::fuzz {
namespace {

void Convert(ByteView input) {
  for (const std::uint32_t encoding : {kLatin1, kUtf16, kUtf16Be, kUtf8}) {
    for (const TextReduction mode :
         {TextReduction::kKeepUnicode, TextReduction::kAscii, TextReduction::kLatin1}) {
      const ConvertedText text = ConvertText(input, encoding, mode);
      const bool isWide = encoding != kLatin1 && mode == TextReduction::kKeepUnicode;
      Require(text.bytes.size() > text.length * (isWide ? 2 : 1), "a text has a terminator");
      const std::string narrow = ConvertToNarrow(input, encoding, mode);
      Require(narrow == UpToZero(text.bytes), "narrow text ends at the first zero");
      for (const std::size_t longest : {1U, 2U, 5U, 12U, 300U}) {
        const ConvertedText cut = ConvertText(input, encoding, mode, longest);
        Require(cut.length == std::min<std::uint64_t>(text.length, longest), "a text is cut");
        const std::size_t same = static_cast<std::size_t>(cut.length) * (isWide ? 2 : 1);
        Require(cut.bytes.compare(0, same, text.bytes, 0, same) == 0,
                "a text that is cut begins as the whole one");
        const std::size_t beside = 2;  // mark and terminator
        Require(cut.length == text.length || cut.bytes.size() <= same + beside * (isWide ? 2 : 1),
                "a text that is cut takes no memory for the rest");
      }
    }
  }
}

/// No character below a blank, no quote without its escape, well-formed UTF-8.
void WriteAsJson(std::string_view input) {
  JsonWriter json;
  json.Object([&] {
    json.Member("text", input);
    json.Member("wide", DecodeUtf16(input));
  });
  const std::string& text = json.Result();
  for (const char c : text) {
    Require(static_cast<unsigned char>(c) >= 0x20, "JSON has no control characters");
  }
  Require(Utf8ToUtf16(text).has_value(), "JSON is UTF-8");
  std::size_t quotes = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      ++quotes;
    }
  }
  Require(quotes == 8, "quotes are escaped");
}

/// Of 16-bit text all but unpaired surrogates survives the way through UTF-8.
void GoThroughUtf8(std::string_view input) {
  std::u16string wide = DecodeUtf16(input);
  std::u16string back = Utf8ToUtf16(Utf16ToUtf8(wide)).value();
  Require(back.size() == wide.size(), "UTF-8 has as many units");
  for (std::size_t i = 0; i < wide.size(); ++i) {
    Require(back[i] == wide[i] || IsSurrogate(wide[i]), "UTF-8 has the same units");
  }
}

void Format(std::string_view input) {
  std::array<std::uint64_t, 2> numbers{};
  std::memcpy(numbers.data(), input.data(), std::min(input.size(), sizeof numbers));
  const auto low = static_cast<std::uint32_t>(numbers[0]);
  for (const std::size_t room : {std::size_t{1}, std::size_t{9}, std::size_t{64}}) {
    std::string text(room, '\0');
    const auto isTerminated = [&](std::size_t length) {
      Require(length < room && text[length] == '\0', "a display text is terminated");
    };
    isTerminated(FormatDuration(text, numbers[0], numbers[1]));
    isTerminated(FormatFileSize(text, numbers[0]));
    isTerminated(FormatBitRate(text, low, (low & 1U) != 0, (low & 2U) != 0));
    text[0] = '\0';
    isTerminated(FormatTagVersion(text, {.v1Present = (low & 1U) != 0,
                                         .v2Present = (low & 2U) != 0,
                                         .v2Version = static_cast<std::int32_t>(numbers[1]),
                                         .podcast = (low & 4U) != 0}));
  }
}

}  // namespace

void CheckTexts(std::string_view input) {
  Convert(test::Bytes(input));
  WriteAsJson(input);
  GoThroughUtf8(input);
  Format(input);
}

}  // namespace tagsmith::fuzz
