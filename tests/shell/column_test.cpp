#include "handlers/column_provider.h"

#include <shlwapi.h>

#include <fstream>
#include <map>
#include <utility>

#include "handlers/property_keys.h"
#include "shellext/base/handler_ids.h"
#include "tags/unicode.h"
#include "tests/shell/shell_environment.h"
#include "tools/report_text.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

constexpr unsigned k128 = 9;

/// Answers of a handler of this process, whose log is watched.
class Columns : public ::testing::Test {
 protected:
  Columns() {
    auto* handler = new CMP3ColumnProvider();
    handler->QueryInterface(IID_IColumnProvider, columns.ReceiveVoid());
    for (DWORD index = 0; index < 31; ++index) {
      SHCOLUMNINFO info{};
      EXPECT_EQ(columns->GetColumnInfo(index, &info), S_OK);
      if (info.wszTitle[0] != L'\0') {
        const SHCOLUMNID id = info.scid;
        ids.emplace(Utf16ToUtf8(Utf16(std::wstring(info.wszTitle))), id);
      }
    }
  }

  /// The value with its type's letter, "-" for S_FALSE.
  std::string Ask(const SHCOLUMNID& column, const SHCOLUMNDATA& item) {
    VARIANT value{};
    value.vt = VT_ERROR;
    const HRESULT result = columns->GetItemData(&column, &item, &value);
    if (result != S_OK) {
      EXPECT_EQ(result, S_FALSE);
      EXPECT_EQ(value.vt, VT_ERROR);  // untouched
      return "-";
    }
    std::string shown = value.vt == VT_BSTR  ? "s:" + Utf16ToUtf8(Utf16(value.bstrVal))
                        : value.vt == VT_I4  ? "i:" + std::to_string(value.lVal)
                        : value.vt == VT_UI4 ? "u:" + std::to_string(value.ulVal)
                        : value.vt == VT_UI8 ? "U:" + std::to_string(value.ullVal)
                                             : "vt:" + std::to_string(value.vt);
    VariantClear(&value);
    return shown;
  }

  static SHCOLUMNDATA Item(const std::wstring& path) {
    SHCOLUMNDATA item{};
    item.dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
    lstrcpynW(item.wszFile, path.c_str(), MAX_PATH);
    const std::size_t dot = path.rfind(L'.');
    static std::wstring extension;
    extension = dot == std::wstring::npos ? L"" : path.substr(dot);
    item.pwszExt = extension.data();
    return item;
  }

  /// "Title=value" of all columns that have one, in the order of titles.
  Lines Show(const std::wstring& path) {
    Lines shown;
    for (const auto& [title, id] : ids) {
      const std::string value = Ask(id, Item(path));
      if (value != "-") {
        shown.push_back(std::string(title).append("=").append(value));
      }
    }
    return shown;
  }
  Lines Show(const std::string& content) {
    const TemporaryFile file("c.mp3", content);
    return Show(WidenUtf8(file.Path()));
  }

  LogWatch watch;
  ComPointer<IColumnProvider> columns;
  std::map<std::string, SHCOLUMNID> ids;  // by title
};

Lines With(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  std::sort(lines.begin(), lines.end());
  return lines;
}

// A second of 128 kbps.
const char* const kAudioColumns[] = {"Bit rate=u:128000", "Duration=U:10000000",
                                     "Sample rate=u:44100"};
Lines Audio() { return {std::begin(kAudioColumns), std::end(kAudioColumns)}; }

