#include "tags/own/mpeg_audio.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "diag/log.h"
#include "format/bounded.h"
#include "tags/mpeg_header.h"
#include "tags/own/mpeg_frame.h"
#include "tags/own/mpeg_sync.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

// Offsets from the start of a frame, the same for every version and channel mode.
constexpr std::size_t kVbrHeaderOffset = 36;
constexpr std::size_t kEncoderOffset = 156;  // after a whole Xing header of 120 bytes
constexpr std::size_t kEncoderSize = 255;
constexpr std::size_t kShortEncoderSize = 8;

constexpr std::string_view kLame = "LAME";

/// The encoder's name as found near the first frames.
class EncoderBuffer {
 public:
  [[nodiscard]] bool IsEmpty() const { return text_.front() == '\0'; }

  /// The text is then these bytes up to their first zero.
  void Set(ByteView bytes) { CopyBounded(text_, AsText(bytes)); }

  /// Cuts "LAME3.100 ..." to what is the encoder's name and version.
  void CutLameVersion() {
    if (!IsLame()) {
      return;
    }
    // Compared as a single against a double, so that 3.90 counts as 3.9 or more.
    const auto version = static_cast<float>(std::strtod(text_.data() + kLame.size(), nullptr));
    const bool isShort = static_cast<double>(version) >= 3.9;
    const std::size_t length = isShort ? (text_[8] == '.' ? 8 : 9) : 20;
    text_[length] = '\0';
  }

  /// What other encoders write in this place is never shown.
  void StoreIn(TrackDetails& details) const {
    CopyBounded(details.encoderText, IsLame() ? text_.data() : "");
  }

 private:
  [[nodiscard]] bool IsLame() const { return EqualIgnoringCase(text_.data(), kLame, kLame.size()); }

  std::array<char, kEncoderSize + 1> text_{};
};

/// Reads the encoder from a VBR header in `frame`, which begins with the frame's header.
EncoderBuffer ReadVbrHeader(ByteView frame, bool readsXing) {
  EncoderBuffer encoder;
  const ByteView header = After(frame, kVbrHeaderOffset);
  if (BeginsWithWord(header, "Xing") || BeginsWithWord(header, "info")) {
    if (readsXing) {
      encoder.Set(UpTo(After(frame, kEncoderOffset), kEncoderSize));
      encoder.CutLameVersion();
    }
  } else if (BeginsWithWord(header, kLame)) {
    encoder.Set(UpTo(header, kShortEncoderSize));
  }
  return encoder;
}

/// Bits of audio by 32-bit arithmetic, sign-extended: more than 268435455 bytes wrap.
void SetDurationFromSize(ID3Tag& tag, std::uint32_t fileSize, std::uint32_t bitRate) {
  const std::uint32_t bits = (fileSize - tag.details.audioOffset) * 8;
  const auto extended = static_cast<std::int64_t>(static_cast<std::int32_t>(bits));
  tag.SetDuration(static_cast<std::uint64_t>(extended), std::uint64_t{bitRate} * 1000);
}

/// Where the scan mode lets a walk over frames end early.
class ScanLimit {
 public:
  enum class Verdict { kGoOn, kEnd, kEndEstimated };

  explicit ScanLimit(std::uint32_t scanMode)
      : isQuick_(scanMode == kScanQuick),
        mostConstant_(isQuick_                    ? kQuickFrames
                      : scanMode == kScanConstant ? kMostFrames
                                                  : std::numeric_limits<std::uint32_t>::max()) {}

  /// To be asked after each frame of a walk.
  Verdict After(std::uint32_t frameCount, std::uint32_t bitRateSum, bool isVbr) {
    if (isQuick_) {
      if (IsSteady(frameCount, bitRateSum / frameCount)) {
        return Verdict::kEnd;
      }
      if (frameCount > kMostFrames) {
        return Verdict::kEndEstimated;
      }
    }
    if (isVbr || frameCount <= mostConstant_) {
      return Verdict::kGoOn;
    }
    WriteLogLine(kLogInformation, "VBR has not been found in the first %d frames (assuming CBR)",
                 static_cast<int>(mostConstant_));
    return Verdict::kEndEstimated;
  }

