// The shell's side of the handlers: how a host gets a handler and hands it a file.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <string>
#include <vector>

#include "platform/windows_handles.h"

namespace tagsmith {

/// UTF-8 as the platform's wide characters.
std::wstring WidenUtf8(const std::string& text);

/// Under Wine, whose property system lacks what the handlers need, puts the stand-in beside the
/// program in its place, for the whole process. Call it before any handler is made.
void UsePropertySystemDouble(const wchar_t* variant = L"propsys_double");

/// The folder of the running program, with its closing backslash.
std::wstring ProgramFolder();

/// Makes handler objects from the registered class or from one module file.
class HandlerSource {
 public:
  /// Through CoCreateInstance.
  HandlerSource() = default;
  /// Through the module's own DllGetClassObject. `modulePath` is loaded and stays loaded.
  explicit HandlerSource(const std::wstring& modulePath);

  /// Has every handler made from now on take the standard reading, whatever the settings say. The
  /// registered class then comes from its module directly.
  void UseStandardReading();

  /// Has the column handler come from the module where it is not registered, or not switched on:
  /// since Windows Vista it is neither, for no shell asks for columns.
  void ServeColumnsAnyway();

  HRESULT Create(REFCLSID clsid, REFIID riid, void** object) const;

 private:
  HRESULT CreateFrom(HMODULE module, std::vector<const wchar_t*> switchedOn, REFCLSID clsid,
                     REFIID riid, void** object) const;

  bool isRegistered_ = true;
  bool isStandard_ = false;
  HMODULE module_ = nullptr;
  HMODULE columnModule_ = nullptr;  // of columns that are not served otherwise; may be null
};

/// A read-only stream over a file, as the shell makes it.
HRESULT OpenStream(const std::wstring& path, ComPointer<IStream>& stream);

}  // namespace tagsmith