TEST_F(Columns, AreDescribed) {
  struct Row {
    const wchar_t* set;
    int pid;
    VARTYPE type;
    DWORD format;
    UINT width;
    DWORD flags;
    const wchar_t* title;
    const wchar_t* description;
  };
  // clang-format off
  const Row rows[] = {
    {L"{A3D05C6E-71F9-4B28-8E4D-5B9F2C6A0E71}", -1, 3, 1, 0, 0x100, L"", L""},
    {L"{A3D05C6E-71F9-4B28-8E4D-5B9F2C6A0E71}", -2, 3, 1, 0, 0x100, L"", L""},
    {L"{A3D05C6E-71F9-4B28-8E4D-5B9F2C6A0E71}", -3, 3, 1, 0, 0x100, L"", L""},
    {L"{A3D05C6E-71F9-4B28-8E4D-5B9F2C6A0E71}", -4, 3, 1, 0, 0x100, L"", L""},
    {L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9}", 4, 8, 0, 30, 0x1, L"Author", L"Author"},
    {L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9}", 2, 8, 0, 30, 0x1, L"Title", L"Title"},
    {L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9}", 6, 8, 0, 30, 0x1, L"Comment", L"Comment"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 2, 8, 0, 30, 0x11, L"Artist", L"Artist"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 4, 8, 0, 12, 0x11, L"Album", L"Album"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 5, 3, 0, 8, 0x12, L"Year", L"Year"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 7, 3, 0, 8, 0x12, L"Track", L"Track"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 11, 8, 0, 14, 0x11, L"Genre", L"Genre"},
    {L"{64440490-4C8B-11D1-8B70-080036B11A03}", 3, 21, 0, 8, 0x12, L"Duration", L"Duration"},
    {L"{64440490-4C8B-11D1-8B70-080036B11A03}", 4, 19, 0, 8, 0x12, L"Bit rate", L"Bit rate"},
    {L"{64440490-4C8B-11D1-8B70-080036B11A03}", 5, 19, 0, 8, 0x2, L"Sample rate", L"Sample rate"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 38, 8, 0, 30, 0x81, L"Subtitle", L"Subtitle"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 13, 8, 0, 30, 0x81, L"Orchestra", L"Orchestra/Album artist"},
    {L"{64440492-4C8B-11D1-8B70-080036B11A03}", 30, 8, 0, 30, 0x81, L"Publisher", L"Publisher"},
    {L"{64440492-4C8B-11D1-8B70-080036B11A03}", 36, 8, 0, 30, 0x81, L"Encoded by", L"Encoded by"},
    {L"{64440492-4C8B-11D1-8B70-080036B11A03}", 32, 8, 0, 30, 0x81, L"URL", L"URL"},
    {L"{64440492-4C8B-11D1-8B70-080036B11A03}", 11, 8, 0, 30, 0x81, L"Copyright", L"Copyright"},
    {L"{64440492-4C8B-11D1-8B70-080036B11A03}", 19, 8, 0, 30, 0x81, L"Composer", L"Composer"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 36, 8, 0, 30, 0x81, L"Conductor", L"Conductor"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 33, 8, 0, 30, 0x81, L"Content", L"Content"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 37, 8, 0, 30, 0x81, L"Part of set", L"Part of set"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 34, 8, 0, 10, 0x81, L"Initial key", L"Initial key"},
    {L"{56A3372E-CE9C-11D2-9F0E-006097C686F6}", 35, 8, 0, 10, 0x81, L"BPM", L"BPM"},
    {L"{C449D5CB-9EA4-4809-82E8-AF9D59DED6D1}", 100, 8, 0, 10, 0x81, L"Compilation", L"Compilation"},
    {L"{B7E4C2D9-3A61-4F08-9C25-7D1E8A46F0B3}", 100, 8, 0, 30, 0x81, L"Original artist", L"Original artist"},
    {L"{64440492-4C8B-11D1-8B70-080036B11A03}", 9, 8, 0, 10, 0x81, L"Rating", L"Rating"},
    {L"{E19A6F37-C4B2-4D85-A6F0-2B93D71C5E48}", 100, 8, 0, 10, 0x81, L"Podcast", L"Podcast"},
  };
  // clang-format on
  SHCOLUMNINFO info;
  for (DWORD index = 0; index < 31; ++index) {
    SCOPED_TRACE(index);
    std::fill_n(reinterpret_cast<char*>(&info), sizeof(info), '\x55');
    ASSERT_EQ(columns->GetColumnInfo(index, &info), S_OK);
    const Row& row = rows[index];
    const GUID set = info.scid.fmtid;
    std::array<wchar_t, 40> text{};
    StringFromGUID2(set, text.data(), static_cast<int>(text.size()));
    EXPECT_STREQ(text.data(), row.set);
    EXPECT_EQ(DWORD{info.scid.pid}, static_cast<DWORD>(row.pid));
    EXPECT_EQ(VARTYPE{info.vt}, row.type);
    EXPECT_EQ(DWORD{info.fmt}, row.format);
    EXPECT_EQ(UINT{info.cChars}, row.width);
    EXPECT_EQ(DWORD{info.csFlags}, row.flags);
    EXPECT_EQ(std::wstring(info.wszTitle), row.title);
    EXPECT_EQ(std::wstring(info.wszDescription), row.description);
  }
  EXPECT_EQ(columns->GetColumnInfo(31, &info), S_FALSE);
  EXPECT_EQ(columns->GetColumnInfo(0xFFFFFFFF, &info), S_FALSE);
  EXPECT_EQ(columns->GetColumnInfo(0, nullptr), S_FALSE);
  EXPECT_EQ(columns->Initialize(nullptr), S_OK);
}