 private:
  static constexpr std::uint32_t kQuickFrames = 500;
  static constexpr std::uint32_t kMostFrames = 1000;
  static constexpr std::uint32_t kSteadyFrames = 200;
  static constexpr std::int64_t kSteadyRange = 2;

  /// Whether the average bit rate has stayed near the noted one for long enough.
  bool IsSteady(std::uint32_t frameCount, std::int64_t average) {
    if (average > average_ + kSteadyRange || average < average_ - kSteadyRange) {
      average_ = average;
      notedAt_ = frameCount;
      return false;
    }
    return notedAt_ + kSteadyFrames < frameCount && frameCount > kQuickFrames;
  }

  bool isQuick_;
  std::uint32_t mostConstant_;  // frames of one bit rate that are walked
  std::int64_t average_ = 0;    // as noted when it last changed
  std::uint32_t notedAt_ = 0;   // the frame count then
};

/// The walk over the frames of a file, and its way back to the search for another first frame.
class AudioFrameWalk {
 public:
  AudioFrameWalk(ID3Tag& tag, SourceReader& reader, std::uint32_t fileSize, std::uint32_t scanMode)
      : tag_(tag), details_(tag.details), reader_(reader), fileSize_(fileSize), limit_(scanMode) {}

  /// False when no frame is left that a walk could start from.
  bool Run() {
    while (FindSync(reader_, tag_.isMpeg).found) {
      const Start start = Begin();
      if (start == Start::kCut) {
        break;
      }
      if (start == Start::kRejected) {
        continue;
      }
      if (Walk() == Ending::kSearchAgain) {
        details_.isVbr = totals_.isVbr;
        details_.frameCount = totals_.frameCount;
        continue;
      }
      if (Finish()) {
        return true;
      }
    }
    if (vbrWithoutRate_) {
      // Made here and not by each walk: a broken file may have millions of them.
      FormatBitRate(details_.bitRateText, 0, *vbrWithoutRate_, details_.isEstimated);
    }
    return false;
  }

 private:
  enum class Start { kWalk, kRejected, kCut };
  enum class Ending { kFinish, kSearchAgain };

  /// What is needed of a frame, and the bits of its header that it follows from.
  struct Shape {
    std::uint32_t bits = 1;  // no header has this one; 0: the sample rate is invalid
    std::uint32_t bitRate = 0;
    std::uint32_t length = 0;
  };

  /// Where a walk stands.
  struct Place {
    ByteView block;                            // what is in memory from the reader's position on
    std::size_t offset = 0;                    // of the current frame in it
    std::size_t headerSize = kMpegHeaderSize;  // of the current header, as far as it is there
  };

  /// What changes with each frame.
  struct Totals {
    /// Counts a frame of this shape; false when its sample rate is invalid.
    bool Count(const Shape& shape) {
      ++frameCount;
      if (shape.bits == 0) {
        return false;
      }
      bitRateSum += shape.bitRate;
      lengthSum += shape.length;
      return true;
    }

    std::uint32_t frameCount = 0;
    std::uint32_t bitRateSum = 0;
    std::uint64_t lengthSum = 0;  // without the first frame; goes on over a second search
    bool isVbr = false;
  };

  static constexpr std::uint32_t kFramesSearchedForLame = 200;
  static constexpr std::uint32_t kShortestFrameSearched = 13;
  /// Sync, version, layer, bit rate, sample rate and padding.
  static constexpr std::uint32_t kShapeBits = 0xFFFEFE00;

