#include "tags/standard/frames.h"

#include <algorithm>

#include "tags/standard/inflate.h"
#include "tags/text_helpers.h"

namespace tagsmith::standard {
namespace {

// Flags of the tag header. In 2.2 the second one says that the whole tag is compressed, by a scheme
// that was never laid down.
constexpr std::byte kUnsynchronised{0x80};
constexpr std::byte kExtended{0x40};
constexpr std::byte kFooter{0x10};

constexpr std::byte kZero{0};
constexpr std::byte kSyncStart{0xFF};

bool IsSet(std::byte flags, std::byte flag) { return (flags & flag) != kZero; }

bool IsIdCharacter(std::byte byte) {
  const char c = std::to_integer<char>(byte);
  return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// Whether this is the beginning of a frame, of padding or of nothing.
bool IsAtFrame(ByteView bytes) {
  constexpr std::size_t kIdSize = 4;
  const ByteView id = bytes.first(std::min(bytes.size(), kIdSize));
  return std::all_of(id.begin(), id.end(), IsIdCharacter) ||
         std::all_of(id.begin(), id.end(), [](std::byte byte) { return byte == kZero; });
}

/// Undoes unsynchronisation (ID3v2.4.0 structure, 6.1) into `result`. False, where the bytes hold
/// what looks like a sync word: then they were never unsynchronised, whatever a flag says.
bool UndoUnsynchronisation(ByteView bytes, std::vector<std::byte>& result) {
  constexpr std::byte kSyncSecond{0xE0};
  result.clear();
  result.reserve(bytes.size());
  while (!bytes.empty()) {
    const auto sync = std::find(bytes.begin(), bytes.end(), kSyncStart);
    const auto count = static_cast<std::size_t>(sync - bytes.begin());
    result.insert(result.end(), bytes.begin(), sync);
    bytes = bytes.subspan(count);
    if (bytes.empty()) {
      break;
    }
    result.push_back(kSyncStart);
    bytes = bytes.subspan(1);
    if (!bytes.empty() && bytes[0] >= kSyncSecond) {
      return false;
    }
    if (!bytes.empty() && bytes[0] == kZero) {
      bytes = bytes.subspan(1);
    }
  }
  return true;
}

/// What the second flag byte of a frame header says (ID3v2.3.0, 3.3.1; ID3v2.4.0 structure, 4.1.2).
struct FrameFlags {
  std::byte grouped;
  std::byte compressed;
  std::byte encrypted;
  std::byte unsynchronised;
  std::byte hasLength;  // the data's length before compression stands in front of it
};
constexpr FrameFlags kFlags23{std::byte{0x20}, std::byte{0x80}, std::byte{0x40}, kZero,
                              std::byte{0x80}};
constexpr FrameFlags kFlags24{std::byte{0x40}, std::byte{0x08}, std::byte{0x04}, std::byte{0x02},
                              std::byte{0x09}};

}  // namespace

std::uint32_t TagHeader::TagSize() const {
  const bool hasFooter = version >= 4 && IsSet(flags, kFooter);
  return dataSize + static_cast<std::uint32_t>(hasFooter ? 2 * kSize : kSize);
}

std::optional<TagHeader> ReadTagHeader(ByteView bytes) {
  constexpr std::byte kNoVersion{0xFF};
  constexpr std::byte kNoSyncsafe{0x80};
  if (bytes.size() < TagHeader::kSize || !AsText(bytes).starts_with("ID3") ||
      bytes[3] == kNoVersion || bytes[4] == kNoVersion) {
    return std::nullopt;
  }
  const std::span<const std::byte, 4> size = bytes.subspan<6, 4>();
  if (std::any_of(size.begin(), size.end(), [](std::byte byte) { return byte >= kNoSyncsafe; })) {
    return std::nullopt;
  }
  return TagHeader{.version = std::to_integer<int>(bytes[3]),
                   .flags = bytes[5],
                   .dataSize = ReadSyncsafe32(size)};
}

FrameWalk::FrameWalk(const TagHeader& header, ByteView data)
    : version_(header.version),
      isUnsynchronised_(header.version >= 4 && IsSet(header.flags, kUnsynchronised)),
      rest_(data.first(std::min<std::size_t>(data.size(), header.dataSize))) {
  const bool isReadable =
      version_ >= 2 && version_ <= 4 && !(version_ == 2 && IsSet(header.flags, kExtended));
  if (!isReadable) {
    rest_ = {};
  } else if (version_ < 4 && IsSet(header.flags, kUnsynchronised) &&
             UndoUnsynchronisation(rest_, tag_)) {
    rest_ = tag_;
  }
  SkipExtendedHeader(header.flags);
}

/// Some writers set the flag and write no extended header: a frame follows at once.
void FrameWalk::SkipExtendedHeader(std::byte flags) {
  if (!IsSet(flags, kExtended) || rest_.size() < 4 || IsAtFrame(rest_)) {
    return;
  }
  const std::span<const std::byte, 4> size = rest_.first<4>();
  // From 2.4 on the size counts its own four bytes.
  const std::uint64_t skipped = version_ >= 4 ? std::uint64_t{ReadSyncsafe32(size)}
                                              : std::uint64_t{ReadBigEndian32(size)} + 4;
  rest_ = rest_.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(skipped, rest_.size())));
}

