// Where the values of an ID3v1 tag stand: a block of 128 bytes at the end of a file.
#pragma once

#include <span>

#include "tags/tag_model.h"

namespace tagsmith {

inline constexpr std::size_t kV1BlockSize = 128;

/// A text of the block and where it goes.
struct V1Text {
  std::size_t offset;
  std::size_t size;
  std::span<char> (*target)(ID3Tag& tag);
};
inline constexpr V1Text kV1Texts[] = {
    {3, 30, [](ID3Tag& tag) { return std::span<char>(tag.v1Title); }},
    {33, 30, [](ID3Tag& tag) { return std::span<char>(tag.v1Artist); }},
    {63, 30, [](ID3Tag& tag) { return std::span<char>(tag.v1Album); }},
    {93, 4, [](ID3Tag& tag) { return std::span<char>(tag.v1Year); }},
    {97, 30, [](ID3Tag& tag) { return std::span<char>(tag.v1Comment); }},
};
/// ID3v1.1 takes the last byte of the comment, after a zero byte, for the track.
inline constexpr std::size_t kV1TrackOffset = 126;
inline constexpr std::size_t kV1GenreOffset = 127;

}  // namespace tagsmith
