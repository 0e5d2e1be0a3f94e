#include "tags/id3v2_layout.h"

#include <algorithm>
#include <iterator>

#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

// clang-format off
constexpr char kKnownIds22[][5] = {
    "BUF", "CNT", "COM", "CRA", "CRM", "ETC", "EQU", "GEO", "IPL", "LNK", "MCI", "MLL", "PIC",
    "POP", "REV", "RVA", "SLT", "STC", "TAL", "TBP", "TCM", "TCO", "TCR", "TDA", "TDY", "TEN",
    "TFT", "TIM", "TKE", "TLA", "TLE", "TMT", "TOA", "TOF", "TOL", "TOR", "TOT", "TP1", "TP2",
    "TP3", "TP4", "TPA", "TPB", "TRC", "TRD", "TRK", "TSI", "TSS", "TT1", "TT2", "TT3", "TXT",
    "TXX", "TYE", "UFI", "ULT", "WAF", "WAR", "WAS", "WCM", "WCP", "WPB", "WXX", "TCP", "PCS",
    "TID", "WFD", "TDS", "TDR",
};
constexpr char kKnownIds[][5] = {
    "AENC", "APIC", "COMM", "COMR", "ENCR", "EQUA", "ETCO", "GEOB", "GRID", "IPLS", "LINK",
    "MCDI", "MLLT", "OWNE", "PRIV", "PCNT", "POPM", "POSS", "RBUF", "RVAD", "RVRB", "SYLT",
    "SYTC", "TALB", "TBPM", "TCOM", "TCON", "TCOP", "TDAT", "TDLY", "TENC", "TEXT", "TFLT",
    "TIME", "TIT1", "TIT2", "TIT3", "TKEY", "TLAN", "TLEN", "TMED", "TOAL", "TOFN", "TOLY",
    "TOPE", "TORY", "TOWN", "TPE1", "TPE2", "TPE3", "TPE4", "TPOS", "TPUB", "TRCK", "TRDA",
    "TRSN", "TRSO", "TSIZ", "TSRC", "TSSE", "TYER", "TXXX", "UFID", "USER", "USLT", "WCOM",
    "WCOP", "WOAF", "WOAR", "WOAS", "WORS", "WPAY", "WPUB", "WXXX", "TCMP", "PCST", "TGID",
    "WFED", "WFD ", "TDES", "TRTG", "TSWC", "ASPI", "EQU2", "RVA2", "SEEK", "SIGN", "TDEN",
    "TDOR", "TDRC", "TDRL", "TDTG", "TIPL", "TMCL", "TMOO", "TPRO", "TSOA", "TSOP", "TSOT",
    "TSST", "FORM",
};
// clang-format on

// Of the second table version 2.3 knows the first 82, version 2.4 the first 100: all but "FORM".
constexpr std::size_t kKnownIn22 = std::size(kKnownIds22);
constexpr std::size_t kKnownIn23 = 82;
constexpr std::size_t kKnownIn24 = 100;
static_assert(kKnownIn22 == 69 && std::size(kKnownIds) == kKnownIn24 + 1);

template <std::size_t Count>
constexpr FrameIdIndex IndexIds(const char (&texts)[Count][5]) {
  FrameIdIndex index;
  for (std::size_t i = 0; i < Count; ++i) {
    index.Add(FrameId(texts[i]), i);
  }
  return index;
}
constexpr FrameIdIndex kIndex22 = IndexIds(kKnownIds22);
constexpr FrameIdIndex kIndex = IndexIds(kKnownIds);

}  // namespace

FrameHeader ReadFrameHeader(ByteView bytes, int version) {
  FrameHeader header;
  if (version <= 2) {
    header.id = FrameId(AsText(bytes.first<3>()));
    header.plainSize =
        std::to_integer<std::uint32_t>(bytes[3]) << 16U | ReadBigEndian16(bytes.subspan<4, 2>());
    header.size = header.plainSize;
    return header;
  }
  const std::span<const std::byte, 4> size = bytes.subspan<4, 4>();
  header.id = FrameId(AsText(bytes.first<4>()));
  header.plainSize = ReadBigEndian32(size);
  header.size = version >= 4 ? ReadSyncsafe32(size) : header.plainSize;
  header.flags = bytes[9];
  return header;
}

std::span<std::byte> UndoUnsynchronisation(std::span<std::byte> bytes) {
  auto kept = bytes.begin();
  for (auto rest = bytes.begin(); rest != bytes.end();) {
    auto end = std::find(rest, bytes.end(), std::byte{0xFF});
    end += end != bytes.end() ? 1 : 0;
    kept = std::copy(rest, end, kept);
    const bool dropsZero = end != bytes.end() && end[-1] == std::byte{0xFF} && *end == std::byte{0};
    rest = end + (dropsZero ? 1 : 0);
  }
  return {bytes.begin(), kept};
}

bool IsKnownFrame(FrameId id, int version) {
  if (version <= 2) {
    return kIndex22.PlaceOf(id).has_value();
  }
  const std::optional<std::size_t> place = kIndex.PlaceOf(id);
  return place && *place < (version == 3 ? kKnownIn23 : kKnownIn24);
}

}  // namespace tagsmith
