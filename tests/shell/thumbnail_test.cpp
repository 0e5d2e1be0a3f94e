#include <shlobj.h>

#include <propsys.h>
#include <thumbcache.h>

#include <chrono>

#include "handlers/album_art.h"
#include "handlers/memory_dc.h"
#include "handlers/thumb_extractor.h"
#include "shellext/class_objects.h"
#include "tests/shell/shell_environment.h"
#include "tools/report_text.h"
#include "tools/thumbnail_report.h"

namespace tagsmith::test {
namespace {

constexpr unsigned k128 = 9;
constexpr const wchar_t* kSetting = L"Add thumbnail handler";

/// Blue, green, red and a reserved byte.
constexpr std::string_view kPalette = "\x10\x20\x30\0\xFF\0\x80\0"sv;

std::string Track(std::string_view frames) { return V2Tag(3, frames) + MpegFrames(k128, 4); }
std::string TrackWithBmp(std::string_view picture) {
  return Track(PictureFrame("image/bmp", picture));
}

/// "BGRA" of each pixel as hexadecimal digits, rows from the top, divided by "/".
std::string Shown(HBITMAP bitmap) {
  const auto pixels = ReadPixels(bitmap);
  if (!pixels) {
    return "no bitmap";
  }
  std::string shown = std::to_string(pixels->bitsPerPixel) + ":";
  for (std::size_t i = 0; i < pixels->bytes.size(); ++i) {
    if (i != 0 && i % (std::size_t{4} * static_cast<std::size_t>(pixels->width)) == 0) {
      shown += "/";
    } else if (i % 4 == 0 && i != 0) {
      shown += " ";
    }
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto value = std::to_integer<unsigned>(pixels->bytes[i]);
    shown += {kDigits[value / 16], kDigits[value % 16]};
  }
  return shown;
}

struct Thumbnail {
  HRESULT result = E_FAIL;
  HBITMAP bitmap = reinterpret_cast<HBITMAP>(1);
  WTS_ALPHATYPE alpha = WTSAT_UNKNOWN;
};

Thumbnail GetThumbnail(IInitializeWithStream& handler, UINT size = 96) {
  Thumbnail thumbnail;
  ComPointer<IThumbnailProvider> provider;
  EXPECT_EQ(handler.QueryInterface(__uuidof(IThumbnailProvider), provider.ReceiveVoid()), S_OK);
  thumbnail.result = provider->GetThumbnail(size, &thumbnail.bitmap, &thumbnail.alpha);
  return thumbnail;
}

class ThumbProvider : public ::testing::Test {
 protected:
  ~ThumbProvider() override { EXPECT_TRUE(module.CanUnload()); }

  ComPointer<IInitializeWithStream>& Make(ComPointer<IInitializeWithStream>& handler) {
    return MakeHandler(module, kThumbnailHandlerClsid, kSetting, handler);
  }

  /// The pixels, or the result where there is no bitmap.
  std::string Show(const std::string& track) {
    TestStream stream(track, L"s.mp3");
    ComPointer<IInitializeWithStream> handler;
    EXPECT_EQ(Make(handler)->Initialize(&stream, STGM_READ), S_OK);
    const Thumbnail thumbnail = GetThumbnail(*handler);
    EXPECT_EQ(thumbnail.bitmap == nullptr, thumbnail.result != S_OK);
    EXPECT_EQ(thumbnail.alpha, thumbnail.result == S_OK ? WTSAT_ARGB : WTSAT_UNKNOWN);
    std::string shown =
        thumbnail.result == S_OK ? Shown(thumbnail.bitmap) : HexResult(thumbnail.result);
    DeleteObject(thumbnail.bitmap);
    return shown;
  }

