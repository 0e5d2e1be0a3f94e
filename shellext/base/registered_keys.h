// Where handlers are registered: for registration, and for the report of what is registered.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <array>
#include <string>

namespace tagsmith {

/// "{7C1F2A90-...}"
inline std::wstring GuidText(const GUID& guid) {
  std::array<wchar_t, 39> text{};
  StringFromGUID2(guid, text.data(), static_cast<int>(text.size()));
  return text.data();
}

/// Below classes root.
inline std::wstring ClassKey(REFCLSID clsid) { return L"CLSID\\" + GuidText(clsid); }

/// The file types that the handlers are registered for.
inline constexpr const wchar_t* kExtensions[] = {L".aif", L".aiff", L".mp3"};

/// Below the local machine; an extension follows, whose default value is the handler.
inline constexpr const wchar_t* kPropertyHandlersKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\PropertySystem\\PropertyHandlers\\";

/// After an extension below classes root: the thumbnail handler since Windows Vista, and before.
inline constexpr const wchar_t* kThumbnailProviderKey =
    L"\\ShellEx\\{e357fccd-a995-4576-b01f-234630154e96}";
inline constexpr const wchar_t* kExtractImageKey =
    L"\\ShellEx\\{BB2E617C-0920-11d1-9A0B-00C04FC2D6C1}";

/// Below classes root; an identifier follows.
inline constexpr const wchar_t* kColumnHandlersKey = L"Folder\\shellex\\ColumnHandlers\\";

/// Where a replaced default value is kept, and what the names of other replaced values end in.
inline constexpr const wchar_t* kBackup = L"tsmithbak";

}  // namespace tagsmith
