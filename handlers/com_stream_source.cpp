#include "handlers/com_stream_source.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "diag/structured_guard.h"
#include "platform/windows_handles.h"
#include "tags/unicode.h"

namespace tagsmith {
namespace {

DWORD StreamOrigin(SeekOrigin origin) {
  switch (origin) {
    case SeekOrigin::kCurrent:
      return STREAM_SEEK_CUR;
    case SeekOrigin::kEnd:
      return STREAM_SEEK_END;
    case SeekOrigin::kBegin:
      break;
  }
  return STREAM_SEEK_SET;
}

}  // namespace

ReadResult ComStreamSource::Read(std::span<std::byte> into) {
  const auto wanted =
      static_cast<ULONG>(std::min<std::size_t>(into.size(), std::numeric_limits<ULONG>::max()));
  ULONG count = 0;
  const HRESULT result = CallHost([&] { return stream_.Read(into.data(), wanted, &count); });
  // What a failing call says of its count is not believed, nor a count above what was asked for.
  return FAILED(result) ? ReadResult{0, EIO} : ReadResult{std::min(count, wanted)};
}

std::optional<std::uint64_t> ComStreamSource::Seek(std::int64_t offset, SeekOrigin origin) {
  LARGE_INTEGER distance{};
  distance.QuadPart = offset;
  ULARGE_INTEGER position{};
  if (FAILED(CallHost([&] { return stream_.Seek(distance, StreamOrigin(origin), &position); }))) {
    return std::nullopt;
  }
  return position.QuadPart;
}

SourceStatus ComStreamSource::Status() {
  STATSTG status{};
  if (FAILED(CallHost([&] { return stream_.Stat(&status, STATFLAG_DEFAULT); }))) {
    return {};
  }
  const TaskMemory<wchar_t> name(status.pwcsName);
  name_ = name ? Utf8(name.Get()) : std::string();
  return {name_, status.cbSize.QuadPart};
}

}  // namespace tagsmith
