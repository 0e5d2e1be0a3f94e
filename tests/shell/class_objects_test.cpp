#include "shellext/class_objects.h"

#include <shlobj.h>

#include "handlers/context_menu.h"
#include "shellext/class_factory.h"
#include "tests/shell/shell_environment.h"

namespace tagsmith::test {
namespace {

constexpr const wchar_t* kSetting = L"Add property handler";

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
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.machine) + " " + std::to_string(c.user));
    const ScratchSystem scratch;
    const LoadedModule module;
    const auto set = [](HKEY hive, int value) {
      if (value == kText) {
        SetSetting(hive, kSetting, L"1");
      } else if (value != kAbsent) {
        SetSetting(hive, kSetting, static_cast<DWORD>(value));
      }
    };
    set(HKEY_LOCAL_MACHINE, c.machine);
    set(HKEY_CURRENT_USER, c.user);
    ComPointer<IClassFactory> factory;
    EXPECT_EQ(
        module.GetClassObject(kPropertyHandlerClsid, IID_IClassFactory, factory.ReceiveVoid()),
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

TEST(ClassObjects, MakeHandlersAndCountThem) {
  const ScratchSystem scratch;
  const LoadedModule module;
  SetSetting(HKEY_LOCAL_MACHINE, kSetting, 1);
  EXPECT_EQ(module.GetClassObject(kPropertyHandlerClsid, IID_IUnknown, nullptr), E_POINTER);

  ComPointer<IClassFactory> factory;
  ASSERT_EQ(module.GetClassObject(kPropertyHandlerClsid, IID_IUnknown, factory.ReceiveVoid()),
            S_OK);
  void* object = &factory;
  EXPECT_EQ(factory->CreateInstance(factory.Get(), IID_IUnknown, &object), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IStream, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);

  // LockServer counts on the factory itself.
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->AddRef(), 3U);
  EXPECT_EQ(factory->Release(), 2U);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(factory->AddRef(), 2U);
  EXPECT_EQ(factory->Release(), 1U);

  ComPointer<IPropertyStore> first;
  ComPointer<IPropertyStoreCapabilities> second;
  EXPECT_EQ(factory->CreateInstance(nullptr, __uuidof(IPropertyStore), first.ReceiveVoid()), S_OK);
  EXPECT_EQ(
      factory->CreateInstance(nullptr, __uuidof(IPropertyStoreCapabilities), second.ReceiveVoid()),
      S_OK);
  ComPointer<IUnknown> firstUnknown;
  ComPointer<IUnknown> secondUnknown;
  EXPECT_EQ(first->QueryInterface(IID_IUnknown, firstUnknown.ReceiveVoid()), S_OK);
  EXPECT_EQ(second->QueryInterface(IID_IUnknown, secondUnknown.ReceiveVoid()), S_OK);
  EXPECT_NE(firstUnknown.Get(), secondUnknown.Get());
  EXPECT_EQ(static_cast<void*>(firstUnknown.Get()), static_cast<void*>(first.Get()));

  // Each of the three objects alone keeps the module loaded.
  first.Reset();
  firstUnknown.Reset();
  EXPECT_FALSE(module.CanUnload());
  second.Reset();
  secondUnknown.Reset();
  EXPECT_FALSE(module.CanUnload());
  factory.Reset();
  EXPECT_TRUE(module.CanUnload());
}

TEST(ClassObjects, AWrongInterfaceKeepsTheModuleLoaded) {
  const ScratchSystem scratch;
  const LoadedModule module(L"tsshell_leak.dll");
  SetSetting(HKEY_LOCAL_MACHINE, kSetting, 1);
  void* object = nullptr;
  EXPECT_EQ(module.GetClassObject(kPropertyHandlerClsid, IID_IStream, &object), E_NOINTERFACE);
  EXPECT_FALSE(module.CanUnload());
}

TEST(ClassObjects, WorkThroughCom) {
  const ScratchSystem scratch;
  SetSetting(HKEY_LOCAL_MACHINE, kSetting, 1);
  for (int round = 0; round < 3; ++round) {
    ComPointer<IPropertyStore> store;
    ASSERT_EQ(CoCreateInstance(kPropertyHandlerClsid, nullptr, CLSCTX_INPROC_SERVER,
                               __uuidof(IPropertyStore), store.ReceiveVoid()),
              S_OK);
    ComPointer<IClassFactory> factory;
    EXPECT_EQ(CoGetClassObject(kPropertyHandlerClsid, CLSCTX_INPROC_SERVER, nullptr,
                               IID_IClassFactory, factory.ReceiveVoid()),
              S_OK);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_NE(GetModuleHandleW(L"tsshell.dll"), nullptr);
    store.Reset();
    factory.Reset();
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_EQ(GetModuleHandleW(L"tsshell.dll"), nullptr);
  }
  SetSetting(HKEY_CURRENT_USER, kSetting, DWORD{0});
  ComPointer<IUnknown> none;
  EXPECT_EQ(CoCreateInstance(kPropertyHandlerClsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                             none.ReceiveVoid()),
            CLASS_E_CLASSNOTAVAILABLE);
  CoFreeUnusedLibrariesEx(0, 0);
}

TEST(Factories, OfTheOtherHandlers) {
  const std::int32_t before = LiveObjectCount();
  {
    ComPointer<CShellClassFactory> factory;
    const HandlerMaker make = []() -> CShellExt* { return new CShellMenu(); };
    *factory.Receive() = new CShellClassFactory(nullptr, make(), make);
    void* object = nullptr;
    EXPECT_EQ(factory->QueryInterface(IID_IStream, &object), E_NOINTERFACE);
    EXPECT_EQ(factory->QueryInterface(IID_IClassFactory, &object), S_OK);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    EXPECT_EQ(factory->AddRef(), 2U);
    EXPECT_EQ(factory->Release(), 1U);
    EXPECT_EQ(LiveObjectCount(), before + 2);

    ComPointer<IContextMenu> menu;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IContextMenu, menu.ReceiveVoid()), S_OK);
    CMINVOKECOMMANDINFO info{};
    EXPECT_EQ(menu->InvokeCommand(&info), E_INVALIDARG);
    EXPECT_EQ(menu->QueryContextMenu(nullptr, 0, 1, 100, CMF_NORMAL), 0);
  }
  EXPECT_EQ(LiveObjectCount(), before);

  ComPointer<CShellClassProviderFactory> empty;
  *empty.Receive() = new CShellClassProviderFactory(nullptr, nullptr, nullptr);
  empty->AddRef();
  void* object = &empty;
  EXPECT_EQ(empty->CreateInstance(nullptr, IID_IUnknown, &object), E_OUTOFMEMORY);
  EXPECT_EQ(object, nullptr);
}

}  // namespace
}  // namespace tagsmith::test