  ScratchSystem scratch;
  LoadedModule module;
};

constexpr const char* kNone = "0x0000000D";

TEST_F(ThumbProvider, KeepsTheFormOfThePicture) {
  const std::pair<std::string, const char*> cases[] = {
      {BmpPicture(2, 2, 1, kPalette, "\x40\0\0\0\x80\0\0\0"s),
       "1:ff0080ff 102030ff/102030ff ff0080ff"},
      {BmpPicture(3, 1, 4, kPalette, "\x10\x10\0\0"s), "4:ff0080ff 102030ff ff0080ff"},
      {BmpPicture(2, 1, 8, kPalette, "\0\1\0\0"s), "8:102030ff ff0080ff"},
      {BmpPicture(1, 2, 24, "", "\1\2\3\0\4\5\6\0"s), "24:040506ff/010203ff"},
      {BmpPicture(1, -2, 24, "", "\1\2\3\0\4\5\6\0"s), "24:010203ff/040506ff"},
      {BmpPicture(1, -2, 16, "", "\x1F\x7C\0\0\xE0\3\0\0"s), "16:ff00ffff/00ff00ff"},
      {BmpPicture(1, -2, 32, "", "\1\2\3\0\4\5\6\0"s), "32:010203ff/040506ff"},
      {BmpPicture(1, 1, 24, "", "\1\2\3"s), kNone},  // one byte short
      {"BM..", kNone},
      {"BM" + std::string(5000, '\xFF'), kNone},
  };
  for (const auto& [picture, expected] : cases) {
    EXPECT_EQ(Show(TrackWithBmp(picture)), expected);
  }
}

TEST_F(ThumbProvider, TakesTheFirstPictureOnly) {
  const std::string broken = "\xFF\xD8 junk";
  const std::string first = PictureFrame("image/bmp", BmpPicture(1, 1, 24, "", "\1\2\3\0"s));
  const std::string second = PictureFrame("image/bmp", BmpPicture(1, 1, 24, "", "\4\5\6\0"s));
  EXPECT_EQ(Show(Track(first + second)), "24:010203ff");
  EXPECT_EQ(Show(Track(second + first)), "24:040506ff");
  EXPECT_EQ(Show(Track(PictureFrame("image/jpeg", broken) + first)), kNone);
  EXPECT_EQ(Show(Track(Frame(3, "TIT2", "\0No picture"s))), kNone);
  EXPECT_EQ(Show(V2Tag(3, first)), kNone);  // no audio: not opened
  EXPECT_EQ(Show(MpegFrames(k128, 4)), kNone);
}

TEST_F(ThumbProvider, DecodesOnceAndHandsOutCopies) {
  TestStream stream(TrackWithBmp(BmpPicture(2, 1, 8, kPalette, "\0\1\0\0"s)), L"s.mp3");
  ComPointer<IInitializeWithStream> handler;
  Make(handler)->Initialize(&stream, STGM_READ);
  const Thumbnail first = GetThumbnail(*handler, 16);
  const int calls = stream.calls;
  const Thumbnail second = GetThumbnail(*handler, 100'000);
  EXPECT_EQ(stream.calls, calls);
  EXPECT_NE(first.bitmap, second.bitmap);
  EXPECT_TRUE(DeleteObject(first.bitmap));
  handler.Reset();  // the handler's own image goes
  EXPECT_EQ(Shown(second.bitmap), "8:102030ff ff0080ff");
  EXPECT_TRUE(DeleteObject(second.bitmap));
  EXPECT_EQ(stream.references, 1U);
}

TEST_F(ThumbProvider, AnswersItsInterfaces) {
  ComPointer<IInitializeWithStream> handler;
  Make(handler);
  ComPointer<IUnknown> unknown;
  handler->QueryInterface(IID_IUnknown, unknown.ReceiveVoid());
  EXPECT_EQ(static_cast<void*>(unknown.Get()), static_cast<void*>(handler.Get()));
  void* other = &handler;
  EXPECT_EQ(handler->QueryInterface(__uuidof(IPropertyStore), &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(handler->QueryInterface(IID_IPersistFile, &other), E_NOINTERFACE);

  EXPECT_EQ(GetThumbnail(*handler).result, kNoPicture);  // no stream yet
  EXPECT_EQ(handler->Initialize(nullptr, STGM_READ), E_POINTER);
  TestStream stream(TrackWithBmp(BmpPicture(1, 1, 24, "", "\1\2\3\0"s)), L"s.mp3");
  stream.failsQuery = true;
  EXPECT_EQ(handler->Initialize(&stream, STGM_READ), E_NOINTERFACE);
  stream.failsQuery = false;
  EXPECT_EQ(handler->Initialize(&stream, STGM_READ), S_OK);
  EXPECT_EQ(handler->Initialize(&stream, STGM_READ), static_cast<HRESULT>(0x800704DF));
  ComPointer<IThumbnailProvider> provider;
  handler->QueryInterface(__uuidof(IThumbnailProvider), provider.ReceiveVoid());
  HBITMAP bitmap = nullptr;
  WTS_ALPHATYPE alpha = WTSAT_UNKNOWN;
  EXPECT_EQ(provider->GetThumbnail(96, nullptr, &alpha), E_POINTER);
  EXPECT_EQ(provider->GetThumbnail(96, &bitmap, nullptr), E_POINTER);
  EXPECT_EQ(bitmap, nullptr);
}

TEST_F(ThumbProvider, ContainsAFaultOfTheStream) {
  TestStream stream(TrackWithBmp(BmpPicture(1, 1, 24, "", "\1\2\3\0"s)), L"s.mp3");
  ComPointer<IInitializeWithStream> handler;
  Make(handler)->Initialize(&stream, STGM_READ);
  stream.faultIn = "Read";
  EXPECT_EQ(GetThumbnail(*handler).result, kNoPicture);
  EXPECT_NE(scratch.Log().find("Thumbnail provider failed"), std::string::npos);
  stream.faultIn = "";
  stream.position = 0;
  const Thumbnail retried = GetThumbnail(*handler);
  EXPECT_EQ(retried.result, S_OK);
  DeleteObject(retried.bitmap);
}

TEST_F(ThumbProvider, RefusesHugePicturesFromTheirHeader) {
  const auto start = std::chrono::steady_clock::now();
  const std::string bmp = BmpPicture(30'000, 30'000, 24, "", "");
  EXPECT_EQ(Show(TrackWithBmp(bmp)), kNone);
  EXPECT_EQ(Show(Track(PictureFrame("image/png", PngHead(30'000, 30'000, 8, 2) + "...."))), kNone);
  EXPECT_EQ(Show(Track(PictureFrame("image/gif",
                                    "GIF89a" + Little16(65'535) + Little16(65'535) + "\0\0\0"s))),
            kNone);
  EXPECT_EQ(Show(Track(PictureFrame("image/jpeg", "\xFF\xD8\xFF\xFE\0\0\xFF\xC0\0\x0B\x08"s +
                                                      Big16(30'001) + Big16(30'001) + "\3..."))),
            kNone);
  EXPECT_EQ(Show(Track(PictureFrame("image/tiff",
                                    "MM\0*\0\0\0\x08\0\2\1\0\0\4\0\0\0\1\0\1\0\0"
                                    "\1\1\0\4\0\0\0\1\0\1\0\0"s))),
            kNone);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  const std::string log = scratch.Log();
  for (const char* line :
       {"The picture is too large to be decoded (30000 x 30000 pixels of 24 bits)",
        "The picture is too large to be decoded (30001 x 30001 pixels of 24 bits)",
        "The picture is too large to be decoded (65536 x 65536 pixels of 1 bits)",
        "The picture is too large to be decoded (65535 x 65535 pixels of 8 bits)"}) {
    EXPECT_NE(log.find(line), std::string::npos) << line;
  }
}

TEST_F(ThumbProvider, LeavesNothingBehind) {
  // What decodes, and what fails at each step.
  const std::pair<std::string, const char*> cases[] = {
      {TrackWithBmp(BmpPicture(4, 1, 8, kPalette, std::string(4, '\1'))),
       "8:ff0080ff ff0080ff ff0080ff ff0080ff"},
      {TrackWithBmp(BmpPicture(1, 2, 24, "", "\1\2\3\0"s)), kNone},
      {TrackWithBmp(BmpPicture(30'000, 30'000, 24, "", "")), kNone},
      {Track(PictureFrame("image/jpeg", "\xFF\xD8\xFF\xC0\0\x0B\x08\0\1\0\1\1..."s)), kNone},
      {Track(""), kNone},
  };
  constexpr int kRounds = 10'000;
  const auto rounds = [&](int count) {
    for (int i = 0; i < count; ++i) {
      const auto& [track, expected] = cases[static_cast<std::size_t>(i) % std::size(cases)];
      EXPECT_EQ(Show(track), expected);
    }
  };
  rounds(50);
  const Usage before = CurrentUsage();
  const auto start = std::chrono::steady_clock::now();
  rounds(kRounds);
  const auto taken = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);
  const Usage after = CurrentUsage();
  std::printf("%d rounds: %.1f us each; GDI objects %zu -> %zu; committed %zu -> %zu KB\n", kRounds,
              static_cast<double>(taken.count()) / kRounds, before.gdiObjects, after.gdiObjects,
              before.memory / 1024, after.memory / 1024);
  EXPECT_EQ(after.gdiObjects, before.gdiObjects);
  EXPECT_EQ(after.nextHandle, before.nextHandle);
  EXPECT_LT(after.memory, before.memory + 2'000'000);  // a KB a round would be ten
}

// ---- The decoded image ------------------------------------------------------------------------

// Formats that files rarely bring: 0xAARRGGBB of the one pixel that is drawn or copied.
TEST(DecodedImages, TakeEveryPixelFormat) {
  struct Case {
    Gdiplus::PixelFormat format;
    std::string pixel;
    const char* shown;
    bool hasAlpha;
  };
  const Case cases[] = {
      {PixelFormat24bppRGB, "\1\2\3", "24:010203ff", false},
      {PixelFormat32bppRGB, "\1\2\3\x7F", "32:0102037f", false},
      {PixelFormat32bppARGB, "\1\2\3\x80", "32:01020380", true},
      {PixelFormat32bppPARGB, "\0\x80\x80\x80"s, "32:00ffff80", true},
      {PixelFormat16bppRGB555, "\x1F\x7C", "16:ff00ffff", false},
      {PixelFormat16bppRGB565, "\xE0\x07", "16:00ff00ff", false},
      {PixelFormat16bppARGB1555, "\x1F\xFC", "32:ff00ffff", true},
  };
  const GdiPlusUse use;
  const GdiPlusFunctions* gdiPlus = GdiPlusUse::Start();
  ASSERT_NE(gdiPlus, nullptr);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.shown);
    std::string row = c.pixel + std::string(8, '\0');
    GdiPlusBitmap source;
    ASSERT_EQ(gdiPlus->GdipCreateBitmapFromScan0(
                  1, 1, 8, c.format, reinterpret_cast<BYTE*>(row.data()), source.Receive()),
              Gdiplus::Ok);
    DecodedImage image;
    EXPECT_TRUE(image.IsEmpty());
    ASSERT_EQ(image.Load(*gdiPlus, source.Get()), S_OK);
    EXPECT_EQ(Shown(image.Bitmap()), c.shown);
    EXPECT_EQ(image.HasAlpha(), c.hasAlpha);
    EXPECT_LT(image.Section().Pitch(), 0);
    HBITMAP copy = image.Copy();
    EXPECT_EQ(Shown(copy), c.shown);
    EXPECT_TRUE(DeleteObject(copy));
  }
}

TEST(DecodedImages, DrawPixelForPixelWhateverTheResolution) {
  const GdiPlusUse use;
  const GdiPlusFunctions* gdiPlus = GdiPlusUse::Start();
  ASSERT_NE(gdiPlus, nullptr);
  // One column of four rows, 48 bits each: drawn into 32-bit RGB.
  std::string rows;
  for (const char value : {'\x11', '\x22', '\x33', '\x44'}) {
    rows += std::string{'\0', value, '\0', value, '\0', value, '\0', '\0'};
  }
  for (const Gdiplus::REAL resolution : {96.0F, 300.0F, 24.0F}) {
    GdiPlusBitmap source;
    ASSERT_EQ(
        gdiPlus->GdipCreateBitmapFromScan0(1, 4, 8, PixelFormat48bppRGB,
                                           reinterpret_cast<BYTE*>(rows.data()), source.Receive()),
        Gdiplus::Ok);
    gdiPlus->GdipBitmapSetResolution(source.Get(), resolution, resolution);
    DecodedImage image;
    ASSERT_EQ(image.Load(*gdiPlus, source.Get()), S_OK);
    const auto pixels = ReadPixels(image.Bitmap());
    ASSERT_TRUE(pixels && pixels->bitsPerPixel == 32);
    for (std::size_t row = 0; row < 4; ++row) {
      EXPECT_EQ(std::to_integer<unsigned>(pixels->bytes[4 * row]), 0x11 * (row + 1)) << resolution;
    }
  }
}

// As when the thread that made a kept context has ended.
TEST(MemoryDcs, ThatAreGoneAreNotUsed) {
  MemoryDc::EmptyCache();
  {
    const std::array<MemoryDc, 2> kept;
    for (const MemoryDc& context : kept) {
      DeleteDC(context.Get());
    }
  }
  const MemoryDc fresh;
  EXPECT_EQ(GetObjectType(fresh.Get()), static_cast<DWORD>(OBJ_MEMDC));
}

TEST(MemoryDcs, AreUsedAgain) {
  HDC context = nullptr;
  {
    const MemoryDc first;
    context = first.Get();
    ASSERT_NE(context, nullptr);
  }
  {
    const MemoryDc again;
    const std::array<MemoryDc, 5> more;
    EXPECT_EQ(again.Get(), context);
    for (const MemoryDc& other : more) {
      EXPECT_NE(other.Get(), context);
      EXPECT_EQ(GetObjectType(other.Get()), static_cast<DWORD>(OBJ_MEMDC));
    }
  }
  MemoryDc::EmptyCache();
  EXPECT_EQ(GetObjectType(context), 0U);
}

// ---- The image extractor ----------------------------------------------------------------------

class ThumbExtractor : public ::testing::Test {
 protected:
  ThumbExtractor() {
    auto* handler = new CMP3ThumbExtractor();
    handler->QueryInterface(IID_IPersistFile, file.ReceiveVoid());
    file->QueryInterface(__uuidof(IExtractImage2), extractor.ReceiveVoid());
  }

