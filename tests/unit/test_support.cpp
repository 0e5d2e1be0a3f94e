#include "tests/unit/test_support.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <fstream>

#include "diag/log.h"
#include "tags/mpeg_header.h"
#include "tags/own/mpeg_frame.h"
#include "tools/log_capture.h"

namespace tagsmith::test {
namespace {

std::string Number(std::uint32_t value, int bytes, unsigned bits) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) {
    text += static_cast<char>(value >> (bits * static_cast<unsigned>(i)) & ((1U << bits) - 1));
  }
  return text;
}

}  // namespace

ByteView Bytes(std::string_view text) { return std::as_bytes(std::span(text)); }
std::string Big32(std::uint32_t value) { return Number(value, 4, 8); }
std::string Big16(std::uint16_t value) { return Number(value, 2, 8); }
std::string Syncsafe(std::uint32_t value) { return Number(value, 4, 7); }

std::string Little32(std::uint32_t value) {
  const std::string big = Big32(value);
  return {big.rbegin(), big.rend()};
}
std::string Little16(std::uint16_t value) { return Little32(value).substr(0, 2); }

std::string Repeated(std::string_view text, std::size_t size) {
  std::string all;
  while (all.size() < size) {
    all += text;
  }
  return all;
}

std::string Utf16Le(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

std::string Frame(int version, std::string_view id, std::string_view data, std::uint8_t flags) {
  const auto size = static_cast<std::uint32_t>(data.size());
  std::string frame(id);
  if (version <= 2) {
    frame += Big32(size).substr(1);
  } else {
    frame += version == 3 ? Big32(size) : Syncsafe(size);
    frame += '\0';
    frame += static_cast<char>(flags);
  }
  return frame += data;
}

std::string V2Tag(int version, std::string_view frames, std::uint8_t flags) {
  std::string tag = "ID3";
  tag += static_cast<char>(version);
  tag += '\0';
  tag += static_cast<char>(flags);
  tag += Syncsafe(static_cast<std::uint32_t>(frames.size()));
  return tag += frames;
}

std::string V1Block(std::string_view title, std::uint8_t track, std::uint8_t genre) {
  std::string block = "TAG" + std::string(title);
  block.resize(126);
  block += static_cast<char>(track);
  block += static_cast<char>(genre);
  return block;
}

std::string MpegFrame(unsigned bitRateIndex) {
  std::string frame = "\xFF\xFB";
  frame += static_cast<char>(bitRateIndex << 4);
  frame += '\x04';
  const MpegHeader header = DecodeMpegHeader(ReadBigEndian32(Bytes(frame).first<4>()));
  frame.resize(MpegFrameLength(MpegBitRate(header), 44100, 0));
  return frame;
}

std::string MpegFrames(unsigned bitRateIndex, std::size_t count) {
  const std::string frame = MpegFrame(bitRateIndex);
  return Repeated(frame, count * frame.size());
}

std::string Chunk(std::string_view id, std::string_view data) {
  std::string chunk = std::string(id) + Big32(static_cast<std::uint32_t>(data.size()));
  chunk += data;
  return data.size() % 2 == 0 ? chunk : chunk + '\0';
}

std::string CommChunk(std::uint16_t channels, std::uint32_t sampleFrames, std::uint16_t bits) {
  return Chunk("COMM", Big16(channels) + Big32(sampleFrames) + Big16(bits) +
                           "\x40\x0E\xAC\x44\0\0\0\0\0\0"s);
}

std::string Aiff(std::string_view formType, std::string_view chunks) {
  return "FORM" + Big32(static_cast<std::uint32_t>(chunks.size() + 4)) + std::string(formType) +
         std::string(chunks);
}

std::string BmpPicture(std::int32_t width, std::int32_t height, std::uint16_t bits,
                       std::string_view palette, std::string_view rows) {
  const auto paletteSize = static_cast<std::uint32_t>(palette.size());
  const auto size = 54 + paletteSize + static_cast<std::uint32_t>(rows.size());
  std::string picture = "BM" + Little32(size) + Little32(0) + Little32(54 + paletteSize) +
                        Little32(40) + Little32(static_cast<std::uint32_t>(width)) +
                        Little32(static_cast<std::uint32_t>(height)) + Little16(1) +
                        Little16(bits) + std::string(16, '\0') + Little32(paletteSize / 4) +
                        Little32(0);
  return picture.append(palette).append(rows);
}

std::string PictureFrame(std::string_view mime, std::string_view picture) {
  return Frame(3, "APIC", "\0"s + std::string(mime) + "\0\3\0"s + std::string(picture));
}

TemporaryFile::TemporaryFile(std::string_view name, std::string_view content) {
  static std::atomic<int> number;
  const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
  folder_ = std::filesystem::temp_directory_path() /
            ("tagsmith-" + std::to_string(ticks) + "-" + std::to_string(number++));
  std::filesystem::create_directory(folder_);
  const std::filesystem::path path = folder_ / std::filesystem::u8path(name);
  std::ofstream(path, std::ios::binary) << content;
  path_ = path.u8string().empty() ? "" : reinterpret_cast<const char*>(path.u8string().c_str());
}

TemporaryFile::~TemporaryFile() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

LogWatch::LogWatch() {
  StartLogCapture(kLogInformation);
  TakeCapturedLines();
}

std::vector<std::string> LogWatch::Messages() {
  std::vector<std::string> messages;
  const CapturedLines captured = TakeCapturedLines();
  for (const CapturedLine* line : captured.Lines()) {
    messages.push_back(std::to_string(line->level) + " " + line->message);
  }
  return messages;
}

ReadResult ProbeSource::Read(std::span<std::byte> into) {
  ++calls;
  if (throwsOnRead) {
    throw std::runtime_error("read");
  }
  if (position + into.size() > failsFrom) {
    return {0, EIO};
  }
  into = into.first(std::min(into.size(), largestRead));
  ReadResult result = MemorySource::Read(into);
  if (repeats && result.count == 0) {
    MemorySource::Seek(0, SeekOrigin::kBegin);
    result = MemorySource::Read(into);
  }
  if (tellsMore) {
    MemorySource::Seek(static_cast<std::int64_t>(into.size() - result.count), SeekOrigin::kCurrent);
    result.count = into.size();
  }
  position += result.count;
  bytesRead += result.count;
  return result;
}

std::optional<std::uint64_t> ProbeSource::Seek(std::int64_t offset, SeekOrigin origin) {
  ++calls;
  if (failsSeeks) {
    return std::nullopt;
  }
  const std::uint64_t before = position;
  if (repeats && origin == SeekOrigin::kCurrent) {
    return position += static_cast<std::uint64_t>(offset);
  }
  if (seekModulus != 0 && origin != SeekOrigin::kEnd) {
    const std::uint64_t from = origin == SeekOrigin::kCurrent ? before : 0;
    const std::uint64_t target = from + static_cast<std::uint64_t>(offset);
    offset = static_cast<std::int64_t>(target % seekModulus);
    origin = SeekOrigin::kBegin;
  }
  const std::optional<std::uint64_t> reached = MemorySource::Seek(offset, origin);
  if (reached && (*reached < firstSeekable || *reached > lastSeekable)) {
    MemorySource::Seek(static_cast<std::int64_t>(before), SeekOrigin::kBegin);
    return std::nullopt;
  }
  position = reached.value_or(before);
  return reached;
}

SourceStatus ProbeSource::Status() {
  ++calls;
  SourceStatus status = MemorySource::Status();
  status.size = size;
  return status;
}

}  // namespace tagsmith::test
