#include "handlers/column_rows.h"

#include <commctrl.h>
#include <oleauto.h>

#include <iterator>
#include <span>

#include "format/bounded.h"
#include "handlers/property_keys.h"
#include "handlers/tag_values.h"
#include "handlers/wide_text.h"
#include "shellext/base/handler_ids.h"
#include "tags/genre_table.h"
#include "tags/text_helpers.h"

namespace tagsmith {
namespace {

// ---- The columns ------------------------------------------------------------------------------

struct Column {
  const GUID& set;
  DWORD pid;
  VARTYPE type;
  DWORD format;
  UINT width;  // characters
  DWORD flags;
  const wchar_t* title;
  const wchar_t* description;
};

constexpr DWORD kInt = SHCOLSTATE_TYPE_INT | SHCOLSTATE_ONBYDEFAULT;
constexpr DWORD kText = SHCOLSTATE_TYPE_STR | SHCOLSTATE_ONBYDEFAULT;
constexpr DWORD kPlain = SHCOLSTATE_TYPE_STR;
constexpr DWORD kSecond = SHCOLSTATE_TYPE_STR | SHCOLSTATE_SECONDARYUI;
constexpr DWORD kHidden = SHCOLSTATE_HIDDEN;
constexpr int kLeft = LVCFMT_LEFT;
constexpr int kRight = LVCFMT_RIGHT;

using namespace property_sets;

// The first four, of a set of our own, are never given a value: intended.
// clang-format off
constexpr Column kColumns[] = {
    {kColumnHandlerClsid, DWORD(-1), VT_I4, kRight, 0, kHidden, L"", L""},
    {kColumnHandlerClsid, DWORD(-2), VT_I4, kRight, 0, kHidden, L"", L""},
    {kColumnHandlerClsid, DWORD(-3), VT_I4, kRight, 0, kHidden, L"", L""},
    {kColumnHandlerClsid, DWORD(-4), VT_I4, kRight, 0, kHidden, L"", L""},
    {kSummary,          4, VT_BSTR, kLeft, 30, kPlain,  L"Author",          L"Author"},
    {kSummary,          2, VT_BSTR, kLeft, 30, kPlain,  L"Title",           L"Title"},
    {kSummary,          6, VT_BSTR, kLeft, 30, kPlain,  L"Comment",         L"Comment"},
    {kMusic,            2, VT_BSTR, kLeft, 30, kText,   L"Artist",          L"Artist"},
    {kMusic,            4, VT_BSTR, kLeft, 12, kText,   L"Album",           L"Album"},
    {kMusic,            5, VT_I4,   kLeft,  8, kInt,    L"Year",            L"Year"},
    {kMusic,            7, VT_I4,   kLeft,  8, kInt,    L"Track",           L"Track"},
    {kMusic,           11, VT_BSTR, kLeft, 14, kText,   L"Genre",           L"Genre"},
    {kAudio,            3, VT_UI8,  kLeft,  8, kInt,    L"Duration",        L"Duration"},
    {kAudio,            4, VT_UI4,  kLeft,  8, kInt,    L"Bit rate",        L"Bit rate"},
    {kAudio,            5, VT_UI4,  kLeft,  8, SHCOLSTATE_TYPE_INT, L"Sample rate", L"Sample rate"},
    {kMusic,           38, VT_BSTR, kLeft, 30, kSecond, L"Subtitle",        L"Subtitle"},
    {kMusic,           13, VT_BSTR, kLeft, 30, kSecond, L"Orchestra",       L"Orchestra/Album artist"},
    {kMedia,           30, VT_BSTR, kLeft, 30, kSecond, L"Publisher",       L"Publisher"},
    {kMedia,           36, VT_BSTR, kLeft, 30, kSecond, L"Encoded by",      L"Encoded by"},
    {kMedia,           32, VT_BSTR, kLeft, 30, kSecond, L"URL",             L"URL"},
    {kMedia,           11, VT_BSTR, kLeft, 30, kSecond, L"Copyright",       L"Copyright"},
    {kMedia,           19, VT_BSTR, kLeft, 30, kSecond, L"Composer",        L"Composer"},
    {kMusic,           36, VT_BSTR, kLeft, 30, kSecond, L"Conductor",       L"Conductor"},
    {kMusic,           33, VT_BSTR, kLeft, 30, kSecond, L"Content",         L"Content"},
    {kMusic,           37, VT_BSTR, kLeft, 30, kSecond, L"Part of set",     L"Part of set"},
    {kMusic,           34, VT_BSTR, kLeft, 10, kSecond, L"Initial key",     L"Initial key"},
    {kMusic,           35, VT_BSTR, kLeft, 10, kSecond, L"BPM",             L"BPM"},
    {kCompilation,    100, VT_BSTR, kLeft, 10, kSecond, L"Compilation",     L"Compilation"},
    {kOriginalArtist, 100, VT_BSTR, kLeft, 30, kSecond, L"Original artist", L"Original artist"},
    {kMedia,            9, VT_BSTR, kLeft, 10, kSecond, L"Rating",          L"Rating"},
    {kPodcast,        100, VT_BSTR, kLeft, 10, kSecond, L"Podcast",         L"Podcast"},
};
// clang-format on

// ---- Reading a value --------------------------------------------------------------------------

/// What a row made of the tag. A text counts only where no other value was set.
struct Answer {
  WideText text;  // empty: none
  VARIANT value{};

