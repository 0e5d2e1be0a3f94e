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

/// The quotient, rounded to the nearest number and in the middle to the even one.
std::uint64_t DivideToEven(std::uint64_t dividend, std::uint64_t divisor) {
  const std::uint64_t quotient = dividend / divisor;
  const std::uint64_t twice = 2 * (dividend % divisor);
  return quotient + (twice > divisor || (twice == divisor && quotient % 2 != 0) ? 1 : 0);
}

}  // namespace

std::size_t FormatDuration(std::span<char> text, std::uint64_t quantity, std::uint64_t divisor) {
  const std::uint64_t seconds = divisor == 0 ? quantity : quantity / divisor;
  const Decimal all(seconds);
  const Decimal rest(seconds % 60, 2);
  if (seconds < 60) {
    return JoinBounded(text, {all, " seconds"});
  }
  if (seconds >= 3600) {
    return JoinBounded(text, {Decimal(seconds / 3600), ":", Decimal(seconds / 60 % 60, 2), ":",
                              rest, " (", all, " seconds)"});
  }
  return JoinBounded(text, {Decimal(seconds / 60), ":", rest, " (", all, " seconds)"});
}

std::size_t FormatFileSize(std::span<char> text, std::uint64_t bytes) {
  const Decimal all(bytes);
  // Counted in single precision, which is what sizes from 16 GB on show.
  const std::uint64_t wholeKilobytes = bytes / 1024;
  const auto kilobytes = static_cast<std::uint64_t>(static_cast<float>(wholeKilobytes));
  if (kilobytes < 1) {
    return JoinBounded(text, {all, " bytes"});
  }
  const bool isLarge = kilobytes >= 1000;
  const std::uint64_t hundredths = isLarge ? DivideToEven(100 * kilobytes, 1024) : 100 * kilobytes;
  return JoinBounded(text, {Decimal(hundredths / 100), ".", Decimal(hundredths % 100, 2),
                            isLarge ? " MB (" : " KB (", all, " bytes)"});
}

std::size_t FormatBitRate(std::span<char> text, std::uint32_t kilobitsPerSecond, bool isVbr,
                          bool isEstimated) {
  return JoinBounded(text, {Decimal(static_cast<std::int32_t>(kilobitsPerSecond)), " kbps (",
                            kVbrKindNames[isVbr ? 1 : 0][isEstimated ? 1 : 0], ")"});
}

std::size_t FormatTagVersion(std::span<char> text, const TagVersions& versions) {
  const char* suffix = versions.v2Version >= kFirstUnsupportedVersion ? " (unsupported)" : "";
  if (versions.v1Present && versions.v2Present) {
    JoinBounded(text, {"V1 and V2.", Decimal(versions.v2Version), suffix});
  } else if (versions.v1Present) {
    CopyBounded(text, "V1");
  } else if (versions.v2Present) {
    JoinBounded(text, {"V2.", Decimal(versions.v2Version), suffix});
  }
  return AppendBounded(text, versions.podcast ? " (podcast)" : "");
}

}  // namespace tagsmith
