// JSON (RFC 8259), written in order.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace tagsmith {

/// Builds one JSON text in memory, or writes it to a file block by block. Commas and brackets are
/// put where they belong.
class JsonWriter {
 public:
  JsonWriter() = default;
  /// The file stays the caller's, and has all of the text when the writer ends.
  explicit JsonWriter(std::FILE* file) : file_(file) {}
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;
  ~JsonWriter() { Spill(0); }

  /// `body()` writes the members.
  template <std::invocable Body>
  void Object(Body body) {
    Open('{');
    body();
    Close('}');
  }

  /// `writeEntry(entry)` writes one value for each entry.
  template <typename Range,
            std::invocable<decltype(*std::declval<const Range&>().begin())> WriteEntry>
  void Array(const Range& entries, WriteEntry writeEntry) {
    Open('[');
    for (const auto& entry : entries) {
      writeEntry(entry);
    }
    Close(']');
  }

  /// `key` must need no escapes. `value` is what Value takes, or a function that writes one value.
  template <typename T>
  void Member(std::string_view key, const T& value) {
    Key(key);
    if constexpr (std::invocable<T>) {
      value();
    } else {
      Value(value);
    }
  }

  void Value(std::nullptr_t /*null*/) { Literal("null"); }
  /// A number, or a flag.
  template <std::integral T>
  void Value(T value) {
    if constexpr (std::same_as<T, bool>) {
      Literal(value ? "true" : "false");
    } else {
      Literal(std::to_string(value));
    }
  }

  /// A finite number, to three places.
  void Value(double value);

  /// Text in UTF-16; an unpaired surrogate becomes its \uXXXX escape.
  void Value(std::u16string_view text);
  /// Text in UTF-8; as a whole decoded as ISO-8859-1 when it is not well-formed.
  void Value(std::string_view text);
  void Value(const char* text) { Value(std::string_view(text)); }

  /// Null without a value.
  template <typename T>
  void Value(const std::optional<T>& value) {
    value ? Value(*value) : Value(nullptr);
  }

  /// The text that is built in memory.
  [[nodiscard]] const std::string& Result() const { return text_; }

 private:
  void Key(std::string_view key);
  void Separate();
  void Literal(std::string_view value);
  void Open(char bracket);
  void Close(char bracket);
  void Character(char32_t character);
  /// Gives the text to the file, if there is one, as soon as it has more than `most` bytes.
  void Spill(std::size_t most);

  std::FILE* file_ = nullptr;
  std::string text_;
  bool needsComma_ = false;
};

/// The 64-bit FNV-1a hash of the bytes, as 16 hexadecimal digits.
std::string HashText(std::span<const std::byte> bytes);

}  // namespace tagsmith
