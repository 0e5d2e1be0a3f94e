// What tsprobe prints of the thumbnail handler's answer.
#pragma once

#include <windows.h>

#include <thumbcache.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/json_writer.h"
#include "tools/shell_host.h"

namespace tagsmith {

/// The pixels of a bitmap.
struct Pixels {
  int width = 0;
  int height = 0;
  int bitsPerPixel = 0;          // of the bitmap
  std::vector<std::byte> bytes;  // blue, green, red, alpha (255 where it has none); top row first
};

struct ThumbnailReport {
  HRESULT initialize = E_FAIL;
  std::optional<HRESULT> result;          // of the request for the bitmap, once it was made
  std::optional<Pixels> pixels;           // where a bitmap was answered
  std::optional<std::string_view> alpha;  // "argb", "rgb" or "unknown" where it was answered
  std::optional<std::string> png;         // where it was written
  std::optional<std::string> reason;      // why nothing is to be seen
};

/// As a shell shows them that was told `alpha`: of 32-bit bitmaps with WTSAT_ARGB the fourth bytes
/// count, all zeros too. Nothing when it is no bitmap of this process, or too large to be looked
/// at.
std::optional<Pixels> ReadPixels(HBITMAP bitmap, WTS_ALPHATYPE alpha = WTSAT_ARGB);

/// Asks the handler, as a thumbnail provider or else as an image extractor, for the bitmap of the
/// file, which is deleted as the shell does it.
ThumbnailReport AskThumbnailHandler(const HandlerSource& handlers, const std::string& file);

/// Whether the handler took the file, but nothing is to be seen.
bool LacksPicture(const ThumbnailReport& report);

/// As a PNG file's content; empty when that fails.
std::vector<std::byte> EncodePng(const Pixels& pixels);

/// As a JPEG file's content, whatever the alpha; empty when that fails.
std::vector<std::byte> EncodeJpeg(const Pixels& pixels);

/// Whether no pixel lets anything through.
bool IsOpaque(const Pixels& pixels);

/// Fitted into a square of `side` pixels by averaging; what fits already stays as it is.
Pixels ScaledDown(const Pixels& pixels, int side);

/// Writes a PNG into `folder`, named after the track with a number where there is such a file.
std::optional<std::string> WritePng(const Pixels& pixels, const std::string& folder,
                                    const std::string& track);

/// As the value of "thumbnail".
void WriteJson(JsonWriter& json, const ThumbnailReport& report);

/// A line for people.
std::string ToText(const ThumbnailReport& report);

}  // namespace tagsmith
