// The property handler where the property system is missing, as a whole or in part; each test in a
// process of its own.
#include "shellext/property_schema.h"
#include "tests/shell/shell_environment.h"

namespace tagsmith::test {
namespace {

void Check(bool hasCache) {
  const ScratchSystem scratch;
  const LoadedModule module;
  {
    ComPointer<IInitializeWithStream> handler;
    MakeHandler(module, handler);
    TestStream stream(V2Tag(3, Frame(3, "TIT2", "\0Song"s)) + MpegFrames(9, 3), L"s.mp3");
    EXPECT_EQ(handler->Initialize(&stream, STGM_READ), S_OK);
    ComPointer<IPropertyStore> store;
    ASSERT_EQ(handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid()), S_OK);
    DWORD count = 99;
    PROPERTYKEY key{};
    PROPVARIANT value{};
    const HRESULT expected = hasCache ? S_OK : E_UNEXPECTED;
    EXPECT_EQ(store->GetCount(&count), expected);
    EXPECT_EQ(count, hasCache ? 0U : 99U);
    EXPECT_EQ(store->GetValue(key, &value), expected);
    EXPECT_EQ(store->GetAt(0, &key), hasCache ? E_INVALIDARG : E_UNEXPECTED);
    EXPECT_EQ(store->SetValue(key, value), hasCache ? STG_E_ACCESSDENIED : E_UNEXPECTED);
    EXPECT_EQ(handler->Initialize(&stream, STGM_READ), E_UNEXPECTED);
    EXPECT_EQ(stream.references, 2U);
  }
  EXPECT_TRUE(module.CanUnload());
}

TEST(PropertySystem, no_builders) { Check(true); }
TEST(PropertySystem, no_coercion) { Check(true); }
TEST(PropertySystem, no_store) {
  Check(false);
  EXPECT_EQ(RegisterPropertySchema(true), S_FALSE);
  EXPECT_EQ(RegisterPropertySchema(false), S_FALSE);
}
TEST(PropertySystem, none) {
  ASSERT_EQ(LoadLibraryW(L"propsys.dll"), nullptr);
  Check(false);
}

}  // namespace
}  // namespace tagsmith::test