  /// Reads the header whose two sync bytes were just read. The reader ends up at the frame's start,
  /// or after the header when no walk can start here.
  Start Begin() {
    reader_.Skip(-2);
    const ByteView bytes = reader_.Peek(kMpegHeaderSize);
    std::array<std::byte, kMpegHeaderSize> whole{};  // zeros where the file ends
    std::copy(bytes.begin(), bytes.end(), whole.begin());
    const std::uint32_t header = ReadBigEndian32(whole);
    StoreMpegHeader(DecodeMpegHeader(header), details_);
    if (bytes.size() < kMpegHeaderSize) {
      return Start::kCut;
    }
    tag_.SetAudioOffset(static_cast<std::uint32_t>(reader_.Position()));

    kind_.Select(header);
    first_ = {.bitRate = kind_.BitRate(header), .length = kind_.Length(header)};
    totals_.bitRateSum = first_.bitRate;
    if (first_.length == 0) {
      reader_.Skip(kMpegHeaderSize);
      return Start::kRejected;
    }
    // Only a frame that starts a walk is searched for a VBR header: rejected ones leave no trace.
    encoder_ = ReadVbrHeader(reader_.Peek(kEncoderOffset + kEncoderSize), true);
    totals_.isVbr = false;
    totals_.frameCount = 1;
    return Start::kWalk;
  }

  /// Goes from frame to frame, from the one at the reader's position on; the reader ends up after
  /// the last header read. Thousands of frames are walked, and where each one is depends on the one
  /// before. So what changes with each frame is kept in local variables, which registers can hold,
  /// and the length of a frame like one of the last two is known before its header is decoded.
  Ending Walk() {
    Totals totals = totals_;
    Shape shape = first_;  // of the current frame
    Shape former;          // another one that was met before
    Place place;
    while (shape.length != 0) {
      if (totals.frameCount < kFramesSearchedForLame && encoder_.IsEmpty() &&
          shape.length >= kShortestFrameSearched) {
        SearchForLame(shape.length, place);
      }
      // A frame of fewer than 4 bytes leads back into its own header.
      place.offset += shape.length;
      if (place.offset + kMpegHeaderSize > place.block.size() && !Refill(place)) {
        break;
      }
      const std::uint32_t header =
          ReadBigEndian32(place.block.subspan(place.offset).first<kMpegHeaderSize>());
      if ((header & kShapeBits) != shape.bits) {
        std::swap(shape, former);
        if ((header & kShapeBits) != shape.bits) {
          if (!ContinuesWalk(header)) {
            break;
          }
          shape = ReadShape(header);
        }
        totals.isVbr = totals.isVbr || shape.bitRate != former.bitRate;
      }
      if (!totals.Count(shape)) {
        return Leave(place, totals, Ending::kSearchAgain);
      }
      const ScanLimit::Verdict verdict =
          limit_.After(totals.frameCount, totals.bitRateSum, totals.isVbr);
      if (verdict != ScanLimit::Verdict::kGoOn) {
        details_.isEstimated |= verdict == ScanLimit::Verdict::kEndEstimated;
        break;
      }
    }
    return Leave(place, totals, Ending::kFinish);
  }

  Ending Leave(const Place& place, const Totals& totals, Ending ending) {
    reader_.Skip(static_cast<std::int64_t>(place.offset + place.headerSize));
    totals_ = totals;
    return ending;
  }

  /// Has the block begin at the place; false when the file has no whole header there.
  bool Refill(Place& place) {
    reader_.Skip(static_cast<std::int64_t>(place.offset));
    place = {.block = reader_.Buffered(kMpegHeaderSize)};
    place.headerSize = std::min(place.block.size(), kMpegHeaderSize);
    return place.headerSize == kMpegHeaderSize;
  }

  /// Whether this is another frame header and not the end of the frames.
  bool ContinuesWalk(std::uint32_t header) {
    // Twelve bits: an MPEG-2.5 frame, whose sync word has eleven, ends the walk.
    constexpr std::uint32_t kSyncBits = 0xFFF00000;
    if ((header & kSyncBits) == kSyncBits) {
      return true;
    }
    // "TAG" and a byte, as bits that must be set: an ID3v1 tag is a regular end.
    constexpr std::uint32_t kTagBits = 0x54414700;
    if ((header & kTagBits) != kTagBits) {
      details_.syncLost = true;
    }
    return false;
  }

  Shape ReadShape(std::uint32_t header) {
    kind_.Select(header);
    return {.bits = kind_.HasSampleRate() ? header & kShapeBits : 0,
            .bitRate = kind_.BitRate(header),
            .length = kind_.Length(header)};
  }

