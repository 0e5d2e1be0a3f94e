#include "shellext/base/version_info.h"

#include <shlobj.h>

#include <thumbcache.h>

#include <fstream>

#include "shellext/class_objects.h"
#include "tests/shell/shell_environment.h"
#include "tools/shell_host.h"

namespace tagsmith::test {
namespace {

/// Whether the thumbnail class makes providers, or else image extractors.
bool ServesThumbnailProvider() {
  const ScratchSystem scratch;
  const LoadedModule module;
  ComPointer<IUnknown> handler;
  MakeHandler(module, kThumbnailHandlerClsid, L"Add thumbnail handler", handler);
  ComPointer<IUnknown> provider;
  ComPointer<IUnknown> extractor;
  handler->QueryInterface(__uuidof(IThumbnailProvider), provider.ReceiveVoid());
  handler->QueryInterface(__uuidof(IExtractImage), extractor.ReceiveVoid());
  EXPECT_NE(static_cast<bool>(provider), static_cast<bool>(extractor));
  return static_cast<bool>(provider);
}

// Each runs in a program whose name has that version set.
TEST(WindowsVersion, win7) {
  EXPECT_TRUE(IsNt6OrLater() && IsNt5OrLater() && IsNt6OrLater());
  EXPECT_TRUE(ServesThumbnailProvider());
}
TEST(WindowsVersion, winxp64) {
  EXPECT_TRUE(!IsNt6OrLater() && IsNt5OrLater() && !IsNt6OrLater());
  EXPECT_FALSE(ServesThumbnailProvider());
}

// The extractor as the module serves it; it leaves the log as long as it is.
TEST(WindowsVersion, winxp64ServesTheExtractor) {
  const TemporaryFile track(
      "t.mp3", V2Tag(3, PictureFrame("image/bmp", BmpPicture(1, 1, 24, "", "\1\2\3\0"s))) +
                   MpegFrames(9, 4));
  const ScratchSystem scratch;
  std::filesystem::create_directories(scratch.LogFolder());
  std::ofstream(scratch.LogFolder() / "tsmithsx.log") << std::string(103'000, 'x');
  {
    const LoadedModule module;
    ComPointer<IPersistFile> file;
    ComPointer<IExtractImage> extractor;
    MakeHandler(module, kThumbnailHandlerClsid, L"Add thumbnail handler", file)
        ->QueryInterface(__uuidof(IExtractImage), extractor.ReceiveVoid());
    file->Load(WidenUtf8(track.Path()).c_str(), STGM_READ);
    HBITMAP bitmap = nullptr;
    EXPECT_EQ(extractor->Extract(&bitmap), S_OK);
    EXPECT_TRUE(DeleteObject(bitmap));
  }
  EXPECT_GT(scratch.Log().size(), 103'000U);
}
TEST(WindowsVersion, win2k) { EXPECT_TRUE(!IsNt6OrLater() && IsNt5OrLater()); }
TEST(WindowsVersion, nt40) { EXPECT_FALSE(IsNt6OrLater() || IsNt5OrLater()); }

TEST(FileVersions, AreReadFromTheResource) {
  const std::wstring folder = ProgramFolder();
  const std::string module = std::string(folder.begin(), folder.end()) + "tsshell.dll";
  const auto version = GetFileVersion(module.c_str());
  ASSERT_TRUE(version.has_value());
  EXPECT_EQ(std::vector({version->major, version->minor, version->build, version->revision}),
            std::vector<std::uint32_t>({1, 26, 43, 0}));
  EXPECT_FALSE(GetFileVersion("Z:\\no\\such.dll").has_value());
  EXPECT_FALSE(GetFileVersion(std::string(5000, 'x').c_str()).has_value());
  EXPECT_FALSE(GetFileVersion(nullptr).has_value());  // this program has no such resource
}

}  // namespace
}  // namespace tagsmith::test
