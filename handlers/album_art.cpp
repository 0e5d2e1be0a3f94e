#include "handlers/album_art.h"

#include <cstring>

#include "handlers/com_pointer.h"

namespace tagsmith {
namespace {

/// A fixed block of global memory, locked while this lives.
class GlobalBlock {
 public:
  explicit GlobalBlock(ByteView content) : handle_(GlobalAlloc(GMEM_FIXED, content.size())) {
    if (handle_ != nullptr) {
      memory_ = GlobalLock(handle_);
    }
    if (memory_ != nullptr) {
      std::memcpy(memory_, content.data(), content.size());
    }
  }
  GlobalBlock(const GlobalBlock&) = delete;
  GlobalBlock& operator=(const GlobalBlock&) = delete;
  ~GlobalBlock() {
    if (memory_ != nullptr) {
      GlobalUnlock(handle_);
    }
    if (handle_ != nullptr) {
      GlobalFree(handle_);
    }
  }

  [[nodiscard]] bool HasContent() const { return memory_ != nullptr; }
  [[nodiscard]] HGLOBAL Get() const { return handle_; }

 private:
  HGLOBAL handle_;
  void* memory_ = nullptr;
};

}  // namespace

void AlbumArt::Decode(const ID3Tag& tag) {
  const TagPicture* picture = tag.GetPicture(0);
  if (picture == nullptr || picture->data.empty()) {
    return;
  }
  const auto size = ReadPictureSize(picture->data);
  if (!size || !DecodedImage::IsAffordable(*size)) {
    return;  // no decoder can do without a size, nor is one to find out what it costs
  }
  const GlobalBlock block(picture->data);
  ComPointer<IStream> stream;
  if (block.HasContent() &&
      SUCCEEDED(CreateStreamOnHGlobal(block.Get(), FALSE, stream.Receive()))) {
    image_.Load(*stream);
  }
}

}  // namespace tagsmith