  /// Searches the frame at the place backwards, over its closing zeros, for the encoder that some
  /// versions write there.
  void SearchForLame(std::uint32_t length, Place& place) {
    reader_.Skip(static_cast<std::int64_t>(place.offset));
    place = {};
    const ByteView rest = After(reader_.Peek(length), kMpegHeaderSize);
    std::size_t i = std::min<std::size_t>(length - kShortestFrameSearched + 1, rest.size());
    while (i-- != 0) {
      const auto value = std::to_integer<unsigned char>(rest[i]);
      if (value == 'L' || value == 'l') {
        if (BeginsWithWord(rest.subspan(i), kLame)) {
          encoder_.Set(UpTo(rest.subspan(i), kShortEncoderSize));
        }
        return;
      }
      if (value != 0 && (value < 32 || value > 127)) {
        return;
      }
    }
  }

  /// Stores the results; false when there is no bit rate, so that another first frame is needed.
  bool Finish() {
    const std::uint32_t average = totals_.bitRateSum / totals_.frameCount;
    details_.isVbr = totals_.isVbr;
    details_.frameCount = totals_.frameCount;
    if (details_.isEstimated) {
      const std::uint64_t averageLength = totals_.lengthSum / totals_.frameCount;
      if (averageLength != 0) {
        const std::uint32_t audioSize = fileSize_ - details_.audioOffset;
        details_.frameCount = static_cast<std::uint32_t>(audioSize / averageLength);
      }
    }
    if (average == 0) {
      vbrWithoutRate_ = details_.isVbr;
      return false;
    }
    tag_.SetBitRate(average);
    SetDurationFromSize(tag_, fileSize_, average);
    encoder_.StoreIn(details_);
    return true;
  }

  ID3Tag& tag_;
  TrackDetails& details_;
  SourceReader& reader_;
  std::uint32_t fileSize_;
  std::optional<bool> vbrWithoutRate_;  // the VBR flag of the last walk that found no bit rate
  EncoderBuffer encoder_;
  MpegFrameKind kind_;
  Shape first_;  // of the frame that the walk starts from, but for its bits
  Totals totals_;
  ScanLimit limit_;
};

}  // namespace

bool AnalyseMpegFrames(ID3Tag& tag, SourceReader& reader, std::uint32_t fileSize,
                       std::uint32_t scanMode, ProgressCallback progress) {
  try {
    tag.details.syncLost = false;
    reader.UseLargeBlocks();
    if (!AudioFrameWalk(tag, reader, fileSize, scanMode).Run()) {
      return false;
    }
    if (progress != nullptr) {
      std::array<char, 293> text{};
      FormatBounded(text, "Loading %s", tag.fileName.value_or("").c_str());
      progress(text.data(), 100);
    }
  } catch (...) {
    WriteLogLine(kLogError, "Failed to parse the MPEG data");
  }
  return true;
}

bool AnalyseMpegBuffer(ID3Tag& tag, ByteView buffer, std::uint32_t offset, std::uint32_t fileSize) {
  try {
    tag.details.syncLost = false;
    if (buffer.size() < kMpegHeaderSize || buffer[0] != std::byte{0xFF} ||
        !IsAcceptedSync(buffer[1], true)) {
      return false;
    }
    tag.details.bitsPerSample = 16;
    const MpegHeader header = DecodeMpegHeader(ReadBigEndian32(buffer.first<kMpegHeaderSize>()));
    StoreMpegHeader(header, tag.details);
    tag.SetAudioOffset(offset);
    if (buffer.size() < kVbrHeaderOffset) {
      return false;
    }
    ReadVbrHeader(buffer, buffer.size() < kMpegBufferSize).StoreIn(tag.details);

    const std::uint32_t bitRate = MpegBitRate(header);
    tag.details.bitRate = bitRate;
    const float sampleRate = MpegSampleRate(header.versionIndex, header.sampleRateIndex);
    if (sampleRate == 0 || MpegFrameLength(bitRate, sampleRate, header.padding) == 0) {
      return false;
    }
    tag.details.frameCount = 1;
    if (bitRate == 0) {
      return false;
    }
    SetDurationFromSize(tag, fileSize, bitRate);
  } catch (...) {
    WriteLogLine(kLogError, "Failed to create the MPEG details");
  }
  return true;
}

}  // namespace tagsmith
