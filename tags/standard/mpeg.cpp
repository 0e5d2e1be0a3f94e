#include "tags/standard/mpeg.h"

#include <algorithm>
#include <array>

#include "format/bounded.h"
#include "tags/text_helpers.h"

namespace tagsmith::standard {
namespace {

// The longest frame is one of layer 2 at 160 kbps and 8000 Hz.
constexpr std::size_t kLongestFrame = 2881;
constexpr std::size_t kSearchView = kLongestFrame + kMpegHeaderSize;
static_assert(kSearchView <= SourceReader::kSmallBlock);

constexpr std::byte kSync{0xFF};  // what every frame begins with

// Bits of a header that stay the same in one stream: sync, version, layer and sample rate.
constexpr std::uint32_t kStreamBits = 0xFFFE0C00;
// Bits that the length of a frame depends on: with those, bit rate and padding.
constexpr std::uint32_t kLengthBits = kStreamBits | 0x0000F200;

std::uint32_t HeaderAt(ByteView bytes) { return ReadBigEndian32(bytes.first<kMpegHeaderSize>()); }

// ---- Frames -----------------------------------------------------------------------------------

/// What the length and the time of a frame are made of.
struct FrameShape {
  std::uint32_t bitRate = 0;     // kilobits per second
  std::uint32_t sampleRate = 0;  // hertz
  std::uint32_t samples = 0;
  std::uint32_t length = 0;  // bytes
};

/// Nothing for headers with a reserved value, and for free format, whose length no header tells.
std::optional<FrameShape> ReadShape(std::uint32_t header) {
  constexpr std::uint32_t kSyncBits = 0xFFE00000;
  constexpr std::uint8_t kBadBitRate = 15;
  constexpr std::uint8_t kReservedVersion = 1;
  const MpegHeader fields = DecodeMpegHeader(header);
  if ((header & kSyncBits) != kSyncBits || fields.versionIndex == kReservedVersion ||
      fields.layerIndex > 2 || fields.bitRateIndex == 0 || fields.bitRateIndex == kBadBitRate ||
      fields.sampleRateIndex == 3) {
    return std::nullopt;
  }
  const bool isMpeg1 = fields.versionIndex == 3;
  FrameShape shape;
  shape.bitRate = MpegBitRate(fields);
  shape.sampleRate =
      static_cast<std::uint32_t>(MpegSampleRate(fields.versionIndex, fields.sampleRateIndex));
  shape.samples = fields.layerIndex == 0 ? 384 : fields.layerIndex == 2 && !isMpeg1 ? 576 : 1152;
  // Layer 1 counts in slots of four bytes.
  const std::uint32_t slot = fields.layerIndex == 0 ? 4 : 1;
  const std::uint32_t slots = shape.samples / 8 / slot * (shape.bitRate * 1000) / shape.sampleRate;
  shape.length = (slots + fields.padding) * slot;
  return shape;
}

bool Agree(std::uint32_t left, std::uint32_t right) {
  return (left & kStreamBits) == (right & kStreamBits);
}

/// Frames, one after the other, from the beginning of a view.
struct FrameRun {
  std::uint64_t frames = 0;
  std::uint64_t bytes = 0;
  bool agree = true;  // in bit rate

