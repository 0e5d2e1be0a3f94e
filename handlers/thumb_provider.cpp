#include "handlers/thumb_provider.h"

#include <shlwapi.h>

#include "diag/fault_guard.h"
#include "handlers/com_stream_source.h"
#include "tags/track_opening.h"

namespace tagsmith {

// ---- CShellThumbProvider ----------------------------------------------------------------------

STDMETHODIMP CShellThumbProvider::QueryInterface(REFIID riid, void** object) {
  static const QITAB kInterfaces[] = {
      QITABENT(CShellThumbProvider, IInitializeWithStream),
      QITABENT(CShellThumbProvider, IThumbnailProvider),
      {},
  };
  return QISearch(this, kInterfaces, riid, object);
}

STDMETHODIMP_(ULONG) CShellThumbProvider::AddRef() { return AddReference(); }
STDMETHODIMP_(ULONG) CShellThumbProvider::Release() { return ReleaseReference(); }

STDMETHODIMP CShellThumbProvider::Initialize(IStream* stream, DWORD accessMode) {
  return Guarded("Thumbnail provider initialisation failed", E_UNEXPECTED, [&]() -> HRESULT {
    accessMode_ = accessMode;
    return HoldStream(stream, stream_);
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
          if (!stream_) {
            return false;
          }
          ComStreamSource source(*stream_);
          return OpenTrackFromStream(&source, &tag);
        },
        *bitmap);
    if (result == S_OK) {
      *alphaType = WTSAT_ARGB;
    }
    return result;
  });
}

}  // namespace tagsmith
