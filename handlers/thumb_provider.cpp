#include "handlers/thumb_provider.h"

#include "diag/fault_guard.h"
#include "handlers/com_stream_source.h"

namespace tagsmith {

// ---- CShellThumbProvider ----------------------------------------------------------------------

STDMETHODIMP CShellThumbProvider::Initialize(IStream* stream, DWORD accessMode) {
  return Guarded("Thumbnail provider initialisation failed", E_UNEXPECTED, [&] {
    held_.accessMode = accessMode;
    return held_.Hold(stream);
  });
}

// ---- CMP3ThumbProvider ------------------------------------------------------------------------

STDMETHODIMP CMP3ThumbProvider::GetThumbnail(UINT /*size*/, HBITMAP* bitmap,
                                             WTS_ALPHATYPE* alphaType) {
  return Guarded("Thumbnail provider failed", kNoPicture, [&]() -> HRESULT {
    if (bitmap == nullptr) {
      return E_POINTER;
    }
    *bitmap = nullptr;
    if (alphaType == nullptr) {
      return E_POINTER;
    }
    PruneModuleLog();
    const HRESULT result = art_.GetBitmap(
        [&](ID3Tag& tag) {
          static_cast<TagOptions&>(tag) = kPictureOptions;
          if (!held_.stream) {
            return false;
          }
          ComStreamSource source(*held_.stream);
          return reading_.openStream(&source, &tag);
        },
        *bitmap);
    if (result == S_OK) {
      *alphaType = WTSAT_ARGB;
    }
    return result;
  });
}

}  // namespace tagsmith
