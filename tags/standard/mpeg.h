// The audio of an MPEG file in the standard reading (ISO/IEC 11172-3, ISO/IEC 13818-3, MPEG-2.5):
// the first frame is one whose successor agrees; duration and average bit rate come from a Xing,
// Info or VBRI header, else from a constant rate, else from a few places of the file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tags/mpeg_header.h"
#include "tags/source_reader.h"
#include "tags/tag_model.h"

namespace tagsmith::standard {

/// Bytes after the ID3v2 tag in which the first frame must begin.
inline constexpr std::uint64_t kFirstFrameBound = std::uint64_t{128} * 1024;

/// What the header in the first frame tells.
struct VbrHeader {
  bool isVbr = false;
  std::uint64_t frames = 0;      // without the frame that holds the header; 0: not told
  std::uint64_t bytes = 0;       // 0: not told
  std::uint32_t samplesCut = 0;  // at beginning and end: the encoder's delay and padding
  std::string encoder;           // "LAME3.100"
};

/// The first frame and what follows it in memory.
struct FirstFrame {
  std::uint64_t offset = 0;
  std::uint32_t header = 0;
  std::optional<VbrHeader> vbr;
  std::uint32_t vbrFrameLength = 0;  // bytes of the frame that holds it
  std::uint32_t audioHeader = 0;     // of the first frame that holds audio
  bool agree = true;                 // the frames that are in memory have one bit rate

  [[nodiscard]] bool CountsFrames() const { return vbr && vbr->frames != 0; }
  /// Whether the header tells all that the bit rate follows from.
  [[nodiscard]] bool TellsRate() const { return CountsFrames() && vbr->bytes != 0; }
};

/// Finds the first frame from the reader's position on; nothing where there is none within
/// kFirstFrameBound.
std::optional<FirstFrame> FindFirstFrame(SourceReader& reader);

/// Fills the track details. The audio ends at `end`; `fileEnd` holds the last bytes before that,
/// and tells whether the rate is still that of the beginning. Makes at most eight calls on the
/// source, none with a header that counts the frames or, but for the lowest one, at a constant rate
/// of layer 3.
void MeasureAudio(ID3Tag& tag, SourceReader& reader, const FirstFrame& first, std::uint64_t end,
                  ByteView fileEnd);

}  // namespace tagsmith::standard
