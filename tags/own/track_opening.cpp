#include "tags/own/track_opening.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>

#include "diag/log.h"
#include "tags/file_source.h"
#include "tags/own/aiff.h"
#include "tags/own/id3v1.h"
#include "tags/own/id3v2.h"
#include "tags/own/mpeg_sync.h"
#include "tags/source_reader.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

constexpr std::size_t kMagicSize = 4;
/// A stream that claims more is taken for one of 4 GB: the claim limits how long it may be read.
constexpr std::uint64_t kLargestStream = std::uint64_t{1} << 32U;

void Report(ProgressCallback progress, const char* text, int percent) {
  if (progress != nullptr) {
    progress(text, percent);
  }
}

/// Logs that the file is no `kind` of file. The first four bytes are shown as signed characters, so
/// that one of 80 shows as FFFFFF80; missing bytes show as 00. Always false.
bool Refuse(const char* kind, ByteView firstBytes) {
  std::array<std::uint32_t, kMagicSize> shown{};
  for (std::size_t i = 0; i < std::min(firstBytes.size(), shown.size()); ++i) {
    const auto byte = std::to_integer<std::uint32_t>(firstBytes[i]);
    shown[i] = byte < 0x80 ? byte : byte | 0xFFFFFF00U;
  }
  WriteLogLine(kLogError, "File is not a valid %s file (0x%02X%02X%02X%02X)", kind, shown[0],
               shown[1], shown[2], shown[3]);
  return false;
}

/// Whether the content is what the extension says. The reader stands at the beginning and stays
/// there, or after the sync word that was searched for.
bool RecogniseContent(const ID3Tag& tag, SourceReader& reader) {
  constexpr std::uint64_t kPairsSearched = 0x2000;
  constexpr std::size_t kTypeEnd = 8;
  const ByteView start = reader.Peek(kTypeEnd);
  // Copied, because the search below may move the reader's window.
  std::array<std::byte, kTypeEnd> copy{};
  std::copy(start.begin(), start.end(), copy.begin());
  const ByteView bytes = ByteView(copy).first(start.size());
  const ByteView magic = UpTo(bytes, kMagicSize);

  if (tag.isAiff) {
    return BeginsWithWord(magic, "FORM") || Refuse("AIFF", magic);
  }
  if (magic.size() == kMagicSize && BeginsWithWord(magic, "ID3")) {
    return true;
  }
  if (BeginsWithWord(bytes.subspan(magic.size()), "ftyp")) {
    WriteLogLine(kLogError, "File appears to be an MP4 not a valid MP3 file");
    return false;
  }
  const SyncSearch search = FindSync(reader, tag.isMpeg, kPairsSearched);
  return search.found || search.endedOnSync || Refuse("MP3", magic);
}

/// Reads the chunks of an AIFF file; nothing when its size ends the opening.
std::optional<AiffCommon> ReadFileChunks(ID3Tag& tag, SourceReader& reader,
                                         std::uint32_t fileSize) {
  reader.SeekTo(kMagicSize);
  const std::optional<AiffForm> form = ReadAiffForm(reader);
  if (!form) {
    return AiffCommon{};
  }
  if (!Fills(*form, fileSize)) {
    WriteLogLine(kLogWarning, "Size in header is not consistent with file size (%lu <> %lu - 8)%s",
                 static_cast<unsigned long>(form->size), static_cast<unsigned long>(fileSize),
                 tag.ignoreSizeErrors ? " (ignoring...)" : "");
    if (!tag.ignoreSizeErrors) {
      return std::nullopt;
    }
  }
  const bool isCompressed = BeginsWithWord(form->type, "AIFC");
  if (!isCompressed && !BeginsWithWord(form->type, "AIFF")) {
    const std::string_view type = AsText(form->type);
    WriteLogLine(kLogError, "AIFF error: Expected AIFF but found %c%c%c%c", type[0], type[1],
                 type[2], type[3]);
    return AiffCommon{};
  }
  WriteLogLine(kLogInformation, "%sAIFF header found", isCompressed ? "Compressed " : "");
  const AiffChunks chunks = WalkAiffChunks(reader);
  tag.id3AreaSize = chunks.tagSize.value_or(tag.id3AreaSize);
  return chunks.common;
}

