#include "shellext/base/registry.h"

#include "tests/shell/shell_environment.h"

namespace tagsmith::test {
namespace {

constexpr const wchar_t* kKey = L"Software\\Test";
const HKEY kHive = HKEY_CURRENT_USER;

TEST(Registry, ReadsWithDefaults) {
  const ScratchSystem scratch;
  EXPECT_EQ(ReadDwordSetting(kHive, kKey, L"number", 7), 7U);
  ASSERT_EQ(SetDwordValue(kHive, kKey, L"number", 42), ERROR_SUCCESS);
  ASSERT_EQ(SetStringValue(kHive, kKey, L"text", L"grüße"), ERROR_SUCCESS);
  EXPECT_EQ(ReadDwordSetting(kHive, kKey, L"number", 7), 42U);
  EXPECT_EQ(ReadDwordSetting(kHive, kKey, L"text", 7), 7U);
  EXPECT_EQ(ReadDwordSetting(kHive, kKey, L"missing", 7), 7U);

  struct Case {
    const wchar_t* key;
    const wchar_t* name;
    bool opened;
    std::string expected;
  };
  const Case cases[] = {
      {kKey, L"text", true, "gr\xFC\xDF"},  // five places: cut and terminated
      {kKey, L"missing", true, "defa"},
      {kKey, L"number", true, "defa"},
      {L"Software\\Missing", L"text", false, "defa"},
  };
  for (const Case& c : cases) {
    std::array<char, 5> buffer{};
    EXPECT_EQ(ReadStringSetting(kHive, c.key, c.name, "default", buffer), c.opened);
    EXPECT_STREQ(buffer.data(), c.expected.c_str());
  }
  std::optional<std::wstring> text;
  EXPECT_TRUE(ReadStringValue(kHive, kKey, L"text", text));
  EXPECT_EQ(text, L"grüße");
  text.reset();
  EXPECT_TRUE(ReadStringValue(kHive, kKey, L"number", text));
  EXPECT_FALSE(text.has_value());
  EXPECT_FALSE(ReadStringValue(kHive, L"Software\\Missing", L"text", text));
}

TEST(Registry, CopiesAndDeletes) {
  const ScratchSystem scratch;
  ASSERT_EQ(SetStringValue(kHive, kKey, nullptr, L"default"), ERROR_SUCCESS);
  ASSERT_EQ(SetDwordValue(kHive, kKey, L"number", 42), ERROR_SUCCESS);
  ASSERT_EQ(SetStringValue(kHive, kKey, L"large", std::wstring(20'000, L'x').c_str()),
            ERROR_SUCCESS);
  struct Case {
    const wchar_t* from;
    const wchar_t* to;
    bool copied;
  };
  for (const Case& c : {Case{nullptr, L"copy", true}, Case{L"number", L"copy", true},
                        Case{L"number", nullptr, true}, Case{L"missing", L"new", false},
                        Case{L"large", L"new", false}}) {
    EXPECT_EQ(CopyValue(kHive, kKey, c.from, kHive, L"Software\\Test\\Target", c.to), c.copied);
    EXPECT_EQ(ValueExists(kHive, L"Software\\Test\\Target", c.to), c.copied);
  }
  EXPECT_EQ(ReadDwordSetting(kHive, L"Software\\Test\\Target", L"copy", 0), 42U);
  EXPECT_FALSE(CopyValue(kHive, L"Software\\Missing", nullptr, kHive, kKey, L"new"));

  EXPECT_EQ(DeleteValue(kHive, kKey, L"number"), ERROR_SUCCESS);
  EXPECT_FALSE(ValueExists(kHive, kKey, L"number"));
  EXPECT_EQ(DeleteValue(kHive, kKey, L"number"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(DeleteValue(kHive, L"Software\\Missing", L"number"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(SetStringValue(kHive, L"Software\\Test\\Bare", nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_FALSE(ValueExists(kHive, L"Software\\Test\\Bare", nullptr));
}

}  // namespace
}  // namespace tagsmith::test
