#include "tools/json_writer.h"

#include <array>

#include "format/bounded.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10U;

}  // namespace

void JsonWriter::Spill(std::size_t most) {
  if (file_ != nullptr && text_.size() > most) {
    std::fwrite(text_.data(), 1, text_.size(), file_);
    text_.clear();
  }
}

void JsonWriter::Separate() {
  Spill(kBlock);
  if (needsComma_) {
    text_ += ", ";
  }
  needsComma_ = true;
}

void JsonWriter::Literal(std::string_view value) {
  Separate();
  text_ += value;
}

void JsonWriter::Open(char bracket) {
  Separate();
  text_ += bracket;
  needsComma_ = false;
}

void JsonWriter::Close(char bracket) {
  text_ += bracket;
  needsComma_ = true;
}

void JsonWriter::Key(std::string_view key) {
  Separate();
  text_ += '"';
  text_ += key;
  text_ += "\": ";
  needsComma_ = false;
}

void JsonWriter::Character(char32_t character) {
  if (character == '"' || character == '\\') {
    text_ += '\\';
    text_ += static_cast<char>(character);
  } else if (character < 0x20 || IsSurrogate(character)) {
    std::array<char, 8> escape{};
    FormatBounded(escape, "\\u%04x", static_cast<unsigned>(character));
    text_ += escape.data();
  } else {
    AppendUtf8(text_, character);
  }
}

void JsonWriter::Value(double value) {
  std::array<char, 32> text{};
  FormatBounded(text, "%.3f", value);
  Literal(text.data());
}

void JsonWriter::Value(std::u16string_view text) {
  Separate();
  text_ += '"';
  while (!text.empty()) {
    Character(TakeUtf16(text));
    Spill(kBlock);
  }
  text_ += '"';
}

void JsonWriter::Value(std::string_view text) {
  Value(std::u16string_view(Utf8ToUtf16(text).value_or(WidenLatin1(text))));
}

std::string HashText(std::span<const std::byte> bytes) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const std::byte byte : bytes) {
    hash = (hash ^ std::to_integer<std::uint64_t>(byte)) * 0x100000001B3U;
  }
  std::array<char, 17> text{};
  FormatBounded(text, "%016llx", static_cast<unsigned long long>(hash));
  return text.data();
}

}  // namespace tagsmith
