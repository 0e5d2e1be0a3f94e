// What the property handler and the column handler answer, and how they treat what they are given.
#include <shlobj.h>

#include <thumbcache.h>

#include <fstream>

#include "shellext/base/registered_keys.h"
#include "tags/unicode.h"
#include "tests/shell/shell_environment.h"
#include "tools/property_report.h"
#include "tools/report_text.h"

namespace tagsmith::test {
namespace {

constexpr PROPERTYKEY kTitle = {
    {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}}, 2};

constexpr GUID kMusic = {
    0x56A3372E, 0xCE9C, 0x11D2, {0x9F, 0x0E, 0x00, 0x60, 0x97, 0xC6, 0x86, 0xF6}};

class Answers : public ::testing::Test {
 protected:
  ~Answers() override { EXPECT_TRUE(module.CanUnload()); }

  IColumnProvider& MakeColumns(ComPointer<IColumnProvider>& columns) {
    return module.Make(kColumnHandlerClsid, IID_IColumnProvider, columns);
  }

  /// What the property handler makes of the stream.
  std::vector<PropertyItem> Read(IStream* stream, HRESULT expected = S_OK) {
    ComPointer<IInitializeWithStream> handler;
    EXPECT_EQ(module.Make(kPropertyHandlerClsid, handler).Initialize(stream, STGM_READ), expected);
    ComPointer<IPropertyStore> store;
    handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid());
    return ReadItems(*store);
  }
  std::string Title(IStream* stream, HRESULT expected = S_OK, const char* name = "System.Title") {
    std::string title = "-";
    for (const PropertyItem& item : Read(stream, expected)) {
      title = NameOf(item.key) == name ? ToText(item.value.content) : title;
    }
    return title;
  }

  /// A column's value with its type; otherwise the result.
  std::string Ask(const SHCOLUMNID& column, const SHCOLUMNDATA& item) {
    ComPointer<IColumnProvider> columns;
    VARIANT value{};
    value.vt = VT_ERROR;
    const HRESULT result = MakeColumns(columns).GetItemData(&column, &item, &value);
    std::string shown = result != S_OK        ? HexResult(result)
                        : value.vt == VT_BSTR ? Utf8(value.bstrVal)
                        : value.vt == VT_UI8  ? Format("%llu (8 bytes)", value.ullVal)
                        : value.vt == VT_UI4  ? Format("%lu (4 bytes)", value.ulVal)
                                              : Format("%ld (type %u)", value.lVal, value.vt);
    EXPECT_EQ(value.vt == VT_ERROR, result != S_OK);  // untouched
    VariantClear(&value);
    return shown;
  }
  std::string Title(const SHCOLUMNDATA& item) { return Ask({kTitle.fmtid, kTitle.pid}, item); }

  static SHCOLUMNDATA Item(const std::wstring& path) {
    static wchar_t extension[] = L".mp3";
    SHCOLUMNDATA item{};
    item.pwszExt = extension;
    std::copy_n(path.begin(), std::min<std::size_t>(path.size(), MAX_PATH), item.wszFile);
    return item;
  }
  std::string Title(const std::wstring& path) { return Title(Item(path)); }

  ScratchSystem scratch;
  LoadedModule module;
  const std::string songTag = V2Tag(3, Frame(3, "TIT2", "\0Song"s));
  const std::string songTrack = songTag + MpegFrames(k128, 40);
};

constexpr const char* kNone = "0x00000001";

