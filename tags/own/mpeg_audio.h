// Analysis of MPEG audio (ISO/IEC 11172-3): fills the track details of an MP3 file, either by
// walking its frames or from the first frame alone.
#pragma once

#include <cstdint>

#include "tags/opening_steps.h"
#include "tags/source_reader.h"

namespace tagsmith {

/// How far AnalyseMpegFrames walks. Any other value counts as kScanAll.
enum ScanMode : std::uint32_t {
  kScanAll = 0,       // to the last frame
  kScanQuick = 1,     // to about 500 frames, at most about 1000
  kScanConstant = 2,  // to 1000 frames of constant bit rate
};

/// Finds the first frame from the reader's position on and walks the frames after it as far as the
/// scan mode says. Bit rate, duration and the VBR flags come from the walk, never from a Xing
/// header; only the encoder's name that follows one is read. `fileSize` is the low 32 bits of the
/// size. False when there is no frame; the details of the last rejected one then stay.
bool AnalyseMpegFrames(ID3Tag& tag, SourceReader& reader, std::uint32_t fileSize,
                       std::uint32_t scanMode, ProgressCallback progress);

/// The size of a buffer that AnalyseMpegBuffer can make full use of.
inline constexpr std::size_t kMpegBufferSize = 412;

/// Fills the details from the first frame's header and what follows it in `buffer`; the header
/// stands at `offset` of a file of `fileSize` bytes. Looks for no VBR, and makes no bit rate text.
/// In a full buffer of kMpegBufferSize bytes the encoder's name after a Xing header is not read.
/// False when the buffer does not begin with a valid header or holds fewer than 36 bytes.
bool AnalyseMpegBuffer(ID3Tag& tag, ByteView buffer, std::uint32_t offset, std::uint32_t fileSize);

}  // namespace tagsmith
