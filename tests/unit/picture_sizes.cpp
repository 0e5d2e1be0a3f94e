// Prints the size that the header of each picture tells, WIDTHxHEIGHT or "none":
// picture_sizes FILE...
#include "tags/picture_size.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>

using tagsmith::ReadPictureSize;

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::string picture{std::istreambuf_iterator<char>(file), {}};
    const auto size = ReadPictureSize(std::as_bytes(std::span(picture)));
    if (size) {
      std::printf("%ux%u\n", size->width, size->height);
    } else {
      std::puts("none");
    }
    for (std::size_t length = 0; length < picture.size(); ++length) {
      // Its beginnings in memory of their own, so that the sanitizers see a byte too far.
      const auto cut = std::make_unique<std::byte[]>(length);
      std::copy_n(std::as_bytes(std::span(picture)).begin(), length, cut.get());
      ReadPictureSize({cut.get(), length});
    }
  }
}