/// Titles and contents.
std::vector<std::pair<const char*, std::string>> AnsweredTracks() {
  const auto texts = [](std::string_view encoding, auto make) {
    std::string frames;
    for (const char* id :
         {"TIT2", "TIT3", "TPE1", "TPE2", "TALB", "TYER", "TRCK", "TCON", "TPUB", "TENC", "TCOP",
          "TCOM", "TPE3", "TIT1", "TPOS", "TKEY", "TBPM", "TOPE"}) {
      frames += Frame(3, id, std::string(encoding) + make(std::string(id)));
    }
    return frames;
  };
  const auto own = [](const std::string& id) {
    return id == "TYER" ? "1999" : id == "TRCK" ? "3/9" : id == "TPOS" ? "2/3" : "This is " + id;
  };
  const auto wide = [&](const std::string& id) {
    const std::string text = own(id);
    return "\xFF\xFE" + Utf16Le(std::u16string(text.begin(), text.end()) + u" ж\xD83C\xDFB5");
  };
  const auto rated = [](char rating) {
    return V2Tag(3, Frame(3, "POPM", "e\0"s + rating)) + MpegFrames(k128, 4);
  };
  const std::string junk(10, 'x');  // what a stream without ID3v2 is taken for MPEG with
  const std::string urls = Frame(3, "WXXX", "\0\0http://user/"s);
  std::string v1 = V1Block("Old \x80 title", 7, 17);
  v1.replace(33, 6, "Singer")
      .replace(63, 4, "Disc")
      .replace(93, 4, "1984")
      .replace(97, 6, "Remark");
  std::string comm = CommChunk(1, 1, 8);  // 4294967295 Hz, more than a number of 32 bits holds
  comm.replace(comm.size() - 10, 10, "\x40\x1E\xFF\xFF\xFF\xFF\0\0\0\0"s);
  return {
      {"every field of ID3v2, ID3v1 besides",
       V2Tag(3, texts("\0"sv, own) + urls + Frame(3, "WOAR", "http://artist/") +
                    Frame(3, "COMM", "\0eng\0This is COMM"s) + Frame(3, "POPM", "e\0\x80"s) +
                    Frame(3, "TCMP", "\0001"s) + Frame(3, "PCST", "\0\0\0\0"s)) +
           MpegFrames(k128, 501) + MpegFrames(14, 600) + v1},
      {"wide texts", V2Tag(3, texts("\1", wide)) + MpegFrames(k128, 40)},
      {"what is unknown", V2Tag(3, Frame(3, "TYER", "\0none"s) + Frame(3, "TPOS", "\0002"s) + urls +
                                       Frame(3, "WOAR", "\0"s)) +
                              MpegFrames(k128, 40)},
      {"a text of 3000 letters",
       V2Tag(3, Frame(3, "TIT2", '\0' + std::string(3000, 'x'))) + MpegFrames(k128, 40)},
      {"a wide text of 3000 letters",
       V2Tag(3, Frame(3, "TIT2", "\1\xFF\xFE" + Utf16Le(std::u16string(3000, u'x')))) +
           MpegFrames(k128, 40)},
      {"one star", rated('\1')},
      {"two stars", rated('\x40')},
      {"three stars", rated('\x80')},
      {"four stars", rated('\xC4')},
      {"five stars", rated('\xFF')},
      {"ID3v1 alone", junk + MpegFrames(k128, 40) + v1},
      {"an empty ID3v1 tag", junk + MpegFrames(k128, 40) + V1Block("", 255, 255)},
      {"tags, but no audio", V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + std::string(3000, 'x') + v1},
      {"no tag", junk + MpegFrames(k128, 40)},
      {"AIFF", Aiff("AIFF", comm + Chunk("SSND", std::string(9, 's')))},
  };
}

