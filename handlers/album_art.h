// What the two thumbnail handlers share: from a track to the bitmap of its first picture.
#pragma once

#include <windows.h>

#include "handlers/decoded_image.h"
#include "tags/tag_model.h"

namespace tagsmith {

/// The answer where there is no picture: neither a failure nor S_OK.
inline constexpr HRESULT kNoPicture = 13;

class AlbumArt {
 public:
  /// Hands out a copy of the bitmap, which the caller deletes, in `bitmap`; kNoPicture and null
  /// where there is none. While nothing has been decoded yet, `openTrack`, which takes an ID3Tag&
  /// and tells whether it opened, is asked for the track.
  template <typename TrackOpener>
  HRESULT GetBitmap(TrackOpener openTrack, HBITMAP& bitmap) {
    if (image_.IsEmpty()) {
      ID3Tag tag;
      if (openTrack(tag)) {
        Decode(tag);
      }
    }
    bitmap = image_.Copy();
    return bitmap == nullptr ? kNoPicture : S_OK;
  }

 private:
  /// The first picture in the tag's order, whatever kind of picture it is.
  void Decode(const ID3Tag& tag);

  DecodedImage image_;
};

}  // namespace tagsmith
