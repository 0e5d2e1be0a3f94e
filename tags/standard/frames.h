// The frames of an ID3v2 tag as its documents have them (id3v2-00, ID3v2.3.0, ID3v2.4.0
// structure): unsynchronisation undone, what stands in front of a frame's data taken off,
// compressed data inflated. Damage ends the tag; what was read before it stays.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tags/id3v2_layout.h"
#include "tags/tag_model.h"

namespace tagsmith::standard {

struct TagHeader {
  int version = 0;
  std::byte flags{};
  std::uint32_t dataSize = 0;  // bytes of extended header, frames and padding

  /// Bytes of the tag as a whole: header, data and footer.
  [[nodiscard]] std::uint32_t TagSize() const;
};

/// The header at the beginning of `bytes`; nothing where there is none (ID3v2.4.0 structure, 3.1:
/// the pattern that a header can be told by).
std::optional<TagHeader> ReadTagHeader(ByteView bytes);

struct Frame {
  FrameId id;
  int version = 0;      // of the tag
  ByteView body{};      // as its writer had it
  bool isInTag = true;  // the body stands among the tag's bytes
};

/// Walks over the frames of one tag.
class TagFrameWalk {
 public:
  /// `data` is what follows the tag's header, as far as it is there. It must outlive the walk,
  /// which undoes unsynchronisation in it. A frame ends where it can hold no more of what the
  /// options keep of a text; pictures are whole where they are kept.
  TagFrameWalk(const TagHeader& header, std::span<std::byte> data, const TagOptions& options);

  /// The next frame whose data can be read; nothing at the end. Its body is good until the next
  /// call. Encrypted frames and frames without data are left out.
  std::optional<Frame> Next();

 private:
  void SkipExtendedHeader(std::byte flags);
  [[nodiscard]] std::uint32_t ChooseSize(const FrameHeader& header) const;
  std::optional<ByteView> Unwrap(std::span<std::byte> data, std::byte flags, std::size_t most);

  int version_;
  bool isUnsynchronised_;  // every frame on its own (2.4)
  std::span<std::byte> rest_;
  std::size_t mostBytes_;  // of a frame
  bool keepsPictures_;
  std::vector<std::byte> inflated_;
};

}  // namespace tagsmith::standard
