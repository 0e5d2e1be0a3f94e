// Opens the input in the standard reading: from a source that delivers all at once, from one that
// delivers little, which must read the same, and from one that claims another size.
#include "fuzz/target.h"
#include "tags/standard/opening.h"

namespace tagsmith::fuzz {
namespace {

std::string Open(test::ProbeSource& source) {
  ID3Tag tag;
  tag.extraFramesMode = ExtraFramesMode::kKeepAll;
  standard::OpenStream(&source, &tag);
  return AsJson(tag);
}

}  // namespace
}  // namespace tagsmith::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tagsmith;
  const std::string_view input = fuzz::AsInput(data, size);
  for (const char* name : {"s.mp3", "s.aif"}) {
    test::ProbeSource source(input, name);
    test::ProbeSource slow(input, name);
    slow.largestRead = 37;
    const std::string report = fuzz::Open(source);
    const std::string slowReport = fuzz::Open(slow);
    fuzz::Require(report == slowReport,
                  std::string("short reads change nothing:\n").append(report).append(slowReport));

    test::ProbeSource liar(input, name);
    liar.size = size % 3 == 0 ? 0 : ~std::uint64_t{0};
    liar.failsSeeks = size % 2 == 0;
    liar.seekModulus = 4096;
    fuzz::Open(liar);
  }
  return 0;
}
