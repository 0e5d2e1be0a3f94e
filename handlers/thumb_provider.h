// The thumbnail handler of Windows Vista and later: a stream's first picture.
#pragma once

#include <windows.h>

#include <propsys.h>
#include <thumbcache.h>

#include "handlers/album_art.h"
#include "handlers/chosen_reading.h"
#include "handlers/held_stream.h"
#include "shellext/base/com_object.h"

namespace tagsmith {

/// The COM side: interfaces, the held stream.
class CShellThumbProvider : public ComObject<IInitializeWithStream, IThumbnailProvider> {
 public:
  /// Keeps the stream; ERROR_ALREADY_INITIALIZED when one is held already.
  STDMETHODIMP Initialize(IStream* stream, DWORD accessMode) override;

 protected:
  HeldStream held_;
};

/// The work side.
class CMP3ThumbProvider : public CShellThumbProvider {
 public:
  /// The bitmap has the picture's own size, whatever `size` is, and is said to be ARGB in any case.
  /// It is the caller's, to be deleted. kNoPicture and null where there is none.
  STDMETHODIMP GetThumbnail(UINT size, HBITMAP* bitmap, WTS_ALPHATYPE* alphaType) override;

 private:
  const Reading& reading_ = ChosenReading();
  AlbumArt art_;
};

}  // namespace tagsmith
