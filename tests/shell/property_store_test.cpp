#include "handlers/property_store.h"

#include <chrono>
#include <thread>

#include "handlers/property_keys.h"
#include "tests/shell/shell_environment.h"

namespace tagsmith::test {
namespace {

constexpr unsigned k128 = 9;

class PropertyStore : public ::testing::Test {
 protected:
  ~PropertyStore() override { EXPECT_TRUE(module.CanUnload()); }

  std::vector<std::string> Read(TestStream& stream, HRESULT expected = S_OK) {
    ComPointer<IInitializeWithStream> handler;
    MakeHandler(module, handler);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(handler->Initialize(&stream, STGM_READ), expected);
    initializing += (std::chrono::steady_clock::now() - start) / std::chrono::nanoseconds(1);
    ComPointer<IPropertyStore> store;
    handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid());
    return Shown(ReadItems(*store));
  }
  std::vector<std::string> Read(const std::string& content) {
    TestStream stream(content, L"C:\\Music\\s.mp3");
    return Read(stream);
  }

  ScratchSystem scratch;
  LoadedModule module;
  std::atomic<std::int64_t> initializing = 0;  // nanoseconds
};

bool Has(const std::vector<std::string>& items, const std::string& item) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

/// Whether there is an item of this name, whatever its value.
bool HasName(const std::vector<std::string>& items, const std::string& name) {
  return std::any_of(items.begin(), items.end(),
                     [&](const std::string& item) { return item.starts_with(name + "="); });
}

TEST_F(PropertyStore, StoresEveryRowOfV2) {
  const std::vector<std::string> expected = {
      "Corvane.Tagsmith.OriginalArtist=Ö",
      "Corvane.Tagsmith.Podcast=yes",
      "System.Audio.EncodingBitrate=128000",
      "System.Comment=Comment",
      "System.Copyright=Copy",
      "System.Link.TargetUrl=http://u/",
      "System.Media.AuthorUrl=http://a/",
      "System.Media.Duration=10000000",
      "System.Media.EncodedBy=Enc",
      "System.Media.Publisher=Pub",
      "System.Media.SubTitle=Sub",
      "System.Media.Year=1999",
      "System.Music.AlbumArtist=AA",
      "System.Music.AlbumTitle=Album",
      "System.Music.Artist=Artist",
      "System.Music.BeatsPerMinute=120",
      "System.Music.Composer=Comp",
      "System.Music.Conductor=Cond",
      "System.Music.ContentGroupDescription=Group",
      "System.Music.Genre=Rock",
      "System.Music.InitialKey=Am",
      "System.Music.IsCompilation=yes",
      "System.Music.PartOfSet=2/3",
      "System.Music.TrackNumber=3",
      "System.Rating=50",
      "System.Title=Title",
  };
  EXPECT_EQ(Read(TagOfAllFields() + MpegFrames(k128, 40) + V1Block("Old", 1, 1)), expected);
}

TEST_F(PropertyStore, LeavesOutWhatIsUnknown) {
  const auto items =
      Read(V2Tag(3, Frame(3, "TYER", "\0none"s) + Frame(3, "TPOS", "\0002"s) +
                        Frame(3, "WXXX", "\0\0http://u/"s) + Frame(3, "WOAR", "\0"s)) +
           MpegFrames(k128, 40));
  for (const char* name :
       {"System.Media.Year", "System.Music.TrackNumber", "System.Music.PartOfSet"}) {
    EXPECT_FALSE(HasName(items, name)) << name;
  }
  EXPECT_TRUE(Has(items, "System.Title=-"));
  EXPECT_TRUE(Has(items, "System.Rating=0"));
  EXPECT_TRUE(Has(items, "System.Music.IsCompilation=no"));
  EXPECT_TRUE(Has(items, "System.Media.AuthorUrl=http://u/"));  // the row before's text
  EXPECT_EQ(items.size(), 23U);
}

TEST_F(PropertyStore, TakesV1OnlyWithoutV2) {
  const std::string frames = std::string(10, 'x') + MpegFrames(k128, 40);
  const std::vector<std::string> audio = {"System.Audio.EncodingBitrate=128000",
                                          "System.Media.Duration=10000000"};
  std::string block = V1Block("Old", 255, 17);
  block.replace(93, 4, "1984");
  EXPECT_EQ(
      Read(frames + block),
      (std::vector<std::string>{audio[0], "System.Comment=-", audio[1], "System.Media.Year=1984",
                                "System.Music.AlbumTitle=-", "System.Music.Artist=-",
                                "System.Music.Genre=Rock", "System.Title=Old"}));
  EXPECT_TRUE(Has(Read(frames + V1Block("Old", 7, 80)), "System.Music.TrackNumber=7"));
  EXPECT_TRUE(Has(Read(frames + V1Block("Old", 7, 80)), "System.Music.Genre=Other"));
  EXPECT_EQ(Read(frames), audio);
}

TEST_F(PropertyStore, CutsLongTexts) {
  for (const std::string& text :
       {'\0' + std::string(3000, 'x'), "\1\xFF\xFE" + Utf16Le(std::u16string(3000, u'x'))}) {
    const auto items = Read(V2Tag(3, Frame(3, "TIT2", text)) + MpegFrames(k128, 40));
    EXPECT_TRUE(Has(items, "System.Title=" + std::string(1023, 'x')));
  }
}

TEST_F(PropertyStore, SurvivesStreamsOfAllHabits) {
  const std::string v2 = V2Tag(3, Frame(3, "TIT2", "\0Song"s));
  const std::string content = v2 + MpegFrames(k128, 40) + V1Block("Old", 2, 17);
  struct Case {
    const char* what;
    std::function<void(TestStream&)> spoil;
    bool hasTitle;
    int calls;
    Lines log;
  };
  const Case cases[] = {
      {"good", [](TestStream&) {}, true, 6, {}},
      {"S_OK at the end", [](TestStream& s) { s.endResult = S_OK; }, true, 6, {}},
      {"short reads", [](TestStream& s) { s.largestRead = 100; }, true, 30, {}},
      {"tells too much", [](TestStream& s) { s.size = ~std::uint64_t{0}; }, true, 6, {}},
      {"tells nothing", [](TestStream& s) { s.size = 0; }, true, 6, {}},
      {"overstates", [](TestStream& s) { s.overstatesCount = true; }, true, 6, {}},
      {"fails half-way", [&](TestStream& s) { s.failsFrom = v2.size() + 500; }, true, 9, {}},
      {"fails early", [](TestStream& s) { s.failsFrom = 5; }, false, 9, {}},
      {"no name", [](TestStream& s) { s.hasName = false; }, false, 6, {}},
      {"no status", [](TestStream& s) { s.failsStat = true; }, false, 6, {}},
      {"cannot seek", [](TestStream& s) { s.failsSeek = true; }, true, 9, {}},
      {"throws",
       [](TestStream& s) { s.throws = true; },
       false,
       9,
       {"Failed to create the tag data for the stream 'm\xC3\xBC\xE4\xB8\x96.mp3'"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    TestStream stream(content, L"mü世.mp3");
    c.spoil(stream);
    const std::string before = scratch.Log();
    const auto items = Read(stream);
    EXPECT_EQ(Has(items, "System.Title=Song"), c.hasTitle);
    EXPECT_TRUE(HasName(items, "System.Media.Duration"));
    EXPECT_LE(stream.calls, c.calls);
    EXPECT_EQ(stream.references, 1U);
    const std::string log = scratch.Log().substr(before.size());
    EXPECT_EQ(log.empty(), c.log.empty()) << log;
    for (const std::string& line : c.log) {
      EXPECT_NE(log.find(": " + line), std::string::npos) << log;
    }
  }
  TestStream good(content, L"s.mp3");
  Read(good);
  EXPECT_EQ(good.position, v2.size() + 412);
}

/// A fault in the host's own code, or through a wild pointer, ends at the method that was called.
TEST_F(PropertyStore, ContainsFaults) {
  const std::string content = V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 40);
  const std::string filled = "Failed to create the tag data property store cache";
  const std::string initialised = "Property store initialisation failed";
  struct Case {
    const char* faultIn;  // a method of the stream; null: the stream is none
    HRESULT result;
    std::string log;
    int faults;
  };
  const Case cases[] = {
      {"Stat", S_OK, filled, 1},
      {"Seek", S_OK, filled, 1},
      {"Read", S_OK, filled, 1},
      {"QueryInterface", E_UNEXPECTED, initialised, 1},
      {nullptr, E_UNEXPECTED, initialised, 2},  // while filling, and again when it is to be kept
  };
  std::array<wchar_t, MAX_PATH> temporaryFolder{};
  GetTempPathW(MAX_PATH, temporaryFolder.data());
  for (const Case& c : cases) {
    SCOPED_TRACE(c.faultIn != nullptr ? c.faultIn : "wild stream");
    const TemporaryFile unused("unused", "");
    const auto folder = std::filesystem::path(unused.Path()).parent_path();
    SetEnvironmentVariableW(L"TMP", folder.c_str());
    const std::string before = scratch.Log();
    TestStream stream(content, L"s.mp3");
    stream.faultIn = c.faultIn != nullptr ? c.faultIn : "";
    {
      ComPointer<IInitializeWithStream> handler;
      IStream* given = c.faultIn != nullptr ? &stream : reinterpret_cast<IStream*>(0x10);
      EXPECT_EQ(MakeHandler(module, handler)->Initialize(given, STGM_READ), c.result);
    }
    SetEnvironmentVariableW(L"TMP", temporaryFolder.data());
    const std::string log = scratch.Log().substr(before.size());
    const auto count = [&](const std::string& text) {
      int found = 0;
      for (std::size_t i = log.find(text); i != std::string::npos; i = log.find(text, i + 1)) {
        ++found;
      }
      return found;
    };
    EXPECT_EQ(count("** Handled exception code: C0000005"), c.faults) << log;
    EXPECT_EQ(count("Saved a dump file to '"), c.faults);
    EXPECT_EQ(count(": " + c.log), 1) << log;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1 + c.faults);
    EXPECT_TRUE(Has(Read(content), "System.Title=Song"));
  }
}

TEST_F(PropertyStore, InitializesOnceAndRetriesAfterFailure) {
  ComPointer<IInitializeWithStream> handler;
  MakeHandler(module, handler);
  EXPECT_EQ(handler->Initialize(nullptr, STGM_READ), E_POINTER);
  TestStream stream(V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 40), L"s.mp3");
  stream.failsQuery = true;
  EXPECT_EQ(handler->Initialize(&stream, STGM_READ), E_NOINTERFACE);
  stream.failsQuery = false;
  const int calls = stream.calls;
  EXPECT_EQ(handler->Initialize(&stream, STGM_READWRITE), S_OK);
  EXPECT_EQ(stream.calls, calls);  // the cache of the first try serves
  EXPECT_EQ(handler->Initialize(&stream, STGM_READ), E_UNEXPECTED);
  EXPECT_EQ(handler->Initialize(nullptr, STGM_READ), E_UNEXPECTED);

