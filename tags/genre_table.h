// The genre names: ID3v1 numbers the first 80, the references of ID3v2 all 126.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tagsmith {

inline constexpr std::size_t kGenreCount = 126;
inline constexpr std::uint8_t kV1GenreCount = 80;
inline constexpr std::uint8_t kGenreOther = 12;

/// The name for an ID3v1 genre number; a number of 80 or more gives "Other". Owned by the table.
const char* GetGenreName(std::uint8_t index);

/// The name for the number of an ID3v2 reference, below kGenreCount. Owned by the table.
const char* GetReferencedGenreName(std::size_t index);

}  // namespace tagsmith