TEST_F(Answers, FollowFromTheTrack) {
  ComPointer<IColumnProvider> columns;
  MakeColumns(columns);
  std::string seen;
  for (const auto& [title, content] : AnsweredTracks()) {
    seen.append(seen.empty() ? "" : "\n").append("== ").append(title).append("\nproperties\n");
    const bool isAiff = content.starts_with("FORM");
    TestStream stream(content, isAiff ? L"t.aiff" : L"t.mp3");
    std::string empty = "  empty:";
    for (const PropertyItem& item : Read(&stream)) {
      const std::string name = NameOf(item.key);
      if (item.value.type == VT_EMPTY) {
        empty += " " + name;
      } else {
        seen += Format("  %s %lu %s, type %u: ", Utf8(GuidText(item.key.fmtid)).c_str(),
                       item.key.pid, name.c_str(), item.value.type) +
                Shortened(ToText(item.value.content)) + "\n";
      }
    }
    seen += empty + "\n";
    seen += "columns\n";
    const TemporaryFile file(isAiff ? "t.aiff" : "t.MP3", content);
    const SHCOLUMNDATA item = Item(WidenUtf8(file.Path()));
    SHCOLUMNINFO info{};
    for (DWORD index = 0; columns->GetColumnInfo(index, &info) == S_OK; ++index) {
      const SHCOLUMNID column = info.scid;
      const std::string value = Ask(column, item);
      seen += value == kNone ? "" : "  " + Utf8(info.wszTitle) + ": " + Shortened(value) + "\n";
    }
    // Of no column: the first two are answered all the same.
    for (const DWORD pid : {3U, 6U, 8U}) {
      const SHCOLUMNID column = {kMusic, pid};
      seen += Format("  {56A3372E-...} %lu: ", pid) + Shortened(Ask(column, item)) + "\n";
    }
  }
  ExpectFile("answers.txt", seen);
}

/// On for the machine and not off for the user; asked when a handler is made.
TEST_F(Answers, AreThoseOfTheReadingThatIsSet) {
  // A tag that only the standard reading takes, without audio.
  const std::string frames = Frame(3, "TIT2", "\0Song"s) + Frame(3, "TPOS", "\0002/3"s) +
                             Frame(3, "TPE1", "\0One/Two"s) +
                             PictureFrame("image/bmp", BmpPicture(1, 1, 24, "", "\1\2\3\0"s));
  const std::string track = V2Tag(3, frames, 0x80);
  const TemporaryFile file("c.mp3", track);
  constexpr std::array<DWORD, 3> kCases[] = {{0, 1, 0}, {1, 1, 1}, {1, 0, 0}, {2, 1, 0}};
  for (const auto& [machine, user, isStandard] : kCases) {
    SetSetting(HKEY_LOCAL_MACHINE, kStandardReadingSetting, machine);
    SetSetting(HKEY_CURRENT_USER, kStandardReadingSetting, user);
    TestStream stream(track);
    EXPECT_EQ(Title(&stream), isStandard ? "Song" : "-");
    EXPECT_EQ(Title(&stream, S_OK, "System.Media.Duration"), isStandard ? "-" : "0");
    EXPECT_EQ(Title(&stream, S_OK, "System.Music.PartOfSet"), isStandard ? "2/3" : "-");
    EXPECT_EQ(Title(WidenUtf8(file.Path())), isStandard ? "Song" : kNone);
    EXPECT_EQ(Ask({kMusic, 2}, Item(WidenUtf8(file.Path()))), isStandard ? "One; Two" : kNone);
    ComPointer<IInitializeWithStream> handler;
    ComPointer<IThumbnailProvider> provider;
    HBITMAP bitmap = nullptr;
    WTS_ALPHATYPE alpha{};
    module.Make(kThumbnailHandlerClsid, handler).Initialize(&stream, STGM_READ);
    handler->QueryInterface(__uuidof(IThumbnailProvider), provider.ReceiveVoid());
    EXPECT_EQ(provider->GetThumbnail(96, &bitmap, &alpha) == S_OK, isStandard);
    DeleteObject(bitmap);
  }
}

