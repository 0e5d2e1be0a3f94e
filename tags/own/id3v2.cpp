#include "tags/own/id3v2.h"

#include <limits>

#include "diag/log.h"
#include "tags/own/id3v2_frame_table.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

constexpr int kLatestVersion = 4;

// Flags in the second flag byte of a 2.4 frame header.
constexpr std::byte kFrameDataLength{0x01};
constexpr std::byte kFrameUnsynchronised{0x02};

/// The capacity that messages give for the buffer of a frame's data, unless a frame is larger.
constexpr std::uint32_t kFrameBufferCapacity = 256;

/// A value lies beyond the end of the tag.
struct BeyondTag {};

int VersionOf(std::byte byte) { return std::to_integer<std::int8_t>(byte); }

bool IsLetterOrDigit(std::byte byte) {
  const char c = ToLower(std::to_integer<char>(byte));
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

/// The walk over the frames of one tag.
class TagWalk {
 public:
  TagWalk(ID3Tag& tag, std::span<std::byte> buffer, TextReduction mode, const SharedMemory& memory)
      : tag_(tag), buffer_(buffer), mode_(mode), memory_(memory) {}

  [[nodiscard]] std::uint64_t Position() const { return position_; }

  /// Whether the tag counts as present afterwards. Throws BeyondTag.
  bool Run() {
    if (!ReadTagHeader()) {
      return true;
    }
    while (position_ < buffer_.size()) {
      FrameHeader header;
      if (!ReadNextHeader(header)) {
        return true;
      }
      V2Frame frame{.id = header.id,
                    .version = version_,
                    .isKnown = IsKnownFrame(header.id, version_),
                    .mode = mode_,
                    .memory = memory_};
      if (!frame.isKnown) {
        WriteLogLine(kLogError, "Non-standard 2.%d tag ID found '%s' (size %u)", version_,
                     header.id.Text().data(), header.size);
      }
      switch (ReadFrameData(header, frame)) {
        case DataResult::kRead:
          break;
        case DataResult::kEnd:
          return true;
        case DataResult::kLostPosition:
          // Unlike after every other end, the tag does not count as present.
          return false;
      }
      if (ReadEncoding(frame)) {
        StoreFrame(tag_, frame);
      }
    }
    return true;
  }

 private:
  enum class DataResult { kRead, kEnd, kLostPosition };

  [[nodiscard]] bool Is22() const { return version_ <= 2; }
  [[nodiscard]] bool Is24() const { return version_ >= 4; }

  /// `Count` bytes from the position plus `offset` on.
  template <std::size_t Count>
  [[nodiscard]] std::span<const std::byte, Count> Bytes(std::uint64_t offset = 0) const {
    if (!Fits(offset + Count)) {
      throw BeyondTag{};
    }
    return ByteView(buffer_).subspan(static_cast<std::size_t>(position_ + offset)).first<Count>();
  }

  [[nodiscard]] bool Fits(std::uint64_t count) const { return position_ + count <= buffer_.size(); }

  [[nodiscard]] int SizeForMessage() const { return static_cast<int>(buffer_.size()); }
  [[nodiscard]] int PositionForMessage(std::uint64_t offset) const {
    return static_cast<int>(position_ + offset);
  }

  /// False when the tag's frames cannot be read.
  bool ReadTagHeader() {
    const std::span<const std::byte, kV2HeaderSize> header = Bytes<kV2HeaderSize>();
    version_ = VersionOf(header[3]);
    const std::byte flags = header[5];
    tag_.v2Version = version_;
    if (version_ > kLatestVersion) {
      WriteLogLine(kLogWarning, "Warning: Tag version 2.%d found (max allowed is 2.%d)", version_,
                   kLatestVersion);
    }
    if ((flags & kTagUnsynchronised) != std::byte{0} && !Is24()) {
      WriteLogLine(kLogWarning, "Warning: Unsynchronisation is not supported in version 2.%d",
                   version_);
      return false;
    }
    position_ = kV2HeaderSize;
    if ((flags & kTagExtended) != std::byte{0}) {
      const std::span<const std::byte, 4> size = Bytes<4>();
      // Its own four bytes are added for 2.4 too, whose size counts them already.
      position_ += std::uint64_t{Is24() ? ReadSyncsafe32(size) : ReadBigEndian32(size)} + 4;
    }
    return true;
  }

  /// False at the end of the frames.
  bool ReadNextHeader(FrameHeader& header) {
    if (!Fits(4)) {
      if (Is22()) {
        WriteLogLine(kLogError, "Failed to read the 2.2 frame ID (%d:%d)", SizeForMessage(),
                     PositionForMessage(4));
      } else {
        WriteLogLine(kLogError, "Failed to get the 2.%d frame ID (%d:%d)", version_,
                     SizeForMessage(), PositionForMessage(4));
      }
      return false;
    }
    if (Bytes<1>()[0] == std::byte{0}) {
      return false;  // padding
    }
    const std::size_t size = FrameHeaderSize(version_);
    if (!Fits(size)) {
      if (Is22()) {
        throw BeyondTag{};
      }
      WriteLogLine(kLogError, "Failed to get the frame size (%d:%d)", SizeForMessage(),
                   PositionForMessage(size));
      return false;
    }
    header = ReadFrameHeader(buffer_.subspan(position_, size), version_);
    position_ += size;
    return true;
  }

  DataResult ReadFrameData(const FrameHeader& header, V2Frame& frame) {
    std::uint32_t size = header.size;
    if (size == 0 || size > buffer_.size()) {
      WriteLogLine(kLogError, "Tag 2.%d frame %s size error (%u, max %lu)", version_,
                   header.id.Text().data(), size, static_cast<unsigned long>(buffer_.size()));
      return DataResult::kEnd;
    }
    capacity_ = std::max({capacity_, size, header.plainSize});

    if (Is24() && (header.flags & kFrameDataLength) != std::byte{0}) {
      position_ += 4;
      size -= 4;  // below 4 it wraps, and is too large for what is left
    }
    if (size > capacity_ || !Fits(size)) {
      const auto left = static_cast<std::int64_t>(buffer_.size() - position_);
      WriteLogLine(kLogError, "Frame buffer size mismatch (%d:%d %d)", static_cast<int>(size),
                   static_cast<int>(capacity_), static_cast<int>(left));
      return DataResult::kEnd;
    }
    SetBody(size, frame);
    if (Is24() && header.size != header.plainSize && !IsAtFrame()) {
      // The size was written as a plain number.
      position_ -= size;
      if (!Fits(header.plainSize)) {
        WriteLogLine(kLogError, "Failed to read the 2.%d non-syncsafe frame (%d:%d)", version_,
                     SizeForMessage(), PositionForMessage(header.plainSize));
        return DataResult::kEnd;
      }
      SetBody(header.plainSize, frame);
      if (!IsAtFrame()) {
        WriteLogLine(kLogError, "Failed to validate the tag position after a non-syncsafe frame");
        return DataResult::kLostPosition;
      }
    }
    if (Is24() && (header.flags & kFrameUnsynchronised) != std::byte{0}) {
      body_ = UndoUnsynchronisation(body_);
      frame.body = body_;
    }
    return DataResult::kRead;
  }

  void SetBody(std::uint32_t size, V2Frame& frame) {
    body_ = buffer_.subspan(static_cast<std::size_t>(position_), size);
    frame.body = body_;
    position_ += size;
  }

  /// Whether the position is the end, padding, or letters and digits as a frame ID has them. Of a
  /// frame ID that the end of the tag cuts, the characters that are there decide.
  [[nodiscard]] bool IsAtFrame() const {
    const ByteView id = UpTo(After(buffer_, position_), 4);
    return id.empty() || id[0] == std::byte{0} ||
           std::all_of(id.begin(), id.end(), IsLetterOrDigit);
  }

  /// Reads the encoding byte of the frames that begin with one; false when the frame is skipped.
  bool ReadEncoding(V2Frame& frame) {
    if (!BeginsWithEncoding(frame.id)) {
      return true;
    }
    frame.encoding = std::to_integer<std::uint32_t>(frame.At(0));
    frame.textStart = 1;
    switch (frame.encoding) {
      case kLatin1:
      case kUtf8:
        return true;
      case kUtf16:
        return IsMarkByte(frame.At(1)) && IsMarkByte(frame.At(2));
      case kUtf16Be:
        PrependMark(frame);
        return true;
      default:
        WriteLogLine(kLogError, "Unknown Unicode type %d found for frame ID %s",
                     static_cast<int>(frame.encoding), frame.id.Text().data());
        return false;
    }
  }

  /// Puts the mark between encoding byte and text; room for it is where the frame's header was.
  void PrependMark(V2Frame& frame) {
    constexpr std::size_t kMarkSize = 2;
    const auto start = static_cast<std::size_t>(body_.data() - buffer_.data()) - kMarkSize;
    body_ = buffer_.subspan(start, body_.size() + kMarkSize);
    body_[0] = body_[kMarkSize];
    body_[1] = std::byte{0xFE};
    body_[2] = std::byte{0xFF};
    frame.body = body_;
  }

  ID3Tag& tag_;
  std::span<std::byte> buffer_;
  std::span<std::byte> body_;  // of the current frame
  TextReduction mode_;
  const SharedMemory& memory_;
  int version_ = 0;
  std::uint64_t position_ = 0;  // wide enough never to wrap
  std::uint32_t capacity_ = kFrameBufferCapacity;
};

}  // namespace

