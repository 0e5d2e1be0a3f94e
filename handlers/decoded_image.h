// A decoded picture: a device-independent bitmap of the picture's own size.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "handlers/gdi_plus.h"
#include "platform/windows_handles.h"
#include "tags/picture_size.h"

namespace tagsmith {

/// A DIB section, bottom row first in memory. Owns the bitmap.
class DibSection {
 public:
  /// Makes a bitmap, black and transparent; the former one goes. `is565`: rows of 16 bits hold 5,
  /// 6 and 5 bits instead of three times 5. False when the system cannot.
  bool Create(int width, int height, int bitsPerPixel, bool is565);
  void Destroy() { bitmap_.Reset(); }
  /// Gives the bitmap away.
  [[nodiscard]] HBITMAP Detach() { return bitmap_.Detach(); }

  [[nodiscard]] HBITMAP Get() const { return bitmap_.Get(); }
  [[nodiscard]] int Width() const { return width_; }
  [[nodiscard]] int Height() const { return height_; }
  [[nodiscard]] int BitsPerPixel() const { return bitsPerPixel_; }
  [[nodiscard]] bool Is565() const { return is565_; }
  /// From one row's bytes to the next lower one's: negative.
  [[nodiscard]] std::ptrdiff_t Pitch() const { return pitch_; }
  /// The top row, rows counting downwards.
  [[nodiscard]] std::byte* Row(int row) const { return firstRow_ + row * pitch_; }

 private:
  BitmapHandle bitmap_;
  int width_ = 0;
  int height_ = 0;
  int bitsPerPixel_ = 0;
  bool is565_ = false;
  std::ptrdiff_t pitch_ = 0;
  std::byte* firstRow_ = nullptr;
};

class DecodedImage {
 public:
  /// Pictures that would be larger when decoded, in bytes, are taken for undecodable.
  static constexpr std::uint64_t kLargestPicture = std::uint64_t{128} << 20U;

  /// Whether a picture of this size is small enough to be decoded; logs when it is not.
  static bool IsAffordable(const PictureSize& size);

  /// Decodes the picture in `stream` from its position on. A grey, paletted or 24-bit picture
  /// keeps its form, one with alpha becomes 32-bit ARGB (not premultiplied), any other 32-bit RGB.
  /// E_FAIL when it cannot be decoded, E_OUTOFMEMORY when memory does not suffice; the image is
  /// empty then.
  HRESULT Load(IStream& stream);

  /// The same from a bitmap of GDI+.
  HRESULT Load(const GdiPlusFunctions& gdiPlus, Gdiplus::GpBitmap* source);

  /// Gives the bitmap away, for the caller to delete with DeleteObject; the image is empty then.
  /// Null when it is empty already.
  [[nodiscard]] HBITMAP Detach() { return section_.Detach(); }

  void Destroy() { section_.Destroy(); }

 private:
  GdiPlusUse use_;  // first, so that it outlives the bitmap
  DibSection section_;
};

}  // namespace tagsmith
