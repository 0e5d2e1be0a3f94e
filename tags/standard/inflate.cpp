#include "tags/standard/inflate.h"

#include <zlib.h>

#include <algorithm>

#include "platform/handle.h"

namespace tagsmith::standard {

bool Inflate(ByteView data, std::vector<std::byte>& result, std::size_t most) {
  constexpr std::size_t kMostGrowth = 32;
  constexpr std::size_t kLargest = std::size_t{64} << 20U;
  data = data.first(std::min(data.size(), kLargest));
  const std::size_t limit = std::min(kMostGrowth * data.size(), kLargest);

  const std::size_t wanted = std::min(limit, most);

  result.clear();
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) {
    return false;
  }
  const Handle<z_stream*, inflateEnd> ended(&stream);
  // zlib's input is not const by its own choice; it is only read.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  int status = Z_OK;
  while (status == Z_OK && result.size() < wanted) {
    const std::size_t start = result.size();
    result.resize(std::min(wanted, std::max(2 * start, 4 * data.size())));
    stream.next_out = reinterpret_cast<Bytef*>(result.data() + start);
    stream.avail_out = static_cast<uInt>(result.size() - start);
    status = inflate(&stream, Z_NO_FLUSH);
    result.resize(result.size() - stream.avail_out);
    if (result.size() == start) {
      break;
    }
  }
  return !result.empty() && (status == Z_STREAM_END || result.size() < limit);
}

}  // namespace tagsmith::standard
