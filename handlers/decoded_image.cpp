#include "handlers/decoded_image.h"

#include <cstring>
#include <memory>
#include <new>
#include <span>

#include "diag/log.h"
#include "diag/structured_guard.h"
#include "handlers/memory_dc.h"

namespace tagsmith {
namespace {

using Gdiplus::GpBitmap;

/// What the bitmap becomes of a source's pixel format.
struct TargetFormat {
  Gdiplus::PixelFormat format = 0;
  int bitsPerPixel = 0;
  bool hasAlpha = false;
};

TargetFormat ChooseTarget(Gdiplus::PixelFormat source) {
  const bool hasAlpha = (source & PixelFormatAlpha) != 0;
  if ((source & PixelFormatGDI) != 0 && !hasAlpha) {
    return {source, static_cast<int>(Gdiplus::GetPixelFormatSize(source)), false};
  }
  return {hasAlpha ? PixelFormat32bppARGB : PixelFormat32bppRGB, 32, hasAlpha};
}

/// The source's palette as a colour table.
HRESULT ReadPalette(const GdiPlusFunctions& gdiPlus, GpBitmap* source, std::span<RGBQUAD> colours,
                    unsigned& count) {
  using Gdiplus::ColorPalette;
  constexpr std::size_t kHeaderSize = offsetof(ColorPalette, Entries);
  INT size = 0;
  if (gdiPlus.GdipGetImagePaletteSize(source, &size) != Gdiplus::Ok) {
    return E_FAIL;
  }
  const std::size_t bytes = size < 0 ? 0 : static_cast<std::size_t>(size);
  if (bytes < sizeof(ColorPalette) ||
      bytes > kHeaderSize + colours.size() * sizeof(Gdiplus::ARGB)) {
    return E_FAIL;
  }
  alignas(ColorPalette) std::array<std::byte, 1024> small;
  std::unique_ptr<std::byte[]> large;
  if (bytes > small.size()) {
    large.reset(new (std::nothrow) std::byte[bytes]);
    if (large == nullptr) {
      return E_OUTOFMEMORY;
    }
  }
  auto* palette = reinterpret_cast<ColorPalette*>(large != nullptr ? large.get() : small.data());
  if (gdiPlus.GdipGetImagePalette(source, palette, size) != Gdiplus::Ok || palette->Count < 1 ||
      palette->Count > (bytes - kHeaderSize) / sizeof(Gdiplus::ARGB)) {
    return E_FAIL;
  }
  count = palette->Count;
  for (unsigned i = 0; i < count; ++i) {
    const Gdiplus::ARGB colour = palette->Entries[i];
    colours[i] = {static_cast<BYTE>(colour), static_cast<BYTE>(colour >> 8U),
                  static_cast<BYTE>(colour >> 16U), 0};
  }
  return S_OK;
}

bool WriteColourTable(HBITMAP bitmap, std::span<const RGBQUAD> colours) {
  const MemoryDc context;
  const HGDIOBJ former = SelectObject(context.Get(), bitmap);
  if (former == nullptr) {
    return false;
  }
  const AtEnd deselect([&] { SelectObject(context.Get(), former); });
  return SetDIBColorTable(context.Get(), 0, static_cast<UINT>(colours.size()), colours.data()) != 0;
}

/// Copies the rows of a source that has the section's format.
HRESULT CopyRows(const GdiPlusFunctions& gdiPlus, GpBitmap* source, Gdiplus::PixelFormat format,
                 const DibSection& target) {
  const Gdiplus::Rect whole(0, 0, target.Width(), target.Height());
  Gdiplus::BitmapData data{};
  if (gdiPlus.GdipBitmapLockBits(source, &whole, Gdiplus::ImageLockModeRead, format, &data) !=
      Gdiplus::Ok) {
    return E_OUTOFMEMORY;
  }
  const AtEnd unlock([&] { gdiPlus.GdipBitmapUnlockBits(source, &data); });
  const std::size_t rowBytes =
      (static_cast<std::size_t>(target.BitsPerPixel()) * static_cast<std::size_t>(target.Width()) +
       7) /
      8;
  const auto* first = static_cast<const std::byte*>(data.Scan0);
  for (int row = 0; row < target.Height(); ++row) {
    std::memcpy(target.Row(row), first + std::ptrdiff_t{row} * data.Stride, rowBytes);
  }
  return S_OK;
}

/// The shell is told of an alpha channel whatever the picture had, and shows nothing where it is 0.
void FillAlpha(const DibSection& section) {
  for (int row = 0; row < section.Height(); ++row) {
    std::byte* pixel = section.Row(row);
    for (int column = 0; column < section.Width(); ++column, pixel += 4) {
      pixel[3] = std::byte{255};
    }
  }
}

/// Draws the source into the section, seen as a bitmap of `format`.
HRESULT Draw(const GdiPlusFunctions& gdiPlus, GpBitmap* source, Gdiplus::PixelFormat format,
             const DibSection& target) {
  GdiPlusBitmap wrapped;
  if (gdiPlus.GdipCreateBitmapFromScan0(
          target.Width(), target.Height(), static_cast<INT>(target.Pitch()), format,
          reinterpret_cast<BYTE*>(target.Row(0)), wrapped.Receive()) != Gdiplus::Ok) {
    return E_FAIL;
  }
  // Drawing keeps physical sizes: with the source's own resolution a pixel stays a pixel.
  Gdiplus::REAL horizontal = 0;
  Gdiplus::REAL vertical = 0;
  if (gdiPlus.GdipGetImageHorizontalResolution(source, &horizontal) == Gdiplus::Ok &&
      gdiPlus.GdipGetImageVerticalResolution(source, &vertical) == Gdiplus::Ok && horizontal > 0 &&
      vertical > 0) {
    gdiPlus.GdipBitmapSetResolution(wrapped.Get(), horizontal, vertical);
  }
  GdiPlusGraphics graphics;
  const bool isDrawn =
      gdiPlus.GdipGetImageGraphicsContext(wrapped.Get(), graphics.Receive()) == Gdiplus::Ok &&
      gdiPlus.GdipDrawImageI(graphics.Get(), source, 0, 0) == Gdiplus::Ok;
  return isDrawn ? S_OK : E_FAIL;
}

}  // namespace

// ---- DibSection -------------------------------------------------------------------------------

bool DibSection::Create(int width, int height, int bitsPerPixel, bool is565) {
  Destroy();
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colours[256];  // black, until they are set
  } info{};
  info.header.biSize = sizeof(info.header);
  info.header.biWidth = width;
  info.header.biHeight = height;
  info.header.biPlanes = 1;
  info.header.biBitCount = static_cast<WORD>(bitsPerPixel);
  if (is565) {
    constexpr DWORD kMasks[] = {0xF800, 0x07E0, 0x001F};
    info.header.biCompression = BI_BITFIELDS;
    std::memcpy(info.colours, kMasks, sizeof(kMasks));
  }
  void* bits = nullptr;
  bitmap_.Reset(CreateDIBSection(nullptr, reinterpret_cast<const BITMAPINFO*>(&info),
                                 DIB_RGB_COLORS, &bits, nullptr, 0));
  if (!bitmap_) {
    return false;
  }
  width_ = width;
  height_ = height;
  bitsPerPixel_ = bitsPerPixel;
  is565_ = is565;
  const std::ptrdiff_t rowSize = (std::ptrdiff_t{width} * bitsPerPixel + 31) / 32 * 4;
  pitch_ = -rowSize;
  firstRow_ = static_cast<std::byte*>(bits) + (height - 1) * rowSize;
  return true;
}

