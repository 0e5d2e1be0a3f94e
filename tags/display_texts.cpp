#include "tags/display_texts.h"

#include "format/bounded.h"

namespace tagsmith {
namespace {

// By [VBR flag][estimated flag].
constexpr const char* kVbrKindNames[2][2] = {
    {"CBR", "CBR quick"},
    {"VBR average", "VBR quick"},
};

constexpr std::int32_t kFirstUnsupportedVersion = 5;

}  // namespace

std::size_t FormatDuration(std::span<char> text, std::uint64_t quantity, std::uint64_t divisor) {
  const auto seconds = static_cast<long long>(divisor == 0 ? quantity : quantity / divisor);
  const auto unsignedSeconds = static_cast<unsigned long long>(seconds);
  const auto hours = static_cast<long long>(unsignedSeconds / 3600);
  const auto minutes = static_cast<long long>(unsignedSeconds / 60);
  const auto restMinutes = static_cast<long long>(unsignedSeconds / 60 % 60);
  const auto restSeconds = static_cast<long long>(unsignedSeconds % 60);
  if (unsignedSeconds < 60) {
    return FormatBounded(text, "%lld seconds", seconds);
  }
  if (unsignedSeconds >= 3600) {
    return FormatBounded(text, "%lld:%02lld:%02lld (%lld seconds)", hours, restMinutes, restSeconds,
                         seconds);
  }
  return FormatBounded(text, "%lld:%02lld (%lld seconds)", minutes, restSeconds, seconds);
}

std::size_t FormatFileSize(std::span<char> text, std::uint64_t bytes) {
  const std::uint64_t wholeKilobytes = bytes / 1024;
  const auto kilobytes = static_cast<float>(wholeKilobytes);
  const auto count = static_cast<long long>(bytes);
  if (kilobytes < 1.0F) {
    return FormatBounded(text, "%lld bytes", count);
  }
  if (kilobytes < 1000.0F) {
    return FormatBounded(text, "%.2f KB (%lld bytes)", static_cast<double>(kilobytes), count);
  }
  const float megabytes = kilobytes / 1024.0F;
  return FormatBounded(text, "%.2f MB (%lld bytes)", static_cast<double>(megabytes), count);
}

std::size_t FormatBitRate(std::span<char> text, std::uint32_t kilobitsPerSecond, bool isVbr,
                          bool isEstimated) {
  return FormatBounded(text, "%d kbps (%s)", static_cast<std::int32_t>(kilobitsPerSecond),
                       kVbrKindNames[isVbr ? 1 : 0][isEstimated ? 1 : 0]);
}

std::size_t FormatTagVersion(std::span<char> text, const TagVersions& versions) {
  const char* suffix = versions.v2Version >= kFirstUnsupportedVersion ? " (unsupported)" : "";
  if (versions.v1Present && versions.v2Present) {
    FormatBounded(text, "V1 and V2.%d%s", versions.v2Version, suffix);
  } else if (versions.v1Present) {
    CopyBounded(text, "V1");
  } else if (versions.v2Present) {
    FormatBounded(text, "V2.%d%s", versions.v2Version, suffix);
  }
  return AppendBounded(text, versions.podcast ? " (podcast)" : "");
}

}  // namespace tagsmith
