// What the two thumbnail handlers share: from a track to the bitmap of its first picture.
#pragma once

#include <windows.h>

#include <optional>

#include "handlers/decoded_image.h"
#include "tags/tag_model.h"

namespace tagsmith {

/// The answer where there is no picture: neither a failure nor S_OK.
inline constexpr HRESULT kNoPicture = 13;

class AlbumArt {
 public:
  /// Hands out a bitmap, which the caller deletes, in `bitmap`; kNoPicture and null where there is
  /// none. As long as no picture has been decoded, `openTrack`, which takes an ID3Tag& and tells
  /// whether it opened, is asked for the track; later requests decode the same picture again.
  template <typename TrackOpener>
  HRESULT GetBitmap(TrackOpener openTrack, HBITMAP& bitmap) {
    if (picture_) {
      bitmap = Decode(picture_->data);
    } else if (ID3Tag tag; openTrack(tag)) {
      bitmap = DecodeFirst(tag);
    } else {
      bitmap = nullptr;
    }
    return bitmap == nullptr ? kNoPicture : S_OK;
  }

 private:
  /// The first picture in the tag's order, whatever kind of picture it is; kept when it can be
  /// decoded.
  HBITMAP DecodeFirst(const ID3Tag& tag);
  HBITMAP Decode(ByteView picture);

  DecodedImage image_;
  std::optional<TagPicture> picture_;
};

}  // namespace tagsmith
