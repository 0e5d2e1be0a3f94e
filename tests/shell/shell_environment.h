// A scratch registry and folders around the module, streams that misbehave, and texts to compare
// with.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <propsys.h>

#include <array>
#include <functional>
#include <string>

#include "platform/system_library.h"
#include "platform/windows_handles.h"
#include "shellext/base/handler_ids.h"
#include "tests/unit/test_support.h"

namespace tagsmith::test {

using Results = std::vector<HRESULT>;

constexpr unsigned k128 = 9;  // the index of 128 kbps in a frame's header

/// Registry hives of the test's own, in place of the machine's and the user's, on request also of
/// the classes, and a folder for local application data. Made anew for each test.
class ScratchSystem {
 public:
  enum Classes : bool { kSystemClasses, kWithClasses };
  explicit ScratchSystem(Classes classes = kSystemClasses);
  ~ScratchSystem();
  ScratchSystem(const ScratchSystem&) = delete;
  ScratchSystem& operator=(const ScratchSystem&) = delete;

  [[nodiscard]] std::filesystem::path Folder() const;
  [[nodiscard]] std::filesystem::path LogFolder() const;
  [[nodiscard]] std::string Log() const;
  /// The messages of the lines that were written since the last call, without the header.
  Lines NewMessages();
  /// Fills the log, so that it is longer than it may be by default.
  void FillLog() const;

 private:
  TemporaryFile file_;
  std::size_t seen_ = 0;
};

void SetSetting(HKEY hive, const wchar_t* name, DWORD value);
void SetSetting(HKEY hive, const wchar_t* name, const wchar_t* text);

/// All four settings that registration and class objects look at.
constexpr const wchar_t* kSettings[] = {kPropertySetting, kAiffSetting, kThumbnailSetting,
                                        kColumnSetting};
void SwitchOn();

/// The module, loaded for as long as this lives.
class LoadedModule {
 public:
  LoadedModule();
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  template <typename... Arguments>
  HRESULT Call(const char* name, Arguments... arguments) const {
    return FindFunction<HRESULT(WINAPI*)(Arguments...)>(module_, name)(arguments...);
  }
  HRESULT GetClassObject(REFCLSID clsid, REFIID riid, void** object) const {
    return Call<REFCLSID, REFIID, void**>("DllGetClassObject", clsid, riid, object);
  }
  [[nodiscard]] bool CanUnload() const { return Call("DllCanUnloadNow") == S_OK; }
  [[nodiscard]] HMODULE Get() const { return module_; }

  /// A fresh handler of the class, with all settings switched on.
  template <typename Interface>
  Interface& Make(REFCLSID clsid, REFIID riid, ComPointer<Interface>& handler) const {
    SwitchOn();
    ComPointer<IClassFactory> factory;
    EXPECT_EQ(GetClassObject(clsid, IID_IClassFactory, factory.ReceiveVoid()), S_OK);
    EXPECT_EQ(factory->CreateInstance(nullptr, riid, handler.ReceiveVoid()), S_OK);
    return *handler;
  }
  IInitializeWithStream& Make(REFCLSID clsid, ComPointer<IInitializeWithStream>& handler) const {
    return Make(clsid, __uuidof(IInitializeWithStream), handler);
  }

 private:
  HMODULE module_;
};

/// Without a folder for temporary files, where no dump can be written, while this lives.
class NoTemporaryFolder {
 public:
  NoTemporaryFolder() {
    GetTempPathW(MAX_PATH, before_.data());
    SetEnvironmentVariableW(L"TMP", L"C:\\no\\such");
  }
  ~NoTemporaryFolder() { SetEnvironmentVariableW(L"TMP", before_.data()); }
  NoTemporaryFolder(const NoTemporaryFolder&) = delete;
  NoTemporaryFolder& operator=(const NoTemporaryFolder&) = delete;

 private:
  std::array<wchar_t, MAX_PATH> before_{};
};

/// What the process has.
struct Belongings {
  Belongings();
  /// Since these were counted nothing is gone, and less than 512 bytes of heap are taken.
  void ExpectBack() const;

  std::size_t tlsIndices;  // free ones
  std::uintptr_t handle;   // the value of a fresh one: lower ones are in use
  std::size_t gdiObjects;
  std::size_t privateBytes;
  std::size_t heap;  // bytes in use
};
std::ostream& operator<<(std::ostream& out, const Belongings& had);

/// Expects that requests leave no memory, handle or GDI object behind.
void ExpectNothingIsLeft(const std::function<void()>& request);

/// A stream over bytes that counts calls and can misbehave.
class TestStream : public IStream {
  const std::string content_;  // before the source, which shows it

 public:
  explicit TestStream(std::string content, std::wstring name = L"s.mp3")
      : content_(std::move(content)), name_(std::move(name)) {}
  virtual ~TestStream() = default;

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  STDMETHODIMP Read(void* data, ULONG size, ULONG* count) override;
  STDMETHODIMP Seek(LARGE_INTEGER distance, DWORD origin, ULARGE_INTEGER* position) override;
  STDMETHODIMP Stat(STATSTG* status, DWORD flags) override;
  STDMETHODIMP Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  STDMETHODIMP SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Commit(DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP Revert() override { return E_NOTIMPL; }
  STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IStream**) override { return E_NOTIMPL; }

  ProbeSource source{content_, ""};
  ULONG references = 1;
  bool hasName = true;
  bool failsStat = false;
  bool failsQuery = false;
  bool overstatesCount = false;
  const char* faultIn = "";  // the method that ends in an access violation
  HRESULT endResult = S_FALSE;

 private:
  void FaultIfIn(std::string_view method) const;

  std::wstring name_;
};

std::string Content(const std::filesystem::path& path, std::ios::openmode mode = std::ios::in);
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Of a long text the beginning, and how many bytes there are.
std::string Shortened(const std::string& text);

/// Compares with a file of the folder "expected"; what is seen instead is kept beside the program.
void ExpectFile(const std::string& name, const std::string& seen);

/// For the tests of the log under processes: writes to the log at `path` as another one.
int WriteAsChild(const char* path);
/// For the tests of crash reports: runs as a process that ends in the way of this name.
int RunChild(const std::string& name, const char* log);

}  // namespace tagsmith::test
