// The ready-made texts of track values. Each formatter writes into a buffer whose size is its
// capacity in characters, terminator included; a text that does not fit is cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tagsmith {

inline constexpr std::size_t kDurationTextSize = 48;
inline constexpr std::size_t kFileSizeTextSize = 48;
inline constexpr std::size_t kBitRateTextSize = 64;
inline constexpr std::size_t kTagVersionTextSize = 64;

/// The time `quantity` / `divisor` in seconds, as "59 seconds", "1:00 (60 seconds)" or
/// "1:00:00 (3600 seconds)". A divisor of 0 counts as 1. Returns the text's length.
std::size_t FormatDuration(std::span<char> text, std::uint64_t quantity, std::uint64_t divisor);

/// "1023 bytes", "1.00 KB (1535 bytes)", "0.98 MB (1024000 bytes)". Kilobytes are whole ones, so
/// their decimals are always 00, and megabytes begin at 1000 of them.
std::size_t FormatFileSize(std::span<char> text, std::uint64_t bytes);

/// "128 kbps (CBR)". `kilobitsPerSecond` is shown as a signed number.
std::size_t FormatBitRate(std::span<char> text, std::uint32_t kilobitsPerSecond, bool isVbr,
                          bool isEstimated);

/// What the tag version text is made of.
struct TagVersions {
  bool v1Present = false;
  bool v2Present = false;
  std::int32_t v2Version = 0;  // major version
  bool podcast = false;
};

/// "V1 and V2.4", "V1", "V2.5 (unsupported)", followed by " (podcast)" for a podcast. Without a tag
/// the podcast mark is appended to the text that is there.
std::size_t FormatTagVersion(std::span<char> text, const TagVersions& versions);

}  // namespace tagsmith
