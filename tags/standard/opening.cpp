#include "tags/standard/opening.h"

#include <algorithm>
#include <array>

#include "tags/file_source.h"
#include "tags/id3v1_block.h"
#include "tags/standard/aiff.h"
#include "tags/standard/fields.h"
#include "tags/standard/frames.h"
#include "tags/standard/id3v1.h"
#include "tags/standard/mpeg.h"
#include "tags/text_helpers.h"

namespace tagsmith::standard {
namespace {

constexpr std::size_t kAiffMagicSize = 12;
/// A source that claims more is taken for one of 1 TB: with that, durations can be reckoned.
constexpr std::uint64_t kLargestSize = std::uint64_t{1} << 40U;

/// Skips the tags that follow the first one: some writers put theirs in front of it.
void SkipFurtherTags(SourceReader& reader) {
  constexpr int kMostTags = 16;
  for (int i = 0; i < kMostTags; ++i) {
    const std::optional<TagHeader> header = ReadTagHeader(reader.Peek(kV2HeaderSize));
    if (!header) {
      return;
    }
    reader.Skip(header->TagSize());
  }
}

/// Bytes at the end of the file that hold tags, not audio.
std::size_t TrailingTags(ByteView fileEnd, const ID3Tag& tag) {
  constexpr std::size_t kFooterSize = 32;
  std::size_t size = tag.v1Present ? kV1BlockSize : 0;
  if (fileEnd.size() >= size + kFooterSize) {
    // APE tag, version 2: its footer tells the size, footer included, and whether a header comes on
    // top.
    const ByteView footer = fileEnd.last(size + kFooterSize).first(kFooterSize);
    if (AsText(footer).starts_with("APETAGEX")) {
      size += ReadLittleEndian32(footer.subspan<12, 4>());
      size += footer[23] >= std::byte{0x80} ? kFooterSize : 0;
    }
  }
  return size;
}

bool ReadMpeg(ID3Tag& tag, SourceReader& reader, std::uint64_t fileSize) {
  constexpr std::size_t kFileEndSize = 4096;
  constexpr std::size_t kLookAhead = 2048;  // a frame of any rate and the beginning of the next
  ReadV2(tag, reader, kLookAhead);
  SkipFurtherTags(reader);
  const std::optional<FirstFrame> first = FindFirstFrame(reader);

  // The end of the file tells of ID3v1, and of the bit rate where nothing else does.
  std::array<std::byte, kFileEndSize> buffer;
  std::uint64_t wanted = first && !first->TellsRate() ? kFileEndSize : kV1BlockSize;
  if (fileSize != 0) {
    wanted = std::min(wanted, fileSize);
  }
  std::size_t count = 0;
  if (reader.SeekFromEnd(wanted)) {
    fileSize = std::min(reader.Position() + wanted, kLargestSize);
    count = reader.Read(std::span(buffer).first(wanted));
  }
  const ByteView fileEnd = ByteView(buffer).first(count);
  ReadV1(tag, fileEnd);
  if (!first) {
    return false;
  }
  const std::size_t trailing = TrailingTags(fileEnd, tag);
  MeasureAudio(tag, reader, *first, fileSize - std::min<std::uint64_t>(trailing, fileSize),
               fileEnd.first(count - std::min(trailing, count)));
  return true;
}

void ReadTrack(ID3Tag& tag, ByteSource& source, bool& result) {
  const SourceStatus status = source.Status();
  if (!status.name.empty() && !CheckExtension(status.name, nullptr)) {
    return;
  }
  const std::uint64_t size = std::min(status.size, kLargestSize);
  SourceReader reader(source, size);
  if (!HasExtension(status.name, ".aif")) {
    reader.SeekTo(0);  // offsets count from the beginning, wherever the stream stands
  }
  tag.isAiff = IsAiff(reader.Peek(kAiffMagicSize));
  tag.isMpeg = !tag.isAiff;
  tag.details.isMissing = !(tag.isAiff ? ReadAiff(tag, reader) : ReadMpeg(tag, reader, size));
  MergeV1(tag);
  result = !tag.details.isMissing || tag.HasFields();
  tag.SetTagVersion(tag.v2Version);
  tag.SetFileSize(status.size);
}

}  // namespace

void ReadV2(ID3Tag& tag, SourceReader& reader, std::size_t lookAhead) {
  const std::optional<TagHeader> header = ReadTagHeader(reader.Peek(kV2HeaderSize));
  if (!header) {
    return;
  }
  const std::uint32_t size = header->TagSize();
  if (size <= SourceReader::kSmallBlock) {
    // What was read with the header is enough to begin with.
    lookAhead = std::min(lookAhead, SourceReader::kSmallBlock - size);
  }
  std::span<std::byte> bytes = reader.Take(size, lookAhead);
  bytes = bytes.subspan(std::min(kV2HeaderSize, bytes.size()));
  TagFrameWalk walk(*header, bytes, tag);
  FieldFiller filler(tag, reader.TakenMemory());
  while (const std::optional<Frame> frame = walk.Next()) {
    filler.Store(*frame);
  }
  tag.v2Version = header->version;
  tag.v2Present = true;
  tag.v2Loaded = true;
}

bool OpenStream(ByteSource* source, ID3Tag* tag) {
  return ContainStreamFaults(source, tag, ReadTrack);
}

bool OpenPath(ID3Tag& tag, const char* path, std::uint32_t /*scanMode*/,
              ProgressCallback /*progress*/, bool checkWritable) {
  if (checkWritable) {
    tag.readOnly = IsReadOnly(path);
  }
  return ReadFileContained(path, [&](ByteSource& source, bool& result) {
    tag.SetFileName(path);
    ReadTrack(tag, source, result);
  });
}

}  // namespace tagsmith::standard