  void Add(const FrameShape& shape, std::uint32_t rate) {
    ++frames;
    bytes += shape.length;
    agree = agree && shape.bitRate == rate;
  }
  void Add(const FrameRun& run) {
    frames += run.frames;
    bytes += run.bytes;
    agree = agree && run.agree;
  }
};

/// Walks the frames of the stream that `header` belongs to, from the beginning of `bytes`, where
/// one must stand, until the bytes end or are no such frame. A frame that the end cuts counts.
FrameRun WalkFrames(ByteView bytes, std::uint32_t header) {
  FrameRun run;
  std::optional<FrameShape> shape = ReadShape(header);
  const std::uint32_t rate = shape->bitRate;
  std::uint32_t last = header;
  while (bytes.size() >= kMpegHeaderSize && Agree(HeaderAt(bytes), header)) {
    if ((HeaderAt(bytes) & kLengthBits) != (last & kLengthBits)) {
      last = HeaderAt(bytes);
      shape = ReadShape(last);
    }
    if (!shape) {
      break;
    }
    run.Add(*shape, rate);
    bytes = bytes.subspan(std::min<std::size_t>(shape->length, bytes.size()));
  }
  return run;
}

/// The offset of the first frame of the stream whose successor agrees; the size of `bytes` where
/// there is none.
std::size_t FindFrame(ByteView bytes, std::uint32_t header) {
  for (std::size_t i = FindByte(bytes, kSync); i + kMpegHeaderSize <= bytes.size();
       i = FindByte(bytes, kSync, i + 1)) {
    const ByteView at = bytes.subspan(i);
    if (!Agree(HeaderAt(at), header)) {
      continue;
    }
    const std::optional<FrameShape> shape = ReadShape(HeaderAt(at));
    if (shape && at.size() >= shape->length + kMpegHeaderSize &&
        Agree(HeaderAt(at.subspan(shape->length)), header)) {
      return i;
    }
  }
  return bytes.size();
}

/// All frames of the stream in `bytes`, wherever they begin.
FrameRun CountFrames(ByteView bytes, std::uint32_t header) {
  FrameRun all;
  while (!bytes.empty()) {
    bytes = bytes.subspan(FindFrame(bytes, header));
    const FrameRun run = WalkFrames(bytes, header);
    all.Add(run);
    bytes =
        bytes.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(run.bytes, bytes.size())));
  }
  return all;
}

// ---- Headers of varying rate ------------------------------------------------------------------

/// What LAME and others put after the Xing header: their name, and the samples to be cut.
void ReadEncoder(ByteView bytes, VbrHeader& vbr) {
  constexpr std::size_t kEncoderSize = 9;
  constexpr std::size_t kDelayOffset = 21;
  const std::string_view encoder = AsText(bytes).substr(0, kEncoderSize);
  // LAME before 3.90 wrote no more than its name.
  const bool isLame = encoder.starts_with("LAME3.9") || encoder.starts_with("LAME3.1");
  if (isLame || encoder.starts_with("Lavc") || encoder.starts_with("Lavf")) {
    if (bytes.size() >= kDelayOffset + 3) {
      const ByteView cut = bytes.subspan(kDelayOffset, 3);
      const auto delay = std::to_integer<std::uint32_t>(cut[0]) << 4U |
                         std::to_integer<std::uint32_t>(cut[1]) >> 4U;
      const auto padding = (std::to_integer<std::uint32_t>(cut[1]) & 0x0FU) << 8U |
                           std::to_integer<std::uint32_t>(cut[2]);
      vbr.samplesCut = delay + padding;
    }
  }
  if (isLame || encoder.starts_with("L")) {
    const auto* const end =
        std::find_if(encoder.begin(), encoder.end(), [](char c) { return c <= ' ' || c > '~'; });
    vbr.encoder.assign(encoder.begin(), end);
  }
}

/// The header that encoders put after the side information of a first frame of layer 3.
std::optional<VbrHeader> ReadXing(ByteView bytes) {
  constexpr std::uint32_t kHasFrames = 1;
  constexpr std::uint32_t kHasBytes = 2;
  constexpr std::uint32_t kHasTable = 4;
  constexpr std::uint32_t kHasQuality = 8;
  constexpr std::size_t kTableSize = 100;
  const bool isInfo = AsText(bytes).starts_with("Info");
  if (bytes.size() < 8 || (!isInfo && !AsText(bytes).starts_with("Xing"))) {
    return std::nullopt;
  }
  VbrHeader vbr;
  vbr.isVbr = !isInfo;
  const std::uint32_t flags = ReadBigEndian32(bytes.subspan<4, 4>());
  bytes = bytes.subspan(8);
  const auto takeNumber = [&](std::uint32_t flag) -> std::uint64_t {
    if ((flags & flag) == 0 || bytes.size() < 4) {
      return 0;
    }
    const std::uint32_t number = HeaderAt(bytes);
    bytes = bytes.subspan(4);
    return number;
  };
  vbr.frames = takeNumber(kHasFrames);
  vbr.bytes = takeNumber(kHasBytes);
  if ((flags & kHasTable) != 0) {
    bytes = bytes.subspan(std::min(kTableSize, bytes.size()));
  }
  takeNumber(kHasQuality);
  ReadEncoder(bytes, vbr);
  return vbr;
}