std::uint32_t GetV2TagSize(ByteView bytes) {
  if (bytes.size() < kV2HeaderSize || !AsText(bytes).starts_with("ID3")) {
    return 0;
  }
  const int version = VersionOf(bytes[3]);
  if (version > kLatestVersion) {
    WriteLogLine(kLogError, "ID3 tag version 2.%d is incompatible (max 2.%d)", version,
                 kLatestVersion);
  }
  constexpr std::byte kKnownFlags = kTagUnsynchronised | kTagExtended | kTagFooter;
  const std::byte flags = bytes[5];
  if (flags != std::byte{0} && (flags & kKnownFlags) == std::byte{0}) {
    return 0;
  }
  return ReadSyncsafe32(bytes.subspan<6, 4>()) + kV2HeaderSize;
}

std::uint32_t ProbeV2Tag(const ID3Tag& tag, SourceReader& reader) {
  if (tag.isMpeg) {
    reader.SeekTo(0);
  }
  return GetV2TagSize(reader.Peek(kV2HeaderSize));
}

bool LoadV2Tag(ID3Tag& tag, SourceReader& reader, std::uint32_t size, bool keepUnicode,
               std::size_t lookAhead) {
  const std::span<std::byte> bytes = reader.Take(size, lookAhead);
  return bytes.size() == size && ParseV2Tag(tag, bytes, keepUnicode, reader.TakenMemory());
}

bool ParseV2Tag(ID3Tag& tag, std::span<std::byte> buffer, bool keepUnicode,
                const SharedMemory& memory) {
  TagWalk walk(tag, buffer, keepUnicode ? TextReduction::kKeepUnicode : TextReduction::kLatin1,
               memory);
  try {
    if (walk.Run()) {
      tag.v2Present = true;
    }
  } catch (...) {
    WriteLogLine(kLogError, "Failed to read the version 2 tag data (pos: %u)",
                 static_cast<std::uint32_t>(walk.Position()));
  }
  return true;
}

}  // namespace tagsmith
