// The module's life: start-up, class objects, and the property system as it may be missing.
#include <shlobj.h>

#include <thumbcache.h>

#include <fstream>

#include "shellext/base/version.h"
#include "tests/shell/shell_environment.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

void InitialiseOne(const LoadedModule& module) {
  ComPointer<IInitializeWithStream> handler;
  TestStream stream("");
  EXPECT_EQ(module.Make(kPropertyHandlerClsid, handler).Initialize(&stream, STGM_READ), S_OK);
}

// ---- Start-up ---------------------------------------------------------------------------------

TEST(StartUp, WritesTheHeaderAfterWhatIsThere) {
  const auto setPath = [](DWORD type, const std::wstring& path) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"Software\\Corvane\\Tagsmith", L"Installation path", type,
                    path.c_str(), static_cast<DWORD>(2 * path.size() + 2));
  };
  const ScratchSystem scratch;
  std::string expected;
  const auto start = [&](const char* version) {
    { const LoadedModule module; }
    expected += "\n# Tagsmith Shell Extension Version " TAGSMITH_VERSION " (" +
                std::string(version) + ")\n";
    EXPECT_EQ(scratch.Log(), expected);
  };
  start("0.0.0.0");
  setPath(REG_SZ, ProgramFolder());
  start(TAGSMITH_FILE_VERSION_TEXT);
  setPath(REG_BINARY, ProgramFolder());
  start("0.0.0.0");
  setPath(REG_SZ, std::wstring(400, L'x'));
  start("0.0.0.0");
  // Beyond ASCII, and as long as the buffer takes.
  for (const std::wstring& name : {std::wstring(L"gr\xFC\xDF"), std::wstring(100, L'x')}) {
    std::wstring folder = (scratch.Folder() / name).wstring() + L"\\";
    std::filesystem::create_directory(folder);
    CopyFileW((ProgramFolder() + L"tsshell.dll").c_str(), (folder + L"tsshell.dll").c_str(), TRUE);
    setPath(REG_SZ, folder);
    start(TAGSMITH_FILE_VERSION_TEXT);
  }
}

TEST(StartUp, SurvivesALogThatCannotBeWritten) {
  const ScratchSystem scratch;
  std::filesystem::create_directories(scratch.Folder() / "AppData");
  std::ofstream(scratch.Folder() / "AppData" / "Corvane") << "a file in the folder's place";
  ::testing::internal::CaptureStderr();
  InitialiseOne(LoadedModule());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\n# Tagsmith Shell Extension Version " TAGSMITH_VERSION " (0.0.0.0)\n");
}