TEST_F(Answers, DescribeTheColumns) {
  ComPointer<IColumnProvider> columns;
  MakeColumns(columns);
  std::string seen;
  SHCOLUMNINFO info;
  std::fill_n(reinterpret_cast<char*>(&info), sizeof(info), '\x55');
  for (DWORD index = 0; columns->GetColumnInfo(index, &info) == S_OK; ++index) {
    const GUID set = info.scid.fmtid;
    seen += Format("%lu %s %ld, type %u, format %lu, width %u, flags %lx, ", index,
                   Utf8(GuidText(set)).c_str(), static_cast<long>(info.scid.pid), unsigned{info.vt},
                   DWORD{info.fmt}, UINT{info.cChars}, DWORD{info.csFlags}) +
            Utf8(info.wszTitle) + ", " + Utf8(info.wszDescription) + "\n";
  }
  ExpectFile("columns.txt", seen);
  EXPECT_EQ(columns->GetColumnInfo(0xFFFFFFFF, &info), S_FALSE);
  EXPECT_EQ(columns->GetColumnInfo(0, nullptr), S_FALSE);
  EXPECT_EQ(columns->Initialize(nullptr), S_OK);
}

// ---- Streams ----------------------------------------------------------------------------------

TEST_F(Answers, SurviveStreamsOfAllHabits) {
  const std::string content = songTrack + V1Block("Old", 2, 17);
  struct Case {
    const char* what;
    std::function<void(TestStream&)> spoil;
    const char* title;
    int calls;
    Lines log;
  };
  const Case cases[] = {
      {"good", [](TestStream&) {}, "Song", 6, {}},
      {"S_OK at the end", [](TestStream& s) { s.endResult = S_OK; }, "Song", 6, {}},
      {"overstates", [](TestStream& s) { s.overstatesCount = true; }, "Song", 6, {}},
      {"no name", [](TestStream& s) { s.hasName = false; }, "-", 6, {}},
      {"no status", [](TestStream& s) { s.failsStat = true; }, "-", 6, {}},
      {"throws",
       [](TestStream& s) { s.source.throwsOnRead = true; },
       "-",
       9,
       {"Failed to create the tag data for the stream 'm\xC3\xBC\xE4\xB8\x96.mp3'"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    TestStream stream(content, L"mü世.mp3");
    c.spoil(stream);
    scratch.NewMessages();
    EXPECT_EQ(Title(&stream), c.title);
    EXPECT_LE(stream.source.calls, c.calls);
    EXPECT_EQ(stream.references, 1U);
    EXPECT_EQ(scratch.NewMessages(), c.log);
  }
  TestStream good(content);
  Title(&good);
  EXPECT_EQ(good.source.position, songTag.size() + 412);
}

/// A fault in the host's own code, or through a wild pointer, ends at the method that was called.
TEST_F(Answers, ContainFaults) {
  const char* filling = "Failed to create the tag data property store cache";
  const char* initialising = "Property store initialisation failed";
  struct Case {
    const char* faultIn;  // a method of the stream; null: the stream is none
    HRESULT result;
    const char* message;
  };
  const Case cases[] = {{"Stat", S_OK, filling},
                        {"Seek", S_OK, filling},
                        {"Read", S_OK, filling},
                        {"QueryInterface", E_UNEXPECTED, initialising},
                        {nullptr, E_UNEXPECTED, initialising}};
  const NoTemporaryFolder none;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    TestStream stream(songTrack);
    stream.faultIn = c.faultIn != nullptr ? c.faultIn : "";
    scratch.NewMessages();
    Title(c.faultIn != nullptr ? &stream : reinterpret_cast<IStream*>(0x10), c.result);
    const Lines messages = scratch.NewMessages();
    // Without a stream twice: while filling, and when it is to be kept.
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "** Handled exception code: C0000005"),
              c.faultIn != nullptr ? 1 : 2);
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back(), c.message);
    TestStream sound(songTrack);
    EXPECT_EQ(Title(&sound), "Song");
  }
  // And of the other handlers.
  TestStream stream(songTrack);
  stream.faultIn = "QueryInterface";
  ComPointer<IInitializeWithStream> thumbnails;
  EXPECT_EQ(module.Make(kThumbnailHandlerClsid, thumbnails).Initialize(&stream, STGM_READ),
            E_UNEXPECTED);
  EXPECT_EQ(scratch.NewMessages().back(), "Thumbnail provider initialisation failed");
  SHCOLUMNDATA item{};
  item.pwszExt = reinterpret_cast<wchar_t*>(0x10);
  EXPECT_EQ(Title(item), kNone);
  EXPECT_EQ(scratch.NewMessages().back(), "Column provider failed");
}