  ComPointer<IPropertyStore> store;
  ComPointer<IPropertyStoreCapabilities> capabilities;
  ASSERT_EQ(handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid()), S_OK);
  ASSERT_EQ(
      handler->QueryInterface(__uuidof(IPropertyStoreCapabilities), capabilities.ReceiveVoid()),
      S_OK);
  PROPVARIANT value{};
  value.vt = VT_UI4;
  value.ulVal = 5;
  EXPECT_EQ(store->SetValue(property_keys::kSearchContents.key, value), STG_E_ACCESSDENIED);
  EXPECT_EQ(store->SetValue(property_keys::kRating.key, value), S_OK);
  PROPVARIANT read{};
  EXPECT_EQ(store->GetValue(property_keys::kRating.key, &read), S_OK);
  EXPECT_EQ(read.ulVal, 5U);
  EXPECT_EQ(store->Commit(), E_UNEXPECTED);
  EXPECT_EQ(capabilities->IsPropertyWritable(property_keys::kRating.key), S_FALSE);

  const PROPERTYKEY* noKey = nullptr;
  EXPECT_EQ(store->GetCount(nullptr), E_POINTER);
  EXPECT_EQ(store->GetAt(0, nullptr), E_POINTER);
  EXPECT_EQ(store->GetValue(*noKey, &value), E_POINTER);
  EXPECT_EQ(store->GetValue(property_keys::kRating.key, nullptr), E_POINTER);
}