/// Reads the chunks of an AIFF stream; those of a compressed one (AIFF-C) are left alone.
AiffCommon ReadStreamChunks(ID3Tag& tag, SourceReader& reader, std::int32_t fileSize) {
  if (!BeginsWithWord(reader.Take(kMagicSize), "FORM")) {
    return {};
  }
  const std::optional<AiffForm> form = ReadAiffForm(reader);
  if (!form) {
    return {};
  }
  if (!Fills(*form, static_cast<std::uint32_t>(fileSize))) {
    WriteLogLine(kLogWarning, "Size in header is not consistent with file size (%ld <> %ld - 8)",
                 static_cast<long>(static_cast<std::int32_t>(form->size)),
                 static_cast<long>(fileSize));
  }
  if (!BeginsWithWord(form->type, "AIFF")) {
    return {};
  }
  const AiffChunks chunks = WalkAiffChunks(reader);
  tag.details.audioOffset = chunks.tagSize.value_or(tag.details.audioOffset);
  return chunks.common;
}

void FinishTexts(ID3Tag& tag, std::uint64_t fileSize) {
  tag.SetTagVersion(tag.v2Version);
  tag.SetFileSize(fileSize);
}

/// Reads the ID3v1 tag of an MP3 file and the ID3v2 tag of any.
void ReadFileTags(ID3Tag& tag, SourceReader& reader, ProgressCallback progress) {
  if (tag.isMpeg) {
    Report(progress, "Loading V1...", 20);
    reader.SeekFromEnd(kV1BlockSize);  // when that fails, the next bytes are looked at
    if (!LoadV1Tag(tag, reader)) {
      WriteLogLine(kLogError, "Failed to load the V1 tag (error: %.255s)",
                   ErrorText(reader.LastError()));
    }
  }
  if (const std::uint32_t size = ProbeV2Tag(tag, reader); size != 0) {
    Report(progress, "Loading V2...", 40);
    if (!LoadV2Tag(tag, reader, size, tag.keepUnicode)) {
      WriteLogLine(kLogError, "Failed to load the tag data (error: %.255s)",
                   ErrorText(reader.LastError()));
    }
    reader.SeekTo(size);
    tag.v2Loaded = true;
  }
}

/// Reads the track in an open file; `result` holds what was reached when this throws.
void ReadFileTrack(ID3Tag& tag, ByteSource& source, const char* path, std::uint32_t scanMode,
                   ProgressCallback progress, bool& result) {
  const std::uint64_t actualSize = source.Status().size;
  SourceReader reader(source, actualSize);
  reader.SeekTo(0);
  if (!RecogniseContent(tag, reader)) {
    return;
  }
  tag.SetFileName(path);
  Report(progress, "Starting...", 0);
  tag.ClearV1();
  tag.ClearV2();
  tag.ResetDetails();

  const auto fileSize = static_cast<std::uint32_t>(actualSize);
  AiffCommon common;
  if (tag.isAiff) {
    const std::optional<AiffCommon> read = ReadFileChunks(tag, reader, fileSize);
    if (!read) {
      return;
    }
    common = *read;
  }
  ReadFileTags(tag, reader, progress);
  Report(progress, "Parsing...", 70);
  if (tag.isMpeg) {
    result = AnalyseMpegFrames(tag, reader, fileSize, scanMode, progress);
  } else if (tag.isAiff) {
    result = MakeAiffDetails(tag, common);
  }
  FinishTexts(tag, fileSize);
  Report(progress, "Finished", 90);
}

