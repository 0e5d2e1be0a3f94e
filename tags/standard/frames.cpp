#include "tags/standard/frames.h"

#include <algorithm>

#include "tags/standard/inflate.h"
#include "tags/text_helpers.h"

namespace tagsmith::standard {
namespace {

constexpr std::byte kZero{0};

bool IsSet(std::byte flags, std::byte flag) { return (flags & flag) != kZero; }

bool IsIdCharacter(std::byte byte) {
  const char c = std::to_integer<char>(byte);
  return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// Whether a frame begins here that ends within these bytes, or padding, or there is nothing left.
/// `version`: 3 or 4, whose frames have sizes that writers made in both ways.
bool IsAtFrame(ByteView bytes, int version) {
  constexpr std::size_t kIdSize = 4;
  constexpr std::size_t kSeenPadding = 64;  // pictures hold shorter runs of zeros
  const ByteView id = bytes.first(std::min(bytes.size(), kIdSize));
  if (bytes.size() >= FrameHeaderSize(version) &&
      std::all_of(id.begin(), id.end(), IsIdCharacter)) {
    const FrameHeader header = ReadFrameHeader(bytes, version);
    return std::min(header.size, header.plainSize) <= bytes.size() - FrameHeaderSize(version);
  }
  const ByteView padding = bytes.first(std::min(bytes.size(), kSeenPadding));
  return std::all_of(padding.begin(), padding.end(), [](std::byte byte) { return byte == kZero; });
}

/// Undoes unsynchronisation, unless there is what looks like a sync word: then the bytes never were
/// unsynchronised, whatever a flag says.
std::span<std::byte> UndoIfUnsynchronised(std::span<std::byte> bytes) {
  const auto sync =
      std::adjacent_find(bytes.begin(), bytes.end(), [](std::byte first, std::byte second) {
        return first == std::byte{0xFF} && second >= std::byte{0xE0};
      });
  return sync == bytes.end() ? UndoUnsynchronisation(bytes) : bytes;
}

/// The most that a frame may take up to the end of a text of so many characters.
std::size_t BytesOfText(std::size_t characters) {
  constexpr std::size_t kMostBytes = 4;          // of a character
  constexpr std::size_t kBeforeText = 64 << 10;  // encoding, language, description
  return characters < (kWholeText - kBeforeText) / kMostBytes
             ? kBeforeText + kMostBytes * characters
             : kWholeText;
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
  const bool hasFooter = version >= 4 && IsSet(flags, kTagFooter);
  return dataSize + static_cast<std::uint32_t>(hasFooter ? 2 * kV2HeaderSize : kV2HeaderSize);
}

std::optional<TagHeader> ReadTagHeader(ByteView bytes) {
  constexpr std::byte kNoVersion{0xFF};
  constexpr std::byte kNoSyncsafe{0x80};
  if (bytes.size() < kV2HeaderSize || !AsText(bytes).starts_with("ID3") || bytes[3] == kNoVersion ||
      bytes[4] == kNoVersion) {
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

TagFrameWalk::TagFrameWalk(const TagHeader& header, std::span<std::byte> data,
                           const TagOptions& options)
    : version_(header.version),
      isUnsynchronised_(header.version >= 4 && IsSet(header.flags, kTagUnsynchronised)),
      rest_(data.first(std::min<std::size_t>(data.size(), header.dataSize))),
      mostBytes_(BytesOfText(options.longestText)),
      keepsPictures_(options.mostPictures != 0) {
  const bool isReadable =
      version_ >= 2 && version_ <= 4 && !(version_ == 2 && IsSet(header.flags, kTagExtended));
  if (!isReadable) {
    rest_ = {};
  } else if (version_ < 4 && IsSet(header.flags, kTagUnsynchronised)) {
    rest_ = UndoIfUnsynchronised(rest_);
  }
  SkipExtendedHeader(header.flags);
}

/// Some writers set the flag and write no extended header: a frame follows at once.
void TagFrameWalk::SkipExtendedHeader(std::byte flags) {
  if (!IsSet(flags, kTagExtended) || rest_.size() < 4 || IsAtFrame(rest_, version_)) {
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
std::uint32_t TagFrameWalk::ChooseSize(const FrameHeader& header) const {
  const auto leadsToFrame = [this](std::uint32_t size) {
    return size <= rest_.size() && IsAtFrame(rest_.subspan(size), version_);
  };
  const bool isPlain = header.size != header.plainSize && !leadsToFrame(header.size) &&
                       leadsToFrame(header.plainSize);
  return isPlain ? header.plainSize : header.size;
}

std::optional<Frame> TagFrameWalk::Next() {
  const std::size_t headerSize = FrameHeaderSize(version_);
  while (rest_.size() > headerSize && rest_[0] != kZero) {
    FrameHeader header = ReadFrameHeader(rest_, version_);
    // Frames of 2.2 went into later tags under their old IDs, with a zero or a blank at the end.
    if (version_ > 2 && rest_[3] == std::byte{' '}) {
      header.id = FrameId(AsText(rest_.first<3>()));
    }
    rest_ = rest_.subspan(headerSize);
    // A frame that the end cuts is shown as far as it is there.
    const std::span<std::byte> data =
        rest_.first(std::min<std::size_t>(ChooseSize(header), rest_.size()));
    rest_ = rest_.subspan(data.size());
    const bool isPicture = header.id == FrameId("APIC") || header.id == FrameId("PIC");
    const std::size_t most = isPicture && keepsPictures_ ? kWholeText : mostBytes_;
    if (const std::optional<ByteView> body = Unwrap(data, header.flags, most)) {
      const bool isInTag = body->data() != inflated_.data();
      return Frame{.id = header.id, .version = version_, .body = *body, .isInTag = isInTag};
    }
  }
  return std::nullopt;
}

/// Makes of the bytes after the frame's header what the writer put in; nothing where that cannot be
/// read.
std::optional<ByteView> TagFrameWalk::Unwrap(std::span<std::byte> data, std::byte flags,
                                             std::size_t most) {
  constexpr std::size_t kGroupSize = 1;
  constexpr std::size_t kLengthSize = 4;
  const FrameFlags& known = version_ < 4 ? kFlags23 : kFlags24;
  const std::size_t start = (IsSet(flags, known.grouped) ? kGroupSize : 0) +
                            (IsSet(flags, known.hasLength) ? kLengthSize : 0);
  if (IsSet(flags, known.encrypted) || data.size() <= start) {
    return std::nullopt;
  }
  data = data.subspan(start);
  if (isUnsynchronised_ || IsSet(flags, known.unsynchronised)) {
    data = UndoIfUnsynchronised(data);
  }
  if (!IsSet(flags, known.compressed)) {
    return UpTo(data, most);
  }
  return Inflate(data, inflated_, most) ? std::optional<ByteView>(inflated_) : std::nullopt;
}

}  // namespace tagsmith::standard
