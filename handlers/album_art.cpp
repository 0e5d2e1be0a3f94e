#include "handlers/album_art.h"

#include <cstring>

#include "platform/windows_handles.h"

namespace tagsmith {
namespace {

using GlobalMemory = Handle<HGLOBAL, GlobalFree>;

}  // namespace

void AlbumArt::Decode(const ID3Tag& tag) {
  const TagPicture* picture = tag.GetPicture(0);
  if (picture == nullptr || picture->data.empty()) {
    return;
  }
  const auto size = ReadPictureSize(picture->data);
  if (!size || !DecodedImage::IsAffordable(*size)) {
    return;  // nothing decodes a picture without a size, or may try one that is too large
  }
  const GlobalMemory copy(GlobalAlloc(GMEM_FIXED, picture->data.size()));
  if (!copy) {
    return;
  }
  std::memcpy(copy.Get(), picture->data.data(), picture->data.size());
  ComPointer<IStream> stream;
  if (SUCCEEDED(CreateStreamOnHGlobal(copy.Get(), FALSE, stream.Receive()))) {
    image_.Load(*stream);
  }
}

}  // namespace tagsmith
