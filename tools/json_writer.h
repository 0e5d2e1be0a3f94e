// JSON (RFC 8259), written in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tagsmith {

/// Builds one JSON text in memory. Commas are put where they belong; the caller opens and closes
/// objects and arrays in pairs and gives each member a key.
class JsonWriter {
 public:
  void BeginObject() { Open('{'); }
  void EndObject() { Close('}'); }
  void BeginArray() { Open('['); }
  void EndArray() { Close(']'); }

  /// `key` must need no escapes.
  void Key(std::string_view key);

  void Null() { Literal("null"); }
  void Bool(bool value) { Literal(value ? "true" : "false"); }
  void Integer(std::int64_t value) { Literal(std::to_string(value)); }
  void Unsigned(std::uint64_t value) { Literal(std::to_string(value)); }

  /// Text in UTF-16; an unpaired surrogate becomes its \uXXXX escape.
  void Text(std::u16string_view text);
  /// Text decoded byte by byte as ISO-8859-1.
  void Latin1(std::string_view text);
  /// Text in UTF-8; as a whole decoded as ISO-8859-1 when it is not well-formed.
  void Utf8(std::string_view text);

  /// The 64-bit FNV-1a hash of the bytes, as 16 hexadecimal digits.
  void Hash(std::span<const std::byte> bytes);

  [[nodiscard]] const std::string& Result() const { return text_; }

 private:
  void Separate();
  void Literal(std::string_view value);
  void Open(char bracket);
  void Close(char bracket);
  void Character(char32_t character);

  std::string text_;
  bool needsComma_ = false;
};

}  // namespace tagsmith
