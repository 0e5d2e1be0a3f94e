#include "handlers/column_rows.h"

#include <commctrl.h>
#include <oleauto.h>

#include <iterator>

#include "format/bounded.h"
#include "handlers/overloaded.h"
#include "handlers/tag_fields.h"
#include "shellext/base/handler_ids.h"

namespace tagsmith {
namespace {

// ---- The columns ------------------------------------------------------------------------------

struct Column {
  const NamedKey& key;
  VARTYPE type;
  UINT width;  // characters
  DWORD flags;
  const wchar_t* title;
  const wchar_t* description = title;
  int format = LVCFMT_LEFT;
};

constexpr DWORD kPlainText = SHCOLSTATE_TYPE_STR;
constexpr DWORD kTextByDefault = SHCOLSTATE_TYPE_STR | SHCOLSTATE_ONBYDEFAULT;
constexpr DWORD kSecondary = SHCOLSTATE_TYPE_STR | SHCOLSTATE_SECONDARYUI;
constexpr DWORD kPlainInt = SHCOLSTATE_TYPE_INT;
constexpr DWORD kIntByDefault = SHCOLSTATE_TYPE_INT | SHCOLSTATE_ONBYDEFAULT;
constexpr DWORD kHidden = SHCOLSTATE_HIDDEN;

constexpr NamedKey kOwn[] = {{"", {kColumnHandlerClsid, DWORD(-1)}},
                             {"", {kColumnHandlerClsid, DWORD(-2)}},
                             {"", {kColumnHandlerClsid, DWORD(-3)}},
                             {"", {kColumnHandlerClsid, DWORD(-4)}}};

using namespace property_keys;

// The first four, of a set of our own, are placeholders that never have a value.
// clang-format off
constexpr Column kColumns[] = {
    {kOwn[0], VT_I4, 0, kHidden, L"", L"", LVCFMT_RIGHT},
    {kOwn[1], VT_I4, 0, kHidden, L"", L"", LVCFMT_RIGHT},
    {kOwn[2], VT_I4, 0, kHidden, L"", L"", LVCFMT_RIGHT},
    {kOwn[3], VT_I4, 0, kHidden, L"", L"", LVCFMT_RIGHT},
    {kAuthor,          VT_BSTR, 30, kPlainText,     L"Author"},
    {kTitle,           VT_BSTR, 30, kPlainText,     L"Title"},
    {kComment,         VT_BSTR, 30, kPlainText,     L"Comment"},
    {kArtist,          VT_BSTR, 30, kTextByDefault, L"Artist"},
    {kAlbumTitle,      VT_BSTR, 12, kTextByDefault, L"Album"},
    {kYear,            VT_I4,    8, kIntByDefault,  L"Year"},
    {kTrackNumber,     VT_I4,    8, kIntByDefault,  L"Track"},
    {kGenre,           VT_BSTR, 14, kTextByDefault, L"Genre"},
    {kDuration,        VT_UI8,   8, kIntByDefault,  L"Duration"},
    {kEncodingBitrate, VT_UI4,   8, kIntByDefault,  L"Bit rate"},
    {kSampleRate,      VT_UI4,   8, kPlainInt,      L"Sample rate"},
    {kSubTitle,        VT_BSTR, 30, kSecondary,     L"Subtitle"},
    {kAlbumArtist,     VT_BSTR, 30, kSecondary,     L"Orchestra", L"Orchestra/Album artist"},
    {kPublisher,       VT_BSTR, 30, kSecondary,     L"Publisher"},
    {kEncodedBy,       VT_BSTR, 30, kSecondary,     L"Encoded by"},
    {kAuthorUrl,       VT_BSTR, 30, kSecondary,     L"URL"},
    {kCopyright,       VT_BSTR, 30, kSecondary,     L"Copyright"},
    {kComposer,        VT_BSTR, 30, kSecondary,     L"Composer"},
    {kConductor,       VT_BSTR, 30, kSecondary,     L"Conductor"},
    {kContentGroup,    VT_BSTR, 30, kSecondary,     L"Content"},
    {kPartOfSet,       VT_BSTR, 30, kSecondary,     L"Part of set"},
    {kInitialKey,      VT_BSTR, 10, kSecondary,     L"Initial key"},
    {kBeatsPerMinute,  VT_BSTR, 10, kSecondary,     L"BPM"},
    {kIsCompilation,   VT_BSTR, 10, kSecondary,     L"Compilation"},
    {kOriginalArtist,  VT_BSTR, 30, kSecondary,     L"Original artist"},
    {kRating,          VT_BSTR, 10, kSecondary,     L"Rating"},
    {kPodcast,         VT_BSTR, 10, kSecondary,     L"Podcast"},
};
// clang-format on

// ---- Reading a value --------------------------------------------------------------------------

/// VT_EMPTY for nothing and for an empty text.
VARIANT ToVariant(const wchar_t* text) {
  VARIANT variant{};
  if (*text != L'\0') {
    variant.bstrVal = SysAllocString(text);
    variant.vt = variant.bstrVal != nullptr ? VT_BSTR : VT_EMPTY;
  }
  return variant;
}

VARIANT ToVariant(const Value& value) {
  VARIANT variant{};
  std::visit(Overloaded{
                 [](std::monostate) {},
                 [&](const WideText& text) { variant = ToVariant(text.Get()); },
                 [&](const WideTexts& texts) {
                   std::wstring all;
                   for (const std::wstring& text : texts) {
                     all += (all.empty() ? L"" : L"; ") + text;
                   }
                   variant = ToVariant(all.c_str());
                 },
                 [&](std::int32_t number) {
                   variant.vt = VT_I4;
                   variant.lVal = number;
                 },
                 [&](std::uint32_t number) {
                   variant.vt = VT_UI4;
                   variant.ulVal = number;
                 },
                 [&](std::uint64_t number) {
                   variant.vt = VT_UI8;
                   variant.ullVal = number;
                 },
                 [&](bool flag) { variant = ToVariant(flag ? L"Yes" : L"No"); },
             },
             value);
  return variant;
}

const Field* FindField(std::span<const Field> fields, const SHCOLUMNID& column) {
  for (const Field& field : fields) {
    if (field.shownIn != ShownIn::kProperties && IsSameKey(field.key.key, column)) {
      return &field;
    }
  }
  return nullptr;
}

}  // namespace

bool DescribeColumn(DWORD index, SHCOLUMNINFO& info) {
  if (index >= std::size(kColumns)) {
    return false;
  }
  const Column& column = kColumns[index];
  info = {};
  info.scid = column.key.key;
  info.vt = column.type;
  info.fmt = static_cast<DWORD>(column.format);
  info.cChars = column.width;
  info.csFlags = column.flags;
  CopyBounded(info.wszTitle, column.title);
  CopyBounded(info.wszDescription, column.description);
  return true;
}

VARIANT ReadColumn(const SHCOLUMNID& column, const ID3Tag& tag, bool isOpened) {
  const Field* field = nullptr;
  if (isOpened && tag.HasFields()) {
    field = FindField(V2Fields(), column);
  } else if (tag.v1Present) {
    field = FindField(V1Fields(), column);
  }
  if (isOpened && field == nullptr) {
    field = FindField(AudioFields(tag), column);
  }
  return field != nullptr ? ToVariant(field->read(tag)) : VARIANT{};
}

}  // namespace tagsmith
