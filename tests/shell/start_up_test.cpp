#include <shlobj.h>

#include <thumbcache.h>

#include <fstream>
#include <regex>

#include "shellext/base/handler_ids.h"
#include "shellext/base/module.h"
#include "shellext/base/registry.h"
#include "tests/shell/shell_environment.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

constexpr std::string_view kBareHeader = "\n# Tagsmith Shell Extension Version 1.26.43 (0.0.0.0)\n";

TEST(StartUp, WritesTheHeaderBehindWhatIsThere) {
  const ScratchSystem scratch;
  { const LoadedModule module; }
  EXPECT_EQ(scratch.Log(), kBareHeader);
  SetStringValue(HKEY_LOCAL_MACHINE, kProductKey, L"Installation path", ProgramFolder().c_str());
  { const LoadedModule module; }
  EXPECT_EQ(scratch.Log(), std::string(kBareHeader) +
                               "\n# Tagsmith Shell Extension Version 1.26.43 (1.26.43.0)\n");
}

TEST(StartUp, SurvivesALogThatCannotBeWritten) {
  const ScratchSystem scratch;
  std::filesystem::create_directories(scratch.AppData());
  std::ofstream(scratch.AppData() / "Corvane") << "a file in the folder's place";
  ::testing::internal::CaptureStderr();
  {
    const LoadedModule module;
    ComPointer<IInitializeWithStream> handler;
    TestStream stream("", L"s.mp3");
    EXPECT_EQ(MakeHandler(module, handler)->Initialize(&stream, STGM_READ), S_OK);
  }
  EXPECT_NE(::testing::internal::GetCapturedStderr().find(kBareHeader.substr(1, 40)),
            std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(scratch.LogFolder()));
}

TEST(StartUp, TakesTheLogSizeFromItsSetting) {
  struct Case {
    std::function<void()> set;
    std::size_t logSize;  // before the request
    bool pruned;
  };
  const auto number = [](DWORD value) {
    return [value] { SetSetting(HKEY_CURRENT_USER, L"Max log size", value); };
  };
  const Case cases[] = {
      {[] {}, 102'000, false},
      {[] {}, 103'000, true},
      {number(1000), 1100, true},
      {number(5000), 1100, false},
      {number(0x80000000), 10, true},  // negative as a signed number
      {[] { SetSetting(HKEY_CURRENT_USER, L"Max log size", L"10"); }, 1100, false},
  };
  for (const Case& c : cases) {
    const ScratchSystem scratch;
    c.set();
    std::filesystem::create_directories(scratch.LogFolder());
    std::ofstream(scratch.LogFolder() / "tsmithsx.log") << std::string(c.logSize, 'x');
    {
      const LoadedModule module;
      ComPointer<IInitializeWithStream> handler;
      TestStream stream("", L"s.mp3");
      EXPECT_EQ(MakeHandler(module, handler)->Initialize(&stream, STGM_READ), S_OK);
    }
    const bool pruned = scratch.Log().find("Pruning log file (old log is now ") == 21;
    EXPECT_EQ(pruned, c.pruned) << c.logSize;
    std::ptrdiff_t files =
        std::distance(std::filesystem::directory_iterator(scratch.LogFolder()), {});
    EXPECT_EQ(files, c.pruned ? 2 : 1);
  }
}

// Of the handlers' requests; the property handler's is above.
TEST(StartUp, PrunesTheLogWithEachRequest) {
  const auto isPrunedBy = [](const std::function<void(const LoadedModule&)>& request) {
    const ScratchSystem scratch;
    std::filesystem::create_directories(scratch.LogFolder());
    std::ofstream(scratch.LogFolder() / "tsmithsx.log") << std::string(103'000, 'x');
    {
      const LoadedModule module;
      request(module);
    }
    return scratch.Log().find("Pruning log file (old log is now ") == 21;
  };
  EXPECT_TRUE(isPrunedBy([](const LoadedModule& module) {
    ComPointer<IThumbnailProvider> provider;
    HBITMAP bitmap = nullptr;
    WTS_ALPHATYPE alpha = WTSAT_UNKNOWN;
    MakeHandler(module, kThumbnailHandlerClsid, L"Add thumbnail handler", provider)
        ->GetThumbnail(96, &bitmap, &alpha);
  }));
  EXPECT_TRUE(isPrunedBy([](const LoadedModule& module) {
    ComPointer<IUnknown> handler;
    ComPointer<IColumnProvider> columns;
    MakeHandler(module, kColumnHandlerClsid, L"Add column handler", handler)
        ->QueryInterface(IID_IColumnProvider, columns.ReceiveVoid());
    columns->GetItemData(nullptr, nullptr, nullptr);
  }));
}

}  // namespace
}  // namespace tagsmith::test
