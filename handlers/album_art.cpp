#include "handlers/album_art.h"

#include <cstring>

#include "platform/windows_handles.h"

namespace tagsmith {
namespace {

using GlobalMemory = Handle<HGLOBAL, GlobalFree>;

}  // namespace

HBITMAP AlbumArt::DecodeFirst(const ID3Tag& tag) {
  const TagPicture* picture = tag.GetPicture(0);
  HBITMAP bitmap = picture != nullptr ? Decode(picture->data) : nullptr;
  if (bitmap != nullptr) {
    picture_ = *picture;
  }
  return bitmap;
}

HBITMAP AlbumArt::Decode(ByteView picture) {
  const auto size = ReadPictureSize(picture);
  if (!size || !DecodedImage::IsAffordable(*size)) {
    return nullptr;  // nothing decodes a picture without a size, or may try one that is too large
  }
  const GlobalMemory copy(GlobalAlloc(GMEM_FIXED, picture.size()));
  if (!copy) {
    return nullptr;
  }
  std::memcpy(copy.Get(), picture.data(), picture.size());
  ComPointer<IStream> stream;
  if (SUCCEEDED(CreateStreamOnHGlobal(copy.Get(), FALSE, stream.Receive()))) {
    image_.Load(*stream);
  }
  return image_.Detach();
}

}  // namespace tagsmith