std::optional<VbrHeader> ReadVbri(ByteView bytes) {
  constexpr std::size_t kSize = 18;
  if (bytes.size() < kSize || !AsText(bytes).starts_with("VBRI")) {
    return std::nullopt;
  }
  VbrHeader vbr;
  vbr.isVbr = true;
  vbr.frames = ReadBigEndian32(bytes.subspan<14, 4>());
  vbr.bytes = ReadBigEndian32(bytes.subspan<10, 4>());
  return vbr;
}

std::optional<VbrHeader> ReadVbrHeader(ByteView frame, const MpegHeader& header) {
  constexpr std::size_t kVbriOffset = 36;
  constexpr std::size_t kCrcSize = 2;
  constexpr std::uint8_t kMono = 3;
  if (header.layerIndex != 2) {
    return std::nullopt;
  }
  const bool isMono = header.channelMode == kMono;
  const std::size_t sideSize = header.versionIndex == 3 ? (isMono ? 17 : 32) : (isMono ? 9 : 17);
  const auto from = [&](std::size_t offset) {
    return frame.subspan(std::min(offset, frame.size()));
  };
  // Most writers leave no room for the check sum, though the header says that there is one.
  std::optional<VbrHeader> vbr = ReadXing(from(kMpegHeaderSize + sideSize));
  if (!vbr && header.protectionBit == 0) {
    vbr = ReadXing(from(kMpegHeaderSize + kCrcSize + sideSize));
  }
  return vbr ? vbr : ReadVbri(from(kVbriOffset));
}

// ---- The first frame --------------------------------------------------------------------------

/// Whether a frame can begin a stream here: its successor agrees, or it is the last there is.
bool BeginsStream(ByteView bytes, bool isEnd) {
  if (bytes.size() < kMpegHeaderSize) {
    return false;
  }
  const std::uint32_t header = HeaderAt(bytes);
  const std::optional<FrameShape> shape = ReadShape(header);
  if (!shape) {
    return false;
  }
  if (bytes.size() < shape->length + kMpegHeaderSize) {
    // Of a file that is cut in its first frame, only a header in that frame is proof enough.
    return isEnd && ReadVbrHeader(bytes, DecodeMpegHeader(header)).has_value();
  }
  return Agree(HeaderAt(bytes.subspan(shape->length)), header);
}

FirstFrame Describe(ByteView bytes, std::uint64_t offset) {
  FirstFrame first;
  first.offset = offset;
  first.header = HeaderAt(bytes);
  const MpegHeader header = DecodeMpegHeader(first.header);
  const std::uint32_t length = ReadShape(first.header)->length;
  first.vbr = ReadVbrHeader(bytes.first(std::min<std::size_t>(length, bytes.size())), header);
  first.audioHeader = first.header;
  if (first.vbr) {
    // The frame that holds such a header is as long as that needs, whatever the rate is.
    first.vbrFrameLength = length;
    bytes = bytes.subspan(std::min<std::size_t>(length, bytes.size()));
    if (bytes.size() >= kMpegHeaderSize && ReadShape(HeaderAt(bytes))) {
      first.audioHeader = HeaderAt(bytes);
    }
  }
  first.agree = WalkFrames(bytes, first.audioHeader).agree;
  return first;
}

}  // namespace

std::optional<FirstFrame> FindFirstFrame(SourceReader& reader) {
  // As a rule it stands right here, in memory with its successor.
  const ByteView here = reader.Buffered(kMpegHeaderSize);
  if (BeginsStream(here, false)) {
    return Describe(here, reader.Position());
  }
  for (std::uint64_t searched = 0; searched < kFirstFrameBound;) {
    const ByteView view = reader.Buffered(kSearchView);
    const bool isEnd = view.size() < kSearchView;
    const std::size_t decided = isEnd ? view.size() : view.size() - kSearchView + 1;
    for (std::size_t i = FindByte(view, kSync); i < decided; i = FindByte(view, kSync, i + 1)) {
      if (BeginsStream(view.subspan(i), isEnd)) {
        return Describe(view.subspan(i), reader.Position() + i);
      }
    }
    if (isEnd) {
      break;
    }
    reader.Skip(static_cast<std::int64_t>(decided));
    reader.UseLargeBlocks();
    searched += decided;
  }
  return std::nullopt;
}