TEST_F(Columns, ShowEveryRowOfV2) {
  const std::string content = TagOfAllFields() + MpegFrames(k128, 40) + V1Block("Old", 1, 1);
  EXPECT_EQ(
      Show(content),
      With(Audio(),
           {"Album=s:Album",     "Artist=s:Artist",   "Author=s:Artist",     "BPM=s:120",
            "Comment=s:Comment", "Compilation=s:Yes", "Composer=s:Comp",     "Conductor=s:Cond",
            "Content=s:Group",   "Copyright=s:Copy",  "Encoded by=s:Enc",    "Genre=s:Rock",
            "Initial key=s:Am",  "Orchestra=s:AA",    "Original artist=s:Ö", "Part of set=s:2/3",
            "Podcast=s:Yes",     "Publisher=s:Pub",   "Rating=s:3 stars",    "Subtitle=s:Sub",
            "Title=s:Title",     "Track=i:3",         "URL=s:http://u/",     "Year=i:1999"}));

  // Of no column, but answered; and what nobody answers.
  const TemporaryFile file("c.mp3", content);
  const std::wstring path = WidenUtf8(file.Path());
  EXPECT_EQ(Ask({property_sets::kMusic, 3}, Item(path)), "s:Title");
  EXPECT_EQ(Ask({property_sets::kMusic, 6}, Item(path)), "s:Comment");
  EXPECT_EQ(Ask({property_sets::kMusic, 8}, Item(path)), "-");
  EXPECT_EQ(Ask({property_sets::kLink, 2}, Item(path)), "-");
  EXPECT_EQ(Ask({kColumnHandlerClsid, DWORD(-1)}, Item(path)), "-");
}

TEST_F(Columns, LeaveOutWhatIsUnknown) {
  EXPECT_EQ(Show(V2Tag(3, Frame(3, "TYER", "\0none"s) + Frame(3, "TPOS", "\0002"s) +
                              Frame(3, "WOAR", "http://a/")) +
                 MpegFrames(k128, 40)),
            With(Audio(), {"Compilation=s:No", "Podcast=s:No"}));
  for (const auto& [rating, shown] :
       {std::pair{'\1', "s:1 star "}, {'\x40', "s:2 stars"}, {'\xFF', "s:5 stars"}}) {
    const TemporaryFile file("c.mp3",
                             V2Tag(3, Frame(3, "POPM", "e\0"s + rating)) + MpegFrames(k128, 40));
    EXPECT_EQ(Ask(ids["Rating"], Item(WidenUtf8(file.Path()))), shown);
  }
}

TEST_F(Columns, ShowV1OnlyWithoutV2) {
  std::string block = V1Block("Old title", 7, 17);
  block.replace(33, 6, "Singer").replace(63, 4, "Disc").replace(93, 4, "1984");
  block.replace(97, 6, "Remark");
  const Lines v1 = {"Album=s:Disc", "Artist=s:Singer", "Genre=s:Rock", "Track=i:7", "Year=i:1984"};
  EXPECT_EQ(Show(MpegFrames(k128, 40) + block), With(Audio(), v1));
  const TemporaryFile file("c.mp3", MpegFrames(k128, 40) + block);
  EXPECT_EQ(Ask({property_sets::kMusic, 3}, Item(WidenUtf8(file.Path()))), "s:Old title");
  EXPECT_EQ(Ask({property_sets::kMusic, 6}, Item(WidenUtf8(file.Path()))), "s:Remark");
  // Without audio the track does not open: the block alone still counts.
  EXPECT_EQ(Show(V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + std::string(3000, 'x') + block), v1);
  EXPECT_EQ(Show(V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + std::string(3000, 'x')), Lines{});
  EXPECT_EQ(Show(MpegFrames(k128, 40) + V1Block("", 255, 255)), With(Audio(), {"Genre=s:Other"}));
}