/// Finds the first frame and analyses it. The byte at the reader's position must be the first half
/// of its sync word; the second half is the next byte that fits, even if others come in between.
bool AnalyseStreamFrame(ID3Tag& tag, SourceReader& reader, std::uint32_t fileSize) {
  constexpr std::byte kSecondBits{0xF2};  // sync, MPEG-1 or MPEG-2, layer 1 or 3
  const auto offset = static_cast<std::uint32_t>(reader.Position());
  const ByteView lead = reader.Peek(1);
  if (lead.empty()) {
    return false;
  }
  if (lead[0] != std::byte{0xFF}) {
    // The search would run to the end without finding anything.
    reader.SeekToEnd();
    return false;
  }
  reader.Skip(1);
  for (;;) {
    const ByteView block = reader.Buffered(1);
    if (block.empty()) {
      return false;
    }
    const auto second = std::find_if(block.begin(), block.end(), [](std::byte byte) {
      return (byte & kSecondBits) == kSecondBits;
    });
    reader.Skip(second - block.begin());
    if (second != block.end()) {
      break;
    }
  }
  std::array<std::byte, kMpegBufferSize> buffer{};
  buffer[0] = std::byte{0xFF};
  const std::size_t count = 1 + reader.Read(std::span(buffer).subspan(1));
  if (!AnalyseMpegBuffer(tag, ByteView(buffer).first(count), offset, fileSize)) {
    WriteLogLine(kLogError, "Failed to create the MP3 details");
    return false;
  }
  return true;
}

void ReadStreamTrack(ID3Tag& tag, ByteSource& source, bool& result) {
  const SourceStatus status = source.Status();
  MarkStreamKind(tag, status.name);
  const auto fileSize = static_cast<std::int32_t>(status.size);
  SourceReader reader(source, std::min(status.size, kLargestStream));

  AiffCommon common;
  if (tag.isAiff) {
    common = ReadStreamChunks(tag, reader, fileSize);
  }
  if (tag.isMpeg && reader.SeekFromEnd(kV1BlockSize)) {
    LoadV1Tag(tag, reader);
  }
  if (const std::uint32_t size = ProbeV2Tag(tag, reader); size == 0) {
    reader.Take(kV2HeaderSize);  // without a tag, the bytes looked at count as read
  } else if (LoadV2Tag(tag, reader, size, true, tag.isMpeg ? kMpegBufferSize : 0)) {
    tag.v2Loaded = true;
  }
  FinishTexts(tag, static_cast<std::uint64_t>(std::int64_t{fileSize}));
  if (tag.isMpeg) {
    result = AnalyseStreamFrame(tag, reader, static_cast<std::uint32_t>(fileSize));
  }
  if (tag.isAiff) {
    result = MakeAiffDetails(tag, common);
  }
  reader.Settle();
}

}  // namespace

bool OpenTrackFromFile(ID3Tag& tag, const char* path, std::uint32_t scanMode,
                       ProgressCallback progress, bool checkWritable) {
  tag.readOnly = true;
  if (!CheckExtension(path, &tag)) {
    return false;
  }
  WriteLogLine(kLogInformation, "Opening ID3 track: %s", path);
  if (checkWritable) {
    tag.readOnly = IsReadOnly(path);
  }
  return ReadFileContained(path, [&](ByteSource& source, bool& result) {
    ReadFileTrack(tag, source, path, scanMode, progress, result);
  });
}

bool ReadTrackFile(ID3Tag& tag, ByteSource& file, const char* path, std::uint32_t scanMode,
                   ProgressCallback progress) {
  return ContainFileFaults(
      path, [&](bool& result) { ReadFileTrack(tag, file, path, scanMode, progress, result); });
}

bool OpenTrackFromStream(ByteSource* source, ID3Tag* tag) {
  return ContainStreamFaults(source, tag, ReadStreamTrack);
}

}  // namespace tagsmith
