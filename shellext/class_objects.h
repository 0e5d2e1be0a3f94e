// Which class the module serves under which CLSID, and under which setting.
#pragma once

#include <windows.h>

#include <unknwn.h>

namespace tagsmith {

inline constexpr CLSID kPropertyHandlerClsid = {
    0x7C1F2A90, 0x3B6E, 0x4D21, {0x9A, 0x55, 0x6E, 0x0B, 0x8C, 0x4D, 0x2F, 0x13}};

/// Also of the image extractor of shells before Windows Vista.
inline constexpr CLSID kThumbnailHandlerClsid = {
    0x2E8B7D41, 0x90C5, 0x4F3A, {0xB6, 0xD2, 0x1A, 0x4C, 0x9E, 0x07, 0xF8, 0xB5}};

/// What DllGetClassObject does: a class object when the CLSID is served and its setting is exactly
/// 1 in the machine's settings (default 0) and in the user's (default 1), else
/// CLASS_E_CLASSNOTAVAILABLE. A null `object` is E_POINTER.
HRESULT GetClassObject(REFCLSID rclsid, REFIID riid, void** object);

}  // namespace tagsmith
