// A scratch registry and folders around the module, and streams that misbehave.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <objidl.h>
#include <propsys.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "platform/windows_handles.h"
#include "tests/unit/test_support.h"
#include "tools/property_report.h"

namespace tagsmith::test {

/// Registry hives of the test's own, in place of the machine's and the user's, on request also of
/// the classes, and a folder for local application data. Made anew for each test.
class ScratchSystem {
 public:
  enum Classes : bool { kSystemClasses, kWithClasses };
  explicit ScratchSystem(Classes classes = kSystemClasses);
  ~ScratchSystem();
  ScratchSystem(const ScratchSystem&) = delete;
  ScratchSystem& operator=(const ScratchSystem&) = delete;

  /// The folder of local application data.
  [[nodiscard]] std::filesystem::path AppData() const;
  [[nodiscard]] std::filesystem::path LogFolder() const;
  [[nodiscard]] std::string Log() const;

 private:
  std::vector<HKEY> replaced_;
  TemporaryFile folder_;
};

void SetSetting(HKEY hive, const wchar_t* name, DWORD value);
void SetSetting(HKEY hive, const wchar_t* name, const wchar_t* text);

/// The module, loaded for as long as this lives.
class LoadedModule {
 public:
  /// A copy under another name is a module of its own.
  explicit LoadedModule(const wchar_t* copyName = nullptr);
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  HRESULT GetClassObject(REFCLSID clsid, REFIID riid, void** object) const;
  [[nodiscard]] bool CanUnload() const;
  [[nodiscard]] HMODULE Get() const { return module_; }

 private:
  HMODULE module_;
};

/// A fresh handler of the class, whose setting is switched on.
template <typename Interface>
ComPointer<Interface>& MakeHandler(const LoadedModule& module, const CLSID& clsid,
                                   const wchar_t* setting, ComPointer<Interface>& handler) {
  SetSetting(HKEY_LOCAL_MACHINE, setting, 1);
  ComPointer<IClassFactory> factory;
  EXPECT_EQ(module.GetClassObject(clsid, IID_IClassFactory, factory.ReceiveVoid()), S_OK);
  EXPECT_EQ(factory->CreateInstance(nullptr, __uuidof(Interface), handler.ReceiveVoid()), S_OK);
  return handler;
}

/// A fresh, not yet initialised property handler.
ComPointer<IInitializeWithStream>& MakeHandler(const LoadedModule& module,
                                               ComPointer<IInitializeWithStream>& handler);

/// An ID3v2.4 tag with a value for each property and column.
std::string TagOfAllFields();

/// What a leak would raise.
struct Usage {
  std::uintptr_t nextHandle = 0;  // the value of a fresh handle: lower ones are in use
  std::size_t gdiObjects = 0;
  std::size_t memory = 0;  // committed, in bytes
};
Usage CurrentUsage();

/// Another process that has a file open for itself alone, as long as this lives. One at a time.
class FileHolder {
 public:
  explicit FileHolder(const char* path);
  ~FileHolder();
  FileHolder(const FileHolder&) = delete;
  FileHolder& operator=(const FileHolder&) = delete;

 private:
  HANDLE held_;
  HANDLE release_;
  HANDLE process_ = nullptr;
};

/// A stream over bytes that counts calls and can misbehave.
class TestStream : public IStream {
 public:
  TestStream(std::string content, std::wstring name)
      : size(content.size()), content_(std::move(content)), name_(std::move(name)) {}
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

  std::atomic<ULONG> references = 1;
  int calls = 0;
  std::uint64_t position = 0;
  std::uint64_t size;  // as told
  bool hasName = true;
  bool failsStat = false;
  bool failsSeek = false;
  bool failsQuery = false;
  bool throws = false;
  bool overstatesCount = false;
  const char* faultIn = "";  // the method that ends in an access violation
  HRESULT endResult = S_FALSE;
  ULONG largestRead = 0xFFFFFFFF;
  std::uint64_t failsFrom = ~std::uint64_t{0};  // reads that reach this position fail

 private:
  void FaultIfIn(std::string_view method) const;

  std::string content_;
  std::wstring name_;
};

/// "System.Title=..." for each item, empty ones as "System.Title=-"; sorted by name.
std::vector<std::string> Shown(const std::vector<PropertyItem>& items);

}  // namespace tagsmith::test