class AnswersInMode : public Answers, public ::testing::WithParamInterface<DWORD> {};
INSTANTIATE_TEST_SUITE_P(, AnswersInMode, ::testing::Values(STGM_READ, STGM_READWRITE));

TEST_P(AnswersInMode, AreGivenOnceAndReadOnly) {
  const DWORD mode = GetParam();
  ComPointer<IInitializeWithStream> handler;
  module.Make(kPropertyHandlerClsid, handler);
  ComPointer<IPropertyStore> store;
  ComPointer<IPropertyStoreCapabilities> capabilities;
  handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid());
  store->QueryInterface(__uuidof(IPropertyStoreCapabilities), capabilities.ReceiveVoid());
  DWORD count = 99;
  PROPERTYKEY key{};
  PROPVARIANT value{};
  EXPECT_EQ((Results{store->GetCount(&count), store->GetAt(0, &key),
                     store->GetValue(kTitle, &value), store->SetValue(kTitle, value)}),
            Results(4, E_UNEXPECTED));
  TestStream stream(songTrack);
  stream.failsQuery = true;
  // The mode is taken with the stream.
  EXPECT_EQ((Results{handler->Initialize(nullptr, mode),
                     handler->Initialize(&stream, STGM_READWRITE), store->SetValue(kTitle, value)}),
            (Results{E_POINTER, E_NOINTERFACE, STG_E_ACCESSDENIED}));
  stream.failsQuery = false;
  const int calls = stream.source.calls;
  EXPECT_EQ((Results{handler->Initialize(&stream, mode), handler->Initialize(&stream, mode),
                     handler->Initialize(nullptr, mode)}),
            (Results{S_OK, E_UNEXPECTED, E_UNEXPECTED}));
  EXPECT_EQ(stream.source.calls, calls);  // the cache of the first try serves
  EXPECT_EQ(stream.references, 2U);

  const PROPERTYKEY searched = {
      {0xB725F130, 0x47EF, 0x101A, {0xA5, 0xF1, 0x02, 0x60, 0x8C, 0x9E, 0xEB, 0xAC}}, 19};
  const PROPERTYKEY beside = {searched.fmtid, 18};
  value.vt = VT_UI4;
  PROPVARIANT read{};
  const bool isWritable = mode == STGM_READWRITE;
  EXPECT_EQ(
      (Results{store->GetCount(&count), store->GetAt(count, &key), store->SetValue(beside, value),
               store->SetValue(searched, value), store->GetValue(beside, &read), store->Commit(),
               capabilities->IsPropertyWritable(kTitle)}),
      (Results{S_OK, E_INVALIDARG, isWritable ? S_OK : STG_E_ACCESSDENIED, STG_E_ACCESSDENIED, S_OK,
               E_UNEXPECTED, S_FALSE}));
  EXPECT_EQ(count, 23U);
  EXPECT_EQ(read.vt, isWritable ? VT_UI4 : VT_EMPTY);
  const PROPERTYKEY* noKey = nullptr;
  const PROPVARIANT* noValue = nullptr;
  EXPECT_EQ((Results{store->GetCount(nullptr), store->GetAt(0, nullptr),
                     store->GetValue(*noKey, &value), store->GetValue(kTitle, nullptr),
                     store->SetValue(*noKey, value), store->SetValue(kTitle, *noValue)}),
            Results(6, E_POINTER));
}

TEST_F(Answers, LeaveNothingBehind) {
  const TemporaryFile file("c.mp3", songTrack);
  ExpectNothingIsLeft([&] {
    TestStream stream(songTrack);
    EXPECT_EQ(Title(&stream), "Song");
    EXPECT_EQ(Title(WidenUtf8(file.Path())), "Song");
  });
}

