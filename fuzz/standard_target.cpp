// Opens the input in the standard reading: from a source that delivers all at once, from one that
// delivers little, which must read the same, and from one that claims another size.
#include "fuzz/target.h"
#include "tags/standard/opening.h"

namespace tagsmith::fuzz {
namespace {

std::string ReportOf(test::ProbeSource& source, const TagOptions& options = {}) {
  ID3Tag tag;
  static_cast<TagOptions&>(tag) = options;
  tag.extraFramesMode = ExtraFramesMode::kKeepAll;
  standard::OpenStream(&source, &tag);
  return AsJson(tag);
}

}  // namespace

void CheckStandard(std::string_view input) {
  for (const char* name : {"s.mp3", "s.aif"}) {
    test::ProbeSource source(input, name);
    test::ProbeSource slow(input, name);
    slow.largestRead = 37;
    const std::string report = ReportOf(source);
    const std::string slowReport = ReportOf(slow);
    Require(report == slowReport,
            std::string("short reads change nothing:\n").append(report).append(slowReport));

    test::ProbeSource liar(input, name);
    liar.size = input.size() % 3 == 0 ? 0 : ~std::uint64_t{0};
    liar.failsSeeks = input.size() % 2 == 0;
    liar.seekModulus = 4096;
    ReportOf(liar, kFieldOptions);
  }
}

}  // namespace tagsmith::fuzz