TEST_F(Columns, RefuseItemsBeforeTouchingTheFile) {
  struct Case {
    const wchar_t* extension;
    DWORD attributes;
    bool isServed;
  };
  const Case cases[] = {
      {L".mp3", FILE_ATTRIBUTE_NORMAL, true},
      {L".MP3", FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY, true},
      {L".Aiff", FILE_ATTRIBUTE_NORMAL, true},
      {L".aif", FILE_ATTRIBUTE_NORMAL, true},
      {L".mp3x", FILE_ATTRIBUTE_NORMAL, true},  // only four characters count
      {L".wav", FILE_ATTRIBUTE_NORMAL, false},
      {L".mp", FILE_ATTRIBUTE_NORMAL, false},
      {L"", FILE_ATTRIBUTE_NORMAL, false},
      {L"mp3", FILE_ATTRIBUTE_NORMAL, false},
      {nullptr, FILE_ATTRIBUTE_NORMAL, false},
      {L".mp3", FILE_ATTRIBUTE_DIRECTORY, false},
      {L".mp3", FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_ARCHIVE, false},
  };
  for (const Case& c : cases) {
    SHCOLUMNDATA item = Item(L"C:\\no\\such.mp3");
    std::wstring extension = c.extension != nullptr ? c.extension : L"";
    item.pwszExt = c.extension != nullptr ? extension.data() : nullptr;
    item.dwFileAttributes = c.attributes;
    LogWatch::Messages();
    EXPECT_EQ(Ask(ids["Title"], item), "-");
    const Lines messages = LogWatch::Messages();
    EXPECT_EQ(messages.empty(), !c.isServed);
    if (c.isServed && !messages.empty()) {
      EXPECT_EQ(messages.front(), "3 Opening: C:\\no\\such.mp3");
    }
  }
  const SHCOLUMNDATA item = Item(L"x.mp3");
  VARIANT value{};
  EXPECT_EQ(columns->GetItemData(nullptr, &item, &value), S_FALSE);
  EXPECT_EQ(columns->GetItemData(&ids["Title"], nullptr, &value), S_FALSE);
  EXPECT_EQ(columns->GetItemData(&ids["Title"], &item, nullptr), S_FALSE);
}

TEST_F(Columns, WalkNoFurtherThanNeeded) {
  constexpr unsigned k320 = 14;
  const TemporaryFile file("c.mp3", MpegFrames(k128, 501) + MpegFrames(k320, 600));
  EXPECT_EQ(Ask(ids["Bit rate"], Item(WidenUtf8(file.Path()))), "u:128000");
}

TEST_F(Columns, ShowWhatAnAiffFileClaims) {
  // 4294967295 Hz, which a single does not hold: it saturates.
  std::string comm = CommChunk(1, 1, 8);
  comm.replace(comm.size() - 10, 10, "\x40\x1E\xFF\xFF\xFF\xFF\0\0\0\0"s);
  const TemporaryFile file("c.aif", Aiff("AIFF", comm + Chunk("SSND", std::string(9, 's'))));
  EXPECT_EQ(Ask(ids["Sample rate"], Item(WidenUtf8(file.Path()))), "u:4294967295");
}

TEST_F(Columns, ContainFaults) {
  const TemporaryFile file("c.mp3", V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 4));
  SHCOLUMNDATA item = Item(WidenUtf8(file.Path()));
  wchar_t* const extension = std::exchange(item.pwszExt, reinterpret_cast<wchar_t*>(0x10));
  LogWatch::Messages();
  EXPECT_EQ(Ask(ids["Title"], item), "-");
  EXPECT_EQ(LogWatch::Messages(), Lines{"1 Column provider failed"});
  item.pwszExt = extension;
  EXPECT_EQ(Ask(ids["Title"], item), "s:Song");
}

TEST_F(Columns, LeaveNothingBehind) {
  const TemporaryFile file("c.mp3", V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 4));
  const SHCOLUMNDATA item = Item(WidenUtf8(file.Path()));
  const auto rounds = [&](int count) {
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(Ask(ids["Title"], item), "s:Song");
      LogWatch::Messages();
    }
  };
  rounds(100);
  const Usage before = CurrentUsage();
  rounds(2000);
  const Usage after = CurrentUsage();
  EXPECT_EQ(after.nextHandle, before.nextHandle);
  EXPECT_LT(after.memory, before.memory + 500'000);
}

