#include "bench/peers.h"

// Its header asks for this before anything else.
#include <MediaInfo/MediaInfo.h>
#include <id3tag.h>
#include <mpg123.h>
#include <taglib/aifffile.h>
#include <taglib/mpegfile.h>
#include <taglib/tag.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <cstddef>
#include <memory>

#include "bench/floors.h"

namespace tagsmith::bench {
namespace {

void OpenWithTagLib(const std::string& path) {
  const auto look = [](const TagLib::File& file) {
    sink = file.tag()->title().size() +
           static_cast<std::size_t>(file.audioProperties()->lengthInSeconds());
  };
  if (path.ends_with(".mp3")) {
    look(TagLib::MPEG::File(path.c_str(), true, TagLib::AudioProperties::Average));
  } else {
    look(TagLib::RIFF::AIFF::File(path.c_str(), true, TagLib::AudioProperties::Average));
  }
}

void OpenWithId3Tag(const std::string& path) {
  id3_file* file = id3_file_open(path.c_str(), ID3_FILE_MODE_READONLY);
  sink = id3_file_tag(file)->nframes;
  id3_file_close(file);
}

void OpenWithAvFormat(const std::string& path) {
  AVFormatContext* context = nullptr;
  if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) == 0) {
    avformat_find_stream_info(context, nullptr);
    sink = static_cast<std::size_t>(context->duration);
    avformat_close_input(&context);
  }
}

void OpenWithMediaInfo(const std::string& path) {
  MediaInfoLib::MediaInfo info;
  info.Open(std::wstring(path.begin(), path.end()));
  sink = info.Count_Get(MediaInfoLib::Stream_Audio);
}

void ParseWithMediaInfo(const std::string& path) {
  MediaInfoLib::MediaInfo info;
  info.Option(L"ParseSpeed", L"1");
  info.Open(std::wstring(path.begin(), path.end()));
  sink = info.Count_Get(MediaInfoLib::Stream_Audio);
  info.Option(L"ParseSpeed", L"0.5");  // it counts for all
}

using Mpg123 = std::unique_ptr<mpg123_handle, decltype(&mpg123_delete)>;
Mpg123 OpenMpg123(const std::string& path) {
  Mpg123 handle(mpg123_new(nullptr, nullptr), mpg123_delete);
  mpg123_param(handle.get(), MPG123_ADD_FLAGS, MPG123_QUIET, 0);
  mpg123_open(handle.get(), path.c_str());
  return handle;
}

void OpenWithMpg123(const std::string& path) {
  const Mpg123 handle = OpenMpg123(path);
  mpg123_id3v1* v1 = nullptr;
  mpg123_id3v2* v2 = nullptr;
  sink = static_cast<std::size_t>(mpg123_length(handle.get()));
  mpg123_id3(handle.get(), &v1, &v2);
}

void ScanWithMpg123(const std::string& path) {
  const Mpg123 handle = OpenMpg123(path);
  mpg123_scan(handle.get());
  sink = static_cast<std::size_t>(mpg123_length(handle.get()));
}

constexpr Peer kTagPeers[] = {
    {"TagLib", OpenWithTagLib, true},        {"libid3tag", OpenWithId3Tag, false},
    {"libavformat", OpenWithAvFormat, true}, {"MediaInfo", OpenWithMediaInfo, true},
    {"libmpg123", OpenWithMpg123, false},
};
constexpr Peer kScanPeers[] = {
    {"libmpg123, scan", ScanWithMpg123, false},
    {"MediaInfo, full parse", ParseWithMediaInfo, false},
};

}  // namespace

std::span<const Peer> TagPeers() { return kTagPeers; }
std::span<const Peer> ScanPeers() { return kScanPeers; }

void StartPeers() {
  mpg123_init();
  av_log_set_level(AV_LOG_QUIET);
}

}  // namespace tagsmith::bench