// ---- Files ------------------------------------------------------------------------------------

TEST_F(Answers, AreRefusedBeforeTheFileIsTouched) {
  const std::tuple<const wchar_t*, DWORD, bool> cases[] = {
      {L".mp3", 0, true},
      {L".MP3", FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY, true},
      {L".Aiff", FILE_ATTRIBUTE_NORMAL, true},
      {L".aif", FILE_ATTRIBUTE_NORMAL, true},
      {L".mp3x", FILE_ATTRIBUTE_NORMAL, true},  // only four characters count
      {L".wav", FILE_ATTRIBUTE_NORMAL, false},
      {L".mp", FILE_ATTRIBUTE_NORMAL, false},
      {L".ai", FILE_ATTRIBUTE_NORMAL, false},
      {nullptr, FILE_ATTRIBUTE_NORMAL, false},
      {L".mp3", FILE_ATTRIBUTE_DIRECTORY, false},
      {L".mp3", FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_ARCHIVE, false},
  };
  const TemporaryFile file("c.mp3", songTrack);
  SHCOLUMNDATA item = Item(WidenUtf8(file.Path()));
  for (const auto& [extension, attributes, isServed] : cases) {
    item.pwszExt = const_cast<wchar_t*>(extension);
    item.dwFileAttributes = attributes;
    EXPECT_EQ(Title(item), isServed ? "Song" : kNone) << attributes;
  }
  ComPointer<IColumnProvider> columns;
  const SHCOLUMNID column = {kTitle.fmtid, kTitle.pid};
  VARIANT value{};
  EXPECT_EQ((Results{MakeColumns(columns).GetItemData(nullptr, &item, &value),
                     columns->GetItemData(&column, nullptr, &value),
                     columns->GetItemData(&column, &item, nullptr)}),
            Results(3, S_FALSE));
}

TEST_F(Answers, TakeEveryPath) {
  const TemporaryFile file("Лёд 氷 🎵.MP3", songTrack);
  const std::wstring path = WidenUtf8(file.Path());
  EXPECT_EQ(Title(path), "Song");
  // As long as paths can be: 259 characters, all of them one byte in UTF-8; one more is cut off.
  const std::wstring folder = path.substr(0, path.rfind(L'\\') + 1);
  const std::wstring longest = folder + std::wstring(255 - folder.size(), L'x') + L".mp3";
  ASSERT_TRUE(CopyFileW(path.c_str(), longest.c_str(), TRUE));
  EXPECT_EQ(Title(longest), "Song");
  EXPECT_EQ(Title(longest + L"x"), kNone);
  // Two bytes each: the path does not fit in UTF-8, and is not cut to that of another file.
  EXPECT_EQ(Title(folder + std::wstring(200, L'ж') + L".mp3"), kNone);
  // Half a character: not to be taken for the file whose name has the replacement for it.
  ASSERT_TRUE(CopyFileW(path.c_str(), (folder + L"\xFFFD.mp3").c_str(), TRUE));
  EXPECT_EQ(Title(folder + L"\xD800.mp3"), kNone);
}

TEST_F(Answers, LeaveTheFileAlone) {
  const TemporaryFile file("c.mp3", "");
  const std::wstring path = WidenUtf8(file.Path());
  // Also when it is no track, or a broken one.
  for (const std::string& content : {"no track"s, songTag, songTag + "no audio", songTrack}) {
    std::ofstream(file.Path(), std::ios::binary) << content;
    Title(path);
    const KernelHandle alone(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(alone);
    EXPECT_EQ(Title(path), kNone);  // while another has it open for itself
  }
  EXPECT_EQ(Title(path), "Song");
  ASSERT_TRUE(DeleteFileW(path.c_str()));
  EXPECT_EQ(Title(path), kNone);
}

}  // namespace
}  // namespace tagsmith::test