// ---- DecodedImage -----------------------------------------------------------------------------

bool DecodedImage::IsAffordable(const PictureSize& size) {
  if (size.DecodedBytes() <= kLargestPicture) {
    return true;
  }
  WriteLogLine(kLogWarning, "The picture is too large to be decoded (%u x %u pixels)", size.width,
               size.height);
  return false;
}

HRESULT DecodedImage::Load(IStream& stream) {
  Destroy();
  const GdiPlusFunctions* gdiPlus = GdiPlusUse::Start();
  if (gdiPlus == nullptr) {
    return E_FAIL;
  }
  GdiPlusBitmap source;
  Gdiplus::GpStatus status = Gdiplus::GenericError;
  CallForeign([&] { status = gdiPlus->GdipCreateBitmapFromStream(&stream, source.Receive()); });
  if (status != Gdiplus::Ok) {
    return E_FAIL;
  }
  return Load(*gdiPlus, source.Get());
}

HRESULT DecodedImage::Load(const GdiPlusFunctions& gdiPlus, GpBitmap* source) {
  Destroy();
  UINT width = 0;
  UINT height = 0;
  Gdiplus::PixelFormat format = 0;
  if (gdiPlus.GdipGetImageWidth(source, &width) != Gdiplus::Ok ||
      gdiPlus.GdipGetImageHeight(source, &height) != Gdiplus::Ok ||
      gdiPlus.GdipGetImagePixelFormat(source, &format) != Gdiplus::Ok) {
    return E_FAIL;
  }
  const TargetFormat target = ChooseTarget(format);
  if (!IsAffordable({width, height})) {
    return E_FAIL;
  }
  DibSection section;
  if (!section.Create(static_cast<int>(width), static_cast<int>(height), target.bitsPerPixel,
                      target.format == PixelFormat16bppRGB565)) {
    return E_FAIL;
  }
  if ((format & PixelFormatIndexed) != 0) {
    std::array<RGBQUAD, 256> colours{};
    unsigned count = 0;
    const HRESULT result = ReadPalette(gdiPlus, source, colours, count);
    if (FAILED(result)) {
      return result;
    }
    if (!WriteColourTable(section.Get(), std::span(colours).first(count))) {
      return E_FAIL;
    }
  }
  const HRESULT result = target.format == format ? CopyRows(gdiPlus, source, format, section)
                                                 : Draw(gdiPlus, source, target.format, section);
  if (SUCCEEDED(result)) {
    if (target.bitsPerPixel == 32 && !target.hasAlpha) {
      FillAlpha(section);
    }
    section_ = std::move(section);
  }
  return result;
}

}  // namespace tagsmith
