// Genres of the standard reading: the 192 names in use, and the references to them.
#pragma once

#include <cstdint>
#include <string_view>

#include "tags/standard/text.h"

namespace tagsmith::standard {

/// The name for a number, owned by a table; empty where there is none.
const char* GenreName(std::size_t index);

inline constexpr std::size_t kMostGenres = 64;

/// The genres that a value of TCON tells (ID3v2.3.0, 4.2.1; ID3v2.4.0 frames, 4.2.3): references
/// in parentheses, numbers, RX and CR, and text, of which "((" begins with a parenthesis. A number
/// without a name gives nothing; a genre that is told twice counts once. Of more than
/// kMostGenres the others are left out.
void AddGenres(std::u16string_view value, Values& genres);

}  // namespace tagsmith::standard