  std::string Extract() {
    auto* bitmap = reinterpret_cast<HBITMAP>(1);
    const HRESULT result = extractor->Extract(&bitmap);
    EXPECT_EQ(bitmap == nullptr, result != S_OK);
    std::string shown = result == S_OK ? Shown(bitmap) : HexResult(result);
    DeleteObject(bitmap);
    return shown;
  }

  LogWatch watch;
  ComPointer<IPersistFile> file;
  ComPointer<IExtractImage2> extractor;
};

std::wstring WidePath(const TemporaryFile& file) { return WidenUtf8(file.Path()); }

TEST_F(ThumbExtractor, AnswersItsInterfaces) {
  struct Case {
    const IID& iid;
    const void* object;
  };
  const Case cases[] = {{IID_IUnknown, file.Get()},
                        {IID_IPersistFile, file.Get()},
                        {__uuidof(IExtractImage), extractor.Get()},
                        {__uuidof(IExtractImage2), extractor.Get()},
                        {__uuidof(IThumbnailProvider), nullptr},
                        {IID_IPersist, nullptr}};
  for (const Case& c : cases) {
    ComPointer<IUnknown> object;
    EXPECT_EQ(extractor->QueryInterface(c.iid, object.ReceiveVoid()),
              c.object != nullptr ? S_OK : E_NOINTERFACE);
    EXPECT_EQ(object.Get(), c.object);
  }
  CLSID clsid{};
  EXPECT_EQ(file->GetClassID(&clsid), E_NOTIMPL);
  EXPECT_EQ(file->IsDirty(), E_NOTIMPL);
  EXPECT_EQ(file->Save(L"x", TRUE), E_NOTIMPL);
  EXPECT_EQ(file->SaveCompleted(L"x"), E_NOTIMPL);
  LPOLESTR name = nullptr;
  EXPECT_EQ(file->GetCurFile(&name), E_NOTIMPL);
  EXPECT_EQ(file->Load(nullptr, 0), E_POINTER);
  EXPECT_EQ(extractor->Extract(nullptr), E_POINTER);
}

TEST_F(ThumbExtractor, TellsWhetherItWantsToRunInTheBackground) {
  std::wstring path = L"unchanged";
  DWORD priority = 77;
  const SIZE size = {96, 96};
  for (const auto& [flags, expected] :
       {std::pair<DWORD, HRESULT>{IEIFLAG_ASYNC | 0x20, E_PENDING}, {0x20, S_OK}}) {
    DWORD given = flags;
    EXPECT_EQ(extractor->GetLocation(path.data(), 9, &priority, &size, 32, &given), expected);
    EXPECT_EQ(given, flags);
  }
  EXPECT_EQ(path, L"unchanged");
  EXPECT_EQ(priority, 77U);
  DWORD flags = 0;
  EXPECT_EQ(extractor->GetLocation(path.data(), 9, &priority, nullptr, 32, &flags), E_POINTER);
  EXPECT_EQ(extractor->GetLocation(path.data(), 9, &priority, &size, 32, nullptr), E_POINTER);
}

TEST_F(ThumbExtractor, GivesTheDateStamp) {
  FILETIME stamp{};
  EXPECT_EQ(extractor->GetDateStamp(&stamp), S_FALSE);
  const TemporaryFile track("Лёд.mp3", "x");
  const std::wstring path = WidePath(track);
  const FILETIME time = {.dwLowDateTime = 0x12340000, .dwHighDateTime = 0x01D00000};
  HANDLE handle = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_TRUE(SetFileTime(handle, nullptr, nullptr, &time));
  CloseHandle(handle);
  file->Load(path.c_str(), STGM_READ);
  EXPECT_EQ(extractor->GetDateStamp(&stamp), S_OK);
  EXPECT_EQ(CompareFileTime(&stamp, &time), 0);
  EXPECT_EQ(extractor->GetDateStamp(nullptr), E_POINTER);
  EXPECT_TRUE(DeleteFileW(path.c_str()));  // nothing holds it
  EXPECT_EQ(extractor->GetDateStamp(&stamp), E_FAIL);
  // Another path replaces the first; one that is too long is cut.
  const TemporaryFile other("b.mp3", "x");
  file->Load(WidePath(other).c_str(), STGM_READ);
  EXPECT_EQ(extractor->GetDateStamp(&stamp), S_OK);
  file->Load((WidePath(other) + std::wstring(300, L'x')).c_str(), STGM_READ);
  EXPECT_EQ(extractor->GetDateStamp(&stamp), E_FAIL);
}

TEST_F(ThumbExtractor, KeepsWhatItDecoded) {
  const TemporaryFile first("Größe.mp3", TrackWithBmp(BmpPicture(1, 1, 24, "", "\1\2\3\0"s)));
  const TemporaryFile second("b.mp3", TrackWithBmp(BmpPicture(1, 1, 24, "", "\4\5\6\0"s)));
  const TemporaryFile none("c.mp3", MpegFrames(k128, 4));
  EXPECT_EQ(Extract(), kNone);  // before Load
  file->Load(WidePath(none).c_str(), STGM_READ);
  EXPECT_EQ(Extract(), kNone);
  file->Load(L"C:\\no\\such.mp3", STGM_READ);
  EXPECT_EQ(Extract(), kNone);
  file->Load((L"C:\\" + std::wstring(250, L'ж') + L".mp3").c_str(), STGM_READ);
  EXPECT_EQ(Extract(), kNone);  // does not fit in UTF-8
  file->Load(WidePath(first).c_str(), STGM_READ);
  EXPECT_EQ(Extract(), "24:010203ff");
  file->Load(WidePath(second).c_str(), STGM_READ);
  EXPECT_EQ(Extract(), "24:010203ff");
  LogWatch::Messages();
  EXPECT_EQ(extractor->Extract(reinterpret_cast<HBITMAP*>(0x10)), kNoPicture);
  EXPECT_EQ(LogWatch::Messages(), Lines{"1 Thumbnail extractor failed"});
  EXPECT_TRUE(DeleteFileW(WidePath(first).c_str()));  // nothing holds it
}

}  // namespace
}  // namespace tagsmith::test