TEST_F(Columns, TakeEveryPath) {
  const std::string content = V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 40);
  const TemporaryFile file("Лёд 氷 🎵.MP3", content);
  EXPECT_EQ(Ask(ids["Title"], Item(WidenUtf8(file.Path()))), "s:Song");

  // As long as paths can be: 259 characters, all of them one byte in UTF-8.
  std::wstring folder = WidenUtf8(file.Path());
  folder.resize(folder.rfind(L'\\') + 1);
  const std::wstring longest = folder + std::wstring(255 - folder.size(), L'x') + L".mp3";
  ASSERT_EQ(longest.size(), 259U);
  ASSERT_TRUE(CopyFileW(WidenUtf8(file.Path()).c_str(), longest.c_str(), TRUE));
  EXPECT_EQ(Ask(ids["Title"], Item(longest)), "s:Song");

  // Two bytes each: the path does not fit in UTF-8, and is not cut to that of another file.
  const std::wstring wide = folder + std::wstring(200, L'ж') + L".mp3";
  LogWatch::Messages();
  EXPECT_EQ(Ask(ids["Title"], Item(wide)), "-");
  // Half a character: not to be taken for the file whose name has the replacement for it.
  ASSERT_TRUE(CopyFileW(WidenUtf8(file.Path()).c_str(), (folder + L"\xFFFD.mp3").c_str(), TRUE));
  EXPECT_EQ(Ask(ids["Title"], Item(folder + L"\xD800.mp3")), "-");
  SHCOLUMNDATA endless = Item(L"x.mp3");
  std::fill(std::begin(endless.wszFile), std::end(endless.wszFile), L'x');
  EXPECT_EQ(Ask(ids["Title"], endless), "-");
  EXPECT_EQ(LogWatch::Messages(), Lines{});
}

TEST_F(Columns, LeaveTheFileAlone) {
  const std::string tag = V2Tag(3, Frame(3, "TIT2", "\0Song"s));
  const TemporaryFile file("c.mp3", "");
  const std::wstring path = WidenUtf8(file.Path());
  const auto openAlone = [&] {
    return CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                       nullptr);
  };
  // Also when it is no track, or a broken one.
  for (const std::string& content :
       {std::string("no track"), tag, tag + "no audio", tag + MpegFrames(k128, 40)}) {
    std::ofstream(std::filesystem::u8path(file.Path()), std::ios::binary) << content;
    for (const auto& [title, id] : ids) {
      Ask(id, Item(path));
      HANDLE alone = openAlone();
      ASSERT_NE(alone, INVALID_HANDLE_VALUE) << title;
      CloseHandle(alone);
    }
  }
  {
    const FileHolder holder(file.Path());
    EXPECT_EQ(Show(path), Lines{});
  }
  EXPECT_EQ(Ask(ids["Title"], Item(path)), "s:Song");
  ASSERT_TRUE(DeleteFileW(path.c_str()));
  EXPECT_EQ(Show(path), Lines{});
}

TEST(ColumnClass, IsServed) {
  const ScratchSystem scratch;
  const LoadedModule module;
  SetSetting(HKEY_LOCAL_MACHINE, L"Add column handler", 1);
  ComPointer<IClassFactory> factory;
  ASSERT_EQ(module.GetClassObject(kColumnHandlerClsid, IID_IClassFactory, factory.ReceiveVoid()),
            S_OK);
  ComPointer<IUnknown> unknown;
  ComPointer<IColumnProvider> provider;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, unknown.ReceiveVoid()), S_OK);
  EXPECT_EQ(unknown->QueryInterface(IID_IColumnProvider, provider.ReceiveVoid()), S_OK);
  void* other = &other;
  EXPECT_EQ(provider->QueryInterface(IID_IPersistFile, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
  factory.Reset();
  unknown.Reset();
  EXPECT_FALSE(module.CanUnload());
  provider.Reset();
  EXPECT_TRUE(module.CanUnload());
}

}  // namespace
}  // namespace tagsmith::test
