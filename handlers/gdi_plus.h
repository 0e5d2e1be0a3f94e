// GDI+, the system's picture decoder: loaded and started when it is first needed, stopped with its
// last user. A host that asks for no thumbnail never loads it.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <gdiplus.h>

#include "platform/handle.h"

namespace tagsmith {

/// The functions that are used. The module does not import them: the library is loaded from the
/// system's folder, and only when a picture is decoded.
#define TAGSMITH_GDI_PLUS_FUNCTIONS(ENTRY)                     \
  ENTRY(Gdiplus, GdiplusStartup)                               \
  ENTRY(Gdiplus, GdiplusShutdown)                              \
  ENTRY(Gdiplus::DllExports, GdipCreateBitmapFromStream)       \
  ENTRY(Gdiplus::DllExports, GdipCreateBitmapFromScan0)        \
  ENTRY(Gdiplus::DllExports, GdipDisposeImage)                 \
  ENTRY(Gdiplus::DllExports, GdipGetImageWidth)                \
  ENTRY(Gdiplus::DllExports, GdipGetImageHeight)               \
  ENTRY(Gdiplus::DllExports, GdipGetImagePixelFormat)          \
  ENTRY(Gdiplus::DllExports, GdipGetImagePaletteSize)          \
  ENTRY(Gdiplus::DllExports, GdipGetImagePalette)              \
  ENTRY(Gdiplus::DllExports, GdipGetImageHorizontalResolution) \
  ENTRY(Gdiplus::DllExports, GdipGetImageVerticalResolution)   \
  ENTRY(Gdiplus::DllExports, GdipBitmapSetResolution)          \
  ENTRY(Gdiplus::DllExports, GdipBitmapLockBits)               \
  ENTRY(Gdiplus::DllExports, GdipBitmapUnlockBits)             \
  ENTRY(Gdiplus::DllExports, GdipGetImageGraphicsContext)      \
  ENTRY(Gdiplus::DllExports, GdipDrawImageI)                   \
  ENTRY(Gdiplus::DllExports, GdipDeleteGraphics)

struct GdiPlusFunctions {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name cannot stand in parentheses
#define TAGSMITH_POINTER(scope, name) decltype(&scope::name) name;
  TAGSMITH_GDI_PLUS_FUNCTIONS(TAGSMITH_POINTER)
#undef TAGSMITH_POINTER
};

/// Counts as a user of GDI+ while it exists; with the last one GDI+ is shut down.
class GdiPlusUse {
 public:
  GdiPlusUse();
  GdiPlusUse(const GdiPlusUse&) = delete;
  GdiPlusUse& operator=(const GdiPlusUse&) = delete;
  ~GdiPlusUse();

  /// Starts GDI+ if that has not been done. Null when it is missing or does not start; the
  /// functions may be called as long as there is a user.
  static const GdiPlusFunctions* Start();
};

/// Both may be called as long as there is a user and GDI+ was started.
void DisposeOfBitmap(Gdiplus::GpBitmap* bitmap);
void DeleteGraphics(Gdiplus::GpGraphics* graphics);

using GdiPlusBitmap = Handle<Gdiplus::GpBitmap*, DisposeOfBitmap>;
using GdiPlusGraphics = Handle<Gdiplus::GpGraphics*, DeleteGraphics>;

}  // namespace tagsmith
