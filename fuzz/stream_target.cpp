// Opens the input as a stream: from a source that delivers all at once, and from one that delivers
// little, for a host that shows single fields, which must read the same; and from one that lies.
#include <algorithm>

#include "fuzz/target.h"
#include "tags/own/track_opening.h"

namespace tagsmith::fuzz {

void CheckStream(std::string_view input) {
  for (const char* name : {"s.mp3", "s.aif", "s.x"}) {
    ID3Tag tag;
    test::ProbeSource source(input, name);
    const bool opened = OpenTrackFromStream(&source, &tag);

    ID3Tag slow;
    static_cast<TagOptions&>(slow) = kFieldOptions;
    test::ProbeSource other(input, name);
    other.largestRead = 37;
    const bool openedSlowly = OpenTrackFromStream(&other, &slow);
    Require(opened == openedSlowly, "short reads change nothing");
    Require(source.position == other.position, "the final position is the same");
    Require(slow.title.length == std::min<std::uint64_t>(tag.title.length, slow.longestText),
            "the title is as long as it is kept");
    const std::size_t same = slow.title.length * (slow.title.encoding == kLatin1 ? 1 : 2);
    Require(slow.title.text.compare(0, same, tag.title.text, 0, same) == 0,
            "the title is the same");

    ID3Tag odd;
    test::ProbeSource liar(input, name);
    liar.size = input.size() % 3 == 0 ? 0 : ~std::uint64_t{0};
    liar.failsSeeks = input.size() % 2 == 0;
    liar.seekModulus = 4096;
    OpenTrackFromStream(&liar, &odd);
  }
}

}  // namespace tagsmith::fuzz
