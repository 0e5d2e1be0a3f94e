// Tag texts as the shell takes them: UTF-16 in a fixed buffer.
#pragma once

#include <windows.h>

#include <array>
#include <string_view>

#include "tags/tag_model.h"

namespace tagsmith {

/// Texts of more than 1023 characters are cut. An absent text is empty; narrow text is read in the
/// ANSI code page; of wide text the byte-order mark is left out.
class WideText {
 public:
  void Set(const TagText& field);
  void Set(const NarrowText& text);
  void Set(const char* narrow);

  [[nodiscard]] const wchar_t* Get() const { return characters_.data(); }
  /// The buffer, to format a text into.
  std::span<wchar_t> Buffer() { return characters_; }

 private:
  void SetNarrow(std::string_view narrow);
  void SetWide(std::u16string_view wide);

  std::array<wchar_t, 1024> characters_{};
};

}  // namespace tagsmith
