#include "tags/tag_model.h"

#include <algorithm>
#include <utility>

#include "format/bounded.h"
#include "tags/mpeg_header.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

SharedMemory CopyOf(ByteView data) {
  SharedMemory copy = std::make_shared_for_overwrite<std::byte[]>(data.size());
  std::copy(data.begin(), data.end(), copy.get());
  return copy;
}

}  // namespace

void Tag::ClearV2() { static_cast<V2Values&>(*this) = V2Values{}; }

void Tag::SetFileName(const char* name) {
  if (name == nullptr) {
    fileName.reset();
  } else {
    fileName = name;
  }
}

std::uint64_t Tag::SetText(ByteView source, std::uint32_t encoding, TextReduction mode,
                           TagText* field, std::size_t longest) {
  if (field == nullptr) {
    return 0;
  }
  ConvertedText converted = ConvertText(source, encoding, mode, longest);
  field->text = std::move(converted.bytes);
  field->length = converted.length;
  field->encoding = mode == TextReduction::kKeepUnicode && encoding != kLatin1 ? kUtf16 : kLatin1;
  return (field->length + 1) * (encoding != kLatin1 ? 2 : 1);
}

void Tag::SetYear(std::string_view text) { CopyBounded(year, text); }

void Tag::AddPicture(ByteView data, std::string_view format, std::uint8_t kind, PicturePlace place,
                     SharedMemory memory) {
  const bool isFull = pictures.Size() >= mostPictures;
  if (isFull && (place == PicturePlace::kLast || pictures.IsEmpty())) {
    return;
  }
  if (memory == nullptr) {
    memory = CopyOf(data);
    data = {memory.get(), data.size()};
  }
  TagPicture picture{.data = data, .memory = std::move(memory), .kind = kind};
  CopyBounded(picture.format, format);
  if (isFull) {
    pictures.PopBack();
  }
  if (place == PicturePlace::kFirst) {
    pictures.PushFront(std::move(picture));
  } else {
    pictures.PushBack(std::move(picture));
  }
}

ByteView Tag::KeepFrame(ByteView data, const SharedMemory& memory) {
  if (memory == nullptr) {
    frameMemory.push_back(CopyOf(data));
    return {frameMemory.back().get(), data.size()};
  }
  if (frameMemory.empty() || frameMemory.back() != memory) {
    frameMemory.push_back(memory);
  }
  return data;
}

const TagPicture* Tag::GetPicture(std::size_t index) const {
  return index < pictures.Size() ? &pictures[index] : nullptr;
}

std::uint32_t Tag::GetRatingStars() const {
  constexpr std::uint32_t kRatingsPerStar = 51;
  return (rating + kRatingsPerStar - 1) / kRatingsPerStar;
}

float ID3Tag::GetSampleRateKHz() const { return GetSampleRate() / 1000.0F; }

float ID3Tag::GetSampleRate() const {
  if (isAiff) {
    return static_cast<float>(details.sampleRateField);
  }
  return MpegSampleRate(static_cast<std::uint32_t>(details.versionIndex), details.sampleRateField);
}

void ID3Tag::ClearV1() { static_cast<V1Values&>(*this) = V1Values{}; }

void ID3Tag::Clear(bool alsoAudio) {
  ClearV1();
  ClearV2();
  if (alsoAudio) {
    ResetDetails();
  }
}

void ID3Tag::ResetDetails() {
  details = TrackDetails{};
  SetFileSize(0);
  tagVersionText = {};
  v2Version = 0;
}

void ID3Tag::SetDuration(std::uint64_t quantity, std::uint64_t divisor) {
  details.duration = divisor == 0 ? 0 : quantity / divisor;
  details.durationTicks = details.duration * kTicksPerSecond;
  FormatDuration(details.durationText, quantity, divisor);
}

void ID3Tag::SetExactDuration(std::uint64_t quantity, std::uint64_t divisor) {
  SetDuration(quantity, divisor);
  details.durationTicks += quantity % divisor * kTicksPerSecond / divisor;
}

void ID3Tag::SetAudioOffset(std::uint64_t bytes) {
  details.audioOffset = static_cast<std::uint32_t>(bytes);
  id3AreaSize = bytes;
}

void ID3Tag::SetFileSize(std::uint64_t bytes) {
  fileSize = bytes;
  FormatFileSize(fileSizeText, bytes);
}

void ID3Tag::SetBitRate(std::uint32_t kilobitsPerSecond) {
  details.bitRate = kilobitsPerSecond;
  FormatBitRate(details.bitRateText, kilobitsPerSecond, details.isVbr, details.isEstimated);
}

void ID3Tag::SetTagVersion(std::int32_t version) {
  v2Version = version;
  FormatTagVersion(
      tagVersionText,
      {.v1Present = v1Present, .v2Present = v2Present, .v2Version = version, .podcast = podcast});
}

}  // namespace tagsmith
