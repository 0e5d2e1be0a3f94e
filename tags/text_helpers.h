// Small narrow-text operations that the parsers share.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "tags/byte_order.h"

namespace tagsmith {

/// A view of bytes as characters.
std::string_view AsText(ByteView bytes);

/// The characters before the first zero byte, all where there is none.
std::string_view UpToZero(std::string_view text);

/// Takes the characters before the first zero byte, and that byte, off the front of `bytes`.
std::string_view TakeTerminated(ByteView& bytes);

/// ASCII lower case; other bytes stay.
char ToLower(char c);

/// Bounded comparison of `count` characters without regard to case. It stops as equal at a zero
/// character in both; beyond its end a text counts as zero characters.
bool EqualIgnoringCase(std::string_view left, std::string_view right, std::size_t count);

/// Whether `bytes` begin with the magic word, without regard to case.
bool BeginsWithWord(ByteView bytes, std::string_view word);

/// Whether the last "." of `name` and the three characters after it are `extension`, without
/// regard to case (".aiff" counts as ".aif").
bool HasExtension(std::string_view name, std::string_view extension);

/// The decimal number that `text` begins with: leading blanks and a sign are allowed, reading stops
/// at the first other character, no digits give 0. Saturates at 32 bits.
std::int32_t ParseDecimal(std::string_view text);

/// The standard text of an error number, "Success" for 0; owned by the run-time library and valid
/// until the next call on the thread.
const char* ErrorText(int errorNumber);

}  // namespace tagsmith
