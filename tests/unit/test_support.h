// Makes tracks byte by byte, and watches what the library does with them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tags/memory_source.h"
#include "tags/tag_model.h"

namespace tagsmith::test {

using namespace std::string_literals;
using namespace std::string_view_literals;

// ---- Bytes ------------------------------------------------------------------------------------

ByteView Bytes(std::string_view text);
std::string Big32(std::uint32_t value);
std::string Big16(std::uint16_t value);
std::string Syncsafe(std::uint32_t value);
std::string Little32(std::uint32_t value);
std::string Little16(std::uint16_t value);
/// The text again and again, until it has the size or more.
std::string Repeated(std::string_view text, std::size_t size);
/// "AB" as 41 00 42 00.
std::string Utf16Le(std::u16string_view text);

// ---- ID3 --------------------------------------------------------------------------------------

/// A frame with the header of its version: 2.2 by three letters, else 2.3 or 2.4.
std::string Frame(int version, std::string_view id, std::string_view data, std::uint8_t flags = 0);
/// Header and frames.
std::string V2Tag(int version, std::string_view frames, std::uint8_t flags = 0);
/// A block of 128 bytes.
std::string V1Block(std::string_view title, std::uint8_t track, std::uint8_t genre);

// ---- Audio ------------------------------------------------------------------------------------

/// A frame of MPEG-1 layer 3 at 44100 Hz: header, zeros, as long as its bit rate index says.
std::string MpegFrame(unsigned bitRateIndex);
std::string MpegFrames(unsigned bitRateIndex, std::size_t count);
/// A chunk with its pad byte.
std::string Chunk(std::string_view id, std::string_view data);
/// COMM for 44100 Hz.
std::string CommChunk(std::uint16_t channels, std::uint32_t sampleFrames, std::uint16_t bits);
/// FORM of a right size.
std::string Aiff(std::string_view formType, std::string_view chunks);

// ---- Pictures ---------------------------------------------------------------------------------

/// A BMP of `height` rows, bottom row first, or top row first when it is negative. `palette`: four
/// bytes an entry; `rows`: padded to four bytes each.
std::string BmpPicture(std::int32_t width, std::int32_t height, std::uint16_t bits,
                       std::string_view palette, std::string_view rows);
/// An APIC frame of 2.3.
std::string PictureFrame(std::string_view mime, std::string_view picture);

// ---- Surroundings -----------------------------------------------------------------------------

/// A file in a folder of its own, which goes with it.
class TemporaryFile {
 public:
  TemporaryFile(std::string_view name, std::string_view content);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  [[nodiscard]] const char* Path() const { return path_.c_str(); }

 private:
  std::filesystem::path folder_;
  std::string path_;
};

/// Collects log lines from here on; Messages gives "level message" of each.
class LogWatch {
 public:
  LogWatch();
  static std::vector<std::string> Messages();
};

using Lines = std::vector<std::string>;

/// A source that counts and can misbehave.
class ProbeSource : public MemorySource {
 public:
  ProbeSource(std::string_view content, std::string name)
      : MemorySource(Bytes(content), std::move(name)), size(content.size()) {}

  ReadResult Read(std::span<std::byte> into) override;
  std::optional<std::uint64_t> Seek(std::int64_t offset, SeekOrigin origin) override;
  SourceStatus Status() override;

  std::size_t largestRead = SIZE_MAX;       // what one call delivers at the most
  std::uint64_t failsFrom = UINT64_MAX;     // reads that reach this position fail
  bool failsSeeks = false;                  // every move does
  std::uint64_t firstSeekable = 0;          // moves in front of this position fail
  std::uint64_t lastSeekable = UINT64_MAX;  // moves beyond this one do
  std::uint64_t seekModulus = 0;            // moves wrap there; 0: they do not
  bool repeats = false;                     // the content begins again at its end, for ever
  bool tellsMore = false;                   // of bytes beyond the end, without delivering them
  bool throwsOnRead = false;
  std::uint64_t size;  // as told
  int calls = 0;
  std::uint64_t bytesRead = 0;
  std::uint64_t position = 0;
};

}  // namespace tagsmith::test