  void Set(std::int32_t number) {
    value.vt = VT_I4;
    value.lVal = number;
  }
  void Set(std::uint32_t number) {
    value.vt = VT_UI4;
    value.ulVal = number;
  }
  void Set(std::uint64_t number) {
    value.vt = VT_UI8;
    value.ullVal = number;
  }
};

using ValueReader = void (*)(Answer& answer, const ID3Tag& tag);

struct ValueRow {
  const GUID& set;
  DWORD pid;
  ValueReader read;
};

template <auto Member>
void ReadText(Answer& answer, const ID3Tag& tag) {
  answer.text.Set(tag.*Member);
}

template <auto Member>
void ReadV1Text(Answer& answer, const ID3Tag& tag) {
  answer.text.Set((tag.*Member).data());
}

void ReadV1Genre(Answer& answer, const ID3Tag& tag) { answer.text.Set(GetGenreName(tag.v1Genre)); }

template <auto Member>
void ReadYear(Answer& answer, const ID3Tag& tag) {
  const std::int32_t year = ParseDecimal((tag.*Member).data());
  if (year != 0) {
    answer.Set(year);
  }
}

template <auto Member, std::int32_t Unknown>
void ReadTrack(Answer& answer, const ID3Tag& tag) {
  const std::int32_t track = tag.*Member;
  if (track < Unknown) {
    answer.Set(track);
  }
}

void ReadDiscs(Answer& answer, const ID3Tag& tag) { ReadPartOfSet(tag, answer.text); }

template <auto Member>
void ReadYesNo(Answer& answer, const ID3Tag& tag) {
  answer.text.Set(tag.*Member ? "Yes" : "No");
}

/// One star is followed by a blank where several have their "s": intended.
void ReadStars(Answer& answer, const ID3Tag& tag) {
  const std::uint32_t stars = tag.GetRatingStars();
  if (stars != 0) {
    FormatBounded(answer.text.Buffer(), L"%d star%c", static_cast<int>(stars),
                  stars < 2 ? L' ' : L's');
  }
}

// clang-format off
constexpr ValueRow kV2Rows[] = {
    {kSummary,          2, ReadText<&ID3Tag::title>},
    {kSummary,          4, ReadText<&ID3Tag::artist>},
    {kSummary,          6, ReadText<&ID3Tag::comment>},
    {kMusic,            2, ReadText<&ID3Tag::artist>},
    {kMusic,            3, ReadText<&ID3Tag::title>},  // of no column, but answered
    {kMusic,            4, ReadText<&ID3Tag::album>},
    {kMusic,            5, ReadYear<&ID3Tag::year>},
    {kMusic,            6, ReadText<&ID3Tag::comment>},
    {kMusic,            7, ReadTrack<&ID3Tag::track, kUnknownNumber>},
    {kMusic,           11, ReadText<&ID3Tag::genre>},
    {kMusic,           38, ReadText<&ID3Tag::subtitle>},
    {kMusic,           13, ReadText<&ID3Tag::albumArtist>},
    {kMedia,           30, ReadText<&ID3Tag::publisher>},
    {kMedia,           36, ReadText<&ID3Tag::encodedBy>},
    {kMedia,           32, ReadText<&ID3Tag::userUrl>},  // the property prefers the artist's: intended
    {kMedia,           11, ReadText<&ID3Tag::copyright>},
    {kMedia,           19, ReadText<&ID3Tag::composer>},
    {kMusic,           36, ReadText<&ID3Tag::conductor>},
    {kMusic,           33, ReadText<&ID3Tag::contentGroup>},
    {kMusic,           37, ReadDiscs},
    {kMusic,           34, ReadText<&ID3Tag::initialKey>},
    {kMusic,           35, ReadText<&ID3Tag::bpm>},
    {kCompilation,    100, ReadYesNo<&ID3Tag::compilation>},
    {kOriginalArtist, 100, ReadText<&ID3Tag::originalArtist>},
    {kPodcast,        100, ReadYesNo<&ID3Tag::podcast>},
    {kMedia,            9, ReadStars},
};

// The columns of the summary set stay empty for ID3v1: intended.
constexpr ValueRow kV1Rows[] = {
    {kMusic,  2, ReadV1Text<&ID3Tag::v1Artist>},
    {kMusic,  3, ReadV1Text<&ID3Tag::v1Title>},
    {kMusic,  4, ReadV1Text<&ID3Tag::v1Album>},
    {kMusic,  5, ReadYear<&ID3Tag::v1Year>},
    {kMusic,  6, ReadV1Text<&ID3Tag::v1Comment>},
    {kMusic,  7, ReadTrack<&ID3Tag::v1Track, kUnknownV1Number>},
    {kMusic, 11, ReadV1Genre},
};

constexpr ValueRow kAudioRows[] = {
    {kAudio, 3, [](Answer& answer, const ID3Tag& tag) { answer.Set(ReadDuration(tag)); }},
    {kAudio, 4, [](Answer& answer, const ID3Tag& tag) { answer.Set(ReadBitRate(tag)); }},
    {kAudio, 5, [](Answer& answer, const ID3Tag& tag) { answer.Set(ReadSampleRate(tag)); }},
};
// clang-format on

void ReadRow(std::span<const ValueRow> rows, const SHCOLUMNID& column, const ID3Tag& tag,
             Answer& answer) {
  for (const ValueRow& row : rows) {
    if (row.pid == column.pid && IsEqualGUID(row.set, column.fmtid) != 0) {
      row.read(answer, tag);
      return;
    }
  }
}

}  // namespace

bool DescribeColumn(DWORD index, SHCOLUMNINFO& info) {
  if (index >= std::size(kColumns)) {
    return false;
  }
  const Column& column = kColumns[index];
  info = {};
  info.scid.fmtid = column.set;
  info.scid.pid = column.pid;
  info.vt = column.type;
  info.fmt = column.format;
  info.cChars = column.width;
  info.csFlags = column.flags;
  CopyBounded(info.wszTitle, column.title);
  CopyBounded(info.wszDescription, column.description);
  return true;
}

VARIANT ReadColumn(const SHCOLUMNID& column, const ID3Tag& tag, bool isOpened) {
  Answer answer;
  if (isOpened && tag.v2Present) {
    ReadRow(kV2Rows, column, tag, answer);
  } else if (tag.v1Present) {
    ReadRow(kV1Rows, column, tag, answer);
  }
  if (isOpened) {
    ReadRow(kAudioRows, column, tag, answer);
  }
  if (answer.value.vt == VT_EMPTY && *answer.text.Get() != L'\0') {
    answer.value.bstrVal = SysAllocString(answer.text.Get());
    answer.value.vt = answer.value.bstrVal != nullptr ? VT_BSTR : VT_EMPTY;
  }
  return answer.value;
}

}  // namespace tagsmith