TEST(StartUp, PrunesTheLogWithEachRequestOfAHandler) {
  using Asks = std::function<void(const LoadedModule&)>;
  const Asks property = InitialiseOne;
  const Asks thumbnail = [](const LoadedModule& module) {
    ComPointer<IThumbnailProvider> provider;
    HBITMAP bitmap = nullptr;
    WTS_ALPHATYPE alpha = WTSAT_UNKNOWN;
    module.Make(kThumbnailHandlerClsid, __uuidof(IThumbnailProvider), provider)
        .GetThumbnail(96, &bitmap, &alpha);
  };
  const Asks column = [](const LoadedModule& module) {
    ComPointer<IColumnProvider> columns;
    module.Make(kColumnHandlerClsid, IID_IColumnProvider, columns)
        .GetItemData(nullptr, nullptr, nullptr);
  };
  const auto number = [](DWORD value) {
    return [value] { SetSetting(HKEY_CURRENT_USER, L"Max log size", value); };
  };
  struct Case {
    std::function<void()> set;
    std::size_t logSize;  // before the request, the header of 56 bytes included
    bool isPruned;
    const Asks& request;
  };
  const auto nothing = [] {};
  const Case cases[] = {
      {nothing, 102'400, false, property},
      {nothing, 102'401, true, property},
      {nothing, 103'000, true, thumbnail},
      {nothing, 103'000, true, column},
      {number(1000), 1001, true, property},
      {number(1000), 1000, false, property},
      {number(0x80000000), 100, true, property},  // negative as a signed number
      {[] { SetSetting(HKEY_CURRENT_USER, L"Max log size", L"10"); }, 1100, false, property},
  };
  for (const Case& c : cases) {
    const ScratchSystem scratch;
    c.set();
    constexpr std::size_t kHeader = 56;
    scratch.FillLog();
    std::filesystem::resize_file(scratch.LogFolder() / "tsmithsx.log", c.logSize - kHeader);
    c.request(LoadedModule());
    EXPECT_EQ(scratch.Log().find("Pruning log file (old log is now ") == 21, c.isPruned)
        << c.logSize;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(scratch.LogFolder()), {}),
              c.isPruned ? 2 : 1);
  }
}

// ---- Class objects ----------------------------------------------------------------------------

TEST(ClassObjects, AreServedUnderTheirSettings) {
  constexpr int kAbsent = -1;
  constexpr int kText = -2;
  struct Case {
    int machine;
    int user;
    bool served;
  };
  const Case cases[] = {
      {kAbsent, kAbsent, false}, {1, kAbsent, true},  {0, kAbsent, false}, {2, kAbsent, false},
      {kText, kAbsent, false},   {1, 1, true},        {1, 0, false},       {1, 2, false},
      {1, kText, true},          {kAbsent, 1, false},
  };
  const std::pair<CLSID, const wchar_t*> classes[] = {{kPropertyHandlerClsid, kPropertySetting},
                                                      {kThumbnailHandlerClsid, kThumbnailSetting},
                                                      {kColumnHandlerClsid, kColumnSetting}};
  for (const Case& c : cases) {
    for (const auto& [clsid, setting] : classes) {
      SCOPED_TRACE(std::to_string(c.machine) + " " + std::to_string(c.user));
      const ScratchSystem scratch;
      const LoadedModule module;
      for (const auto& [hive, value] :
           {std::pair{HKEY_LOCAL_MACHINE, c.machine}, {HKEY_CURRENT_USER, c.user}}) {
        if (value == kText) {
          SetSetting(hive, setting, L"1");
        } else if (value != kAbsent) {
          SetSetting(hive, setting, static_cast<DWORD>(value));
        }
      }
      ComPointer<IClassFactory> factory;
      EXPECT_EQ(module.GetClassObject(clsid, IID_IClassFactory, factory.ReceiveVoid()),
                c.served ? S_OK : CLASS_E_CLASSNOTAVAILABLE);
      EXPECT_EQ(static_cast<bool>(factory), c.served);
      EXPECT_EQ(module.CanUnload(), !c.served);
      void* object = &factory;
      EXPECT_EQ(module.GetClassObject(IID_IStream, IID_IClassFactory, &object),
                CLASS_E_CLASSNOTAVAILABLE);
      EXPECT_EQ(object, nullptr);
      factory.Reset();
      EXPECT_TRUE(module.CanUnload());
    }
  }
}

void ExpectFactoryAnswers(IClassFactory& factory, bool locksItself) {
  ComPointer<IClassFactory> same;
  EXPECT_EQ(factory.QueryInterface(IID_IClassFactory, same.ReceiveVoid()), S_OK);
  EXPECT_EQ(&factory, same.Get());
  same.Reset();
  void* object = &factory;
  void* second = &factory;
  void* third = &factory;
  EXPECT_EQ((Results{factory.QueryInterface(IID_IStream, &object),
                     factory.QueryInterface(IID_IStream, nullptr),
                     factory.CreateInstance(&factory, IID_IUnknown, &second),
                     factory.CreateInstance(nullptr, IID_IStream, &third),
                     factory.CreateInstance(nullptr, IID_IUnknown, nullptr)}),
            (Results{E_NOINTERFACE, E_POINTER, CLASS_E_NOAGGREGATION, E_NOINTERFACE, E_POINTER}));
  EXPECT_TRUE(object == nullptr && second == nullptr && third == nullptr);

  // LockServer counts on the factory itself, or nowhere.
  std::vector<ULONG> counts;
  for (const BOOL locks : {TRUE, FALSE}) {
    EXPECT_EQ(factory.LockServer(locks), S_OK);
    counts.insert(counts.end(), {factory.AddRef(), factory.Release()});
  }
  const ULONG locked = locksItself ? 1 : 0;
  EXPECT_EQ(counts, (std::vector<ULONG>{2 + locked, 1 + locked, 2, 1}));
}

TEST(ClassObjects, MakeHandlersAndCountThem) {
  struct Case {
    const CLSID& clsid;
    std::vector<IID> interfaces;
    bool locksItself;
  };
  const Case cases[] = {
      {kPropertyHandlerClsid,
       {__uuidof(IPropertyStore), __uuidof(IPropertyStoreCapabilities),
        __uuidof(IInitializeWithStream)},
       true},
      {kThumbnailHandlerClsid,
       {__uuidof(IInitializeWithStream), __uuidof(IThumbnailProvider)},
       false},
      {kColumnHandlerClsid, {IID_IColumnProvider}, false},
  };
  for (const Case& c : cases) {
    const ScratchSystem scratch;
    const LoadedModule module;
    SwitchOn();
    EXPECT_EQ(module.GetClassObject(c.clsid, IID_IUnknown, nullptr), E_POINTER);
    ComPointer<IClassFactory> factory;
    ASSERT_EQ(module.GetClassObject(c.clsid, IID_IUnknown, factory.ReceiveVoid()), S_OK);
    EXPECT_FALSE(module.CanUnload());
    ExpectFactoryAnswers(*factory.Get(), c.locksItself);

    // Each call makes another handler; each of these alone keeps the module loaded.
    std::array<ComPointer<IUnknown>, 3> handlers;
    for (ComPointer<IUnknown>& handler : handlers) {
      EXPECT_EQ(factory->CreateInstance(nullptr, c.interfaces.front(), handler.ReceiveVoid()),
                S_OK);
      for (const IID& iid : c.interfaces) {
        ComPointer<IUnknown> other;
        ComPointer<IUnknown> identity;
        EXPECT_EQ(handler->QueryInterface(iid, other.ReceiveVoid()), S_OK);
        EXPECT_EQ(other->QueryInterface(IID_IUnknown, identity.ReceiveVoid()), S_OK);
        EXPECT_EQ(identity.Get(), handler.Get());
      }
      ComPointer<IPersistFile> none;
      EXPECT_EQ(handler->QueryInterface(IID_IPersistFile, none.ReceiveVoid()), E_NOINTERFACE);
    }
    EXPECT_NE(handlers[0].Get(), handlers[1].Get());
    factory.Reset();
    for (ComPointer<IUnknown>& handler : handlers) {
      EXPECT_FALSE(module.CanUnload());
      handler.Reset();
    }
    EXPECT_TRUE(module.CanUnload());
  }
}

TEST(ClassObjects, WorkThroughCom) {
  const ScratchSystem scratch;
  SetSetting(HKEY_LOCAL_MACHINE, kPropertySetting, DWORD{1});
  for (int round = 0; round < 3; ++round) {
    ComPointer<IPropertyStore> store;
    ASSERT_EQ(CoCreateInstance(kPropertyHandlerClsid, nullptr, CLSCTX_INPROC_SERVER,
                               __uuidof(IPropertyStore), store.ReceiveVoid()),
              S_OK);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_NE(GetModuleHandleW(L"tsshell.dll"), nullptr);
    store.Reset();
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_EQ(GetModuleHandleW(L"tsshell.dll"), nullptr);
  }
}

// ---- The property system ----------------------------------------------------------------------

void CheckPropertySystem(bool hasCache) {
  const ScratchSystem scratch(ScratchSystem::kWithClasses);
  const LoadedModule module;
  {
    ComPointer<IInitializeWithStream> handler;
    TestStream stream(V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(k128, 3));
    EXPECT_EQ(module.Make(kPropertyHandlerClsid, handler).Initialize(&stream, STGM_READ), S_OK);
    ComPointer<IPropertyStore> store;
    ASSERT_EQ(handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid()), S_OK);
    DWORD count = 99;
    EXPECT_EQ(store->GetCount(&count), hasCache ? S_OK : E_UNEXPECTED);
    EXPECT_EQ(count, hasCache ? 0U : 99U);
    EXPECT_EQ(handler->Initialize(&stream, STGM_READ), E_UNEXPECTED);
    EXPECT_EQ(stream.references, 2U);
  }
  EXPECT_TRUE(module.CanUnload());
  // Registration does without the schema.
  EXPECT_EQ(module.Call("DllUnregisterServer"), S_OK);
  // A class object that was asked for another interface keeps the module loaded.
  void* object = nullptr;
  EXPECT_EQ(module.GetClassObject(kPropertyHandlerClsid, IID_IStream, &object), E_NOINTERFACE);
  EXPECT_FALSE(module.CanUnload());
}

TEST(PropertySystem, no_builders) { CheckPropertySystem(true); }
TEST(PropertySystem, no_coercion) { CheckPropertySystem(true); }
TEST(PropertySystem, no_store) { CheckPropertySystem(false); }
TEST(PropertySystem, none) {
  ASSERT_EQ(LoadLibraryW(L"propsys.dll"), nullptr);
  CheckPropertySystem(false);
}

}  // namespace
}  // namespace tagsmith::test
