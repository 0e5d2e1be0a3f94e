// The thumbnail handler of Windows Vista and later: a stream's first picture.
#pragma once

#include <windows.h>

#include <propsys.h>
#include <thumbcache.h>

#include "handlers/album_art.h"
#include "platform/windows_handles.h"
#include "shellext/base/shell_ext.h"

namespace tagsmith {

/// The COM side: interfaces, the held stream.
class CShellThumbProvider : public IInitializeWithStream,
                            public IThumbnailProvider,
                            public CShellExt {
 public:
  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  /// Keeps the stream; ERROR_ALREADY_INITIALIZED when one is kept already.
  STDMETHODIMP Initialize(IStream* stream, DWORD accessMode) override;

 protected:
  ComPointer<IStream> stream_;  // kept: initialised
  DWORD accessMode_ = 0;
};

/// The work side.
class CMP3ThumbProvider : public CShellThumbProvider {
 public:
  /// The bitmap has the picture's own size, whatever `size` is, and is said to be ARGB in any case.
  /// It is the caller's, to be deleted. kNoPicture and null where there is none.
  STDMETHODIMP GetThumbnail(UINT size, HBITMAP* bitmap, WTS_ALPHATYPE* alphaType) override;

 private:
  AlbumArt art_;
};

}  // namespace tagsmith