/// Sizes of 2.4 are syncsafe, but a widespread writer made them plain: what follows the frame
/// tells. `rest_` stands at the data.
std::uint32_t FrameWalk::ChooseSize(std::uint32_t syncsafe, std::uint32_t plain) const {
  const auto leadsToFrame = [this](std::uint32_t size) {
    return size <= rest_.size() && IsAtFrame(rest_.subspan(size));
  };
  return syncsafe != plain && !leadsToFrame(syncsafe) && leadsToFrame(plain) ? plain : syncsafe;
}

std::optional<Frame> FrameWalk::Next() {
  const std::size_t idSize = version_ == 2 ? 3 : 4;
  const std::size_t headerSize = version_ == 2 ? 6 : 10;
  while (rest_.size() > headerSize && rest_[0] != kZero) {
    const ByteView header = rest_.first(headerSize);
    rest_ = rest_.subspan(headerSize);
    Frame frame{.id = {}, .version = version_};
    std::uint32_t size = 0;
    std::byte flags{};
    if (version_ == 2) {
      size = std::to_integer<std::uint32_t>(header[3]) << 16U |
             ReadBigEndian16(header.subspan<4, 2>());
    } else {
      const std::span<const std::byte, 4> field = header.subspan<4, 4>();
      const std::uint32_t plain = ReadBigEndian32(field);
      size = version_ < 4 ? plain : ChooseSize(ReadSyncsafe32(field), plain);
      flags = header[9];
    }
    // A frame that the end cuts is shown as far as it is there.
    frame.body = rest_.first(std::min<std::size_t>(size, rest_.size()));
    rest_ = rest_.subspan(frame.body.size());
    // Frames of 2.2 went into later tags under their old IDs, with a zero or a blank at the end.
    ByteView id = header.first(idSize);
    if (id.back() == std::byte{' '}) {
      id = id.first(idSize - 1);
    }
    frame.id = FrameId(AsText(id));
    if (Unwrap(frame, flags)) {
      return frame;
    }
  }
  return std::nullopt;
}

/// Makes of the bytes after the frame's header what the writer put in; false, where there is
/// nothing that can be read.
bool FrameWalk::Unwrap(Frame& frame, std::byte flags) {
  constexpr std::size_t kGroupSize = 1;
  constexpr std::size_t kLengthSize = 4;
  const FrameFlags& known = version_ < 4 ? kFlags23 : kFlags24;
  const std::size_t start = (IsSet(flags, known.grouped) ? kGroupSize : 0) +
                            (IsSet(flags, known.hasLength) ? kLengthSize : 0);
  if (IsSet(flags, known.encrypted) || frame.body.size() <= start) {
    return false;
  }
  frame.body = frame.body.subspan(start);
  if ((isUnsynchronised_ || IsSet(flags, known.unsynchronised)) &&
      UndoUnsynchronisation(frame.body, frame_)) {
    frame.body = frame_;
  }
  if (IsSet(flags, known.compressed)) {
    if (!Inflate(frame.body, inflated_)) {
      return false;
    }
    frame.body = inflated_;
  }
  return !frame.body.empty();
}

}  // namespace tagsmith::standard