// ---- Duration ---------------------------------------------------------------------------------

namespace {

/// Stores what follows from a number of frames that take `bytes` bytes; `samplesCut` of their
/// samples are not heard.
void StoreFrames(ID3Tag& tag, const FrameShape& shape, std::uint64_t frames, std::uint64_t bytes,
                 std::uint32_t samplesCut) {
  const std::uint64_t samples = frames * shape.samples;
  tag.details.frameCount = frames;
  tag.SetExactDuration(samples - std::min<std::uint64_t>(samplesCut, samples), shape.sampleRate);
  tag.SetBitRate(static_cast<std::uint32_t>((bytes * 8 * shape.sampleRate + samples * 500) /
                                            (samples * 1000)));
}

void StoreConstantRate(ID3Tag& tag, const FrameShape& shape, std::uint64_t bytes) {
  const std::uint64_t bitsPerSecond = std::uint64_t{shape.bitRate} * 1000;
  const std::uint64_t bitsTimesRate = bitsPerSecond * shape.samples;
  tag.details.frameCount = (bytes * 8 * shape.sampleRate + bitsTimesRate / 2) / bitsTimesRate;
  tag.SetExactDuration(bytes * 8, bitsPerSecond);
  tag.SetBitRate(shape.bitRate);
}

/// Counts the frames of a short file, of a longer one those at a few places.
FrameRun SampleFrames(SourceReader& reader, std::uint32_t header, std::uint64_t start,
                      std::uint64_t bytes) {
  constexpr std::uint64_t kReadWhole = std::uint64_t{256} * 1024;
  constexpr std::uint64_t kPlaces = 4;
  constexpr std::uint64_t kPlaceSize = std::uint64_t{16} * 1024;
  FrameRun all;
  const bool isShort = bytes <= kReadWhole;
  const std::uint64_t places = isShort ? 1 : kPlaces;
  reader.UseLargeBlocks();  // a place is one call
  for (std::uint64_t i = 0; i < places; ++i) {
    const std::uint64_t offset = isShort ? 0 : bytes / (2 * kPlaces) * (2 * i + 1);
    if (reader.SeekTo(start + offset)) {
      all.Add(CountFrames(reader.Take(isShort ? bytes : kPlaceSize, 0), header));
    }
  }
  return all;
}

}  // namespace

void MeasureAudio(ID3Tag& tag, SourceReader& reader, const FirstFrame& first, std::uint64_t end,
                  ByteView fileEnd) {
  StoreMpegHeader(DecodeMpegHeader(first.header), tag.details);
  tag.SetAudioOffset(first.offset);
  tag.details.bitsPerSample = 16;
  if (first.vbr) {
    CopyBounded(tag.details.encoderText, first.vbr->encoder);
  }
  const FrameShape shape = *ReadShape(first.audioHeader);
  const std::uint64_t start = first.offset + first.vbrFrameLength;
  const std::uint64_t bytes = end > start ? end - start : 0;
  TrackDetails& details = tag.details;
  if (first.CountsFrames()) {
    details.isVbr = first.vbr->isVbr;
    StoreFrames(tag, shape, first.vbr->frames, first.vbr->bytes != 0 ? first.vbr->bytes : bytes,
                first.vbr->samplesCut);
    return;
  }
  const ByteView audioEnd = fileEnd.last(std::min<std::uint64_t>(fileEnd.size(), bytes));
  const bool endsAgree = first.agree && CountFrames(audioEnd, first.audioHeader).agree;
  // The lowest rate at both ends may be silence; and encoders of layer 2 vary the rate rarely, from
  // any rate on.
  const MpegHeader fields = DecodeMpegHeader(first.audioHeader);
  const bool settlesIt = fields.layerIndex == 2 && fields.bitRateIndex != 1;
  const FrameRun run =
      endsAgree && settlesIt ? FrameRun{} : SampleFrames(reader, first.audioHeader, start, bytes);
  if (run.frames == 0 || (endsAgree && run.agree)) {
    StoreConstantRate(tag, shape, bytes);
    return;
  }
  details.isVbr = true;
  details.isEstimated = run.bytes < bytes;
  StoreFrames(tag, shape, std::max<std::uint64_t>(bytes * run.frames / run.bytes, 1), bytes, 0);
}

}  // namespace tagsmith::standard