TEST_F(PropertyStore, ReadOnlyIsReadOnly) {
  ComPointer<IInitializeWithStream> handler;
  TestStream stream("", L"s.mp3");
  EXPECT_EQ(MakeHandler(module, handler)->Initialize(&stream, STGM_READ), S_OK);
  ComPointer<IPropertyStore> store;
  ASSERT_EQ(handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid()), S_OK);
  EXPECT_EQ(store->SetValue(property_keys::kRating.key, PROPVARIANT{}), STG_E_ACCESSDENIED);
}

TEST_F(PropertyStore, ServesTwoThreads) {
  const std::string content = V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 40);
  std::atomic<int> titles = 0;
  const auto work = [&] {
    CoInitialize(nullptr);
    for (int i = 0; i < 200; ++i) {
      if (Has(Read(content), "System.Title=Song")) {
        ++titles;
      }
    }
    CoUninitialize();
  };
  std::thread first(work);
  std::thread second(work);
  first.join();
  second.join();
  EXPECT_EQ(titles, 400);
}

TEST_F(PropertyStore, LeavesNothingBehind) {
  const std::string content =
      V2Tag(3, Frame(3, "TIT2", "\0Song"s) +
                   Frame(3, "APIC", "\0image/jpeg\0\0\0\xFF\xD8"s + std::string(20'000, 'j'))) +
      MpegFrames(k128, 40);
  constexpr int kRounds = 10'000;
  const auto rounds = [&](int count) {
    for (int i = 0; i < count; ++i) {
      Read(content);
    }
  };
  rounds(500);
  const Usage before = CurrentUsage();
  initializing = 0;
  const auto start = std::chrono::steady_clock::now();
  rounds(kRounds);
  const auto taken = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);
  const Usage after = CurrentUsage();
  std::printf(
      "%d rounds: %.1f us each, %.1f of them Initialize; next handle %zu -> %zu; committed %zu -> "
      "%zu KB\n",
      kRounds, static_cast<double>(taken.count()) / kRounds,
      static_cast<double>(initializing) / 1000 / kRounds,
      static_cast<std::size_t>(before.nextHandle), static_cast<std::size_t>(after.nextHandle),
      before.memory / 1024, after.memory / 1024);
  EXPECT_EQ(after.nextHandle, before.nextHandle);
  EXPECT_LT(after.memory, before.memory + 2'000'000);  // a KB a round would be ten
}

}  // namespace
}  // namespace tagsmith::test
