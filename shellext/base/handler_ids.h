// The class identifiers of the handlers, and the settings that switch them on.
#pragma once

#include <windows.h>

namespace tagsmith {

inline constexpr CLSID kPropertyHandlerClsid = {
    0x7C1F2A90, 0x3B6E, 0x4D21, {0x9A, 0x55, 0x6E, 0x0B, 0x8C, 0x4D, 0x2F, 0x13}};

/// Also of the image extractor of shells before Windows Vista.
inline constexpr CLSID kThumbnailHandlerClsid = {
    0x2E8B7D41, 0x90C5, 0x4F3A, {0xB6, 0xD2, 0x1A, 0x4C, 0x9E, 0x07, 0xF8, 0xB5}};

inline constexpr CLSID kColumnHandlerClsid = {
    0xA3D05C6E, 0x71F9, 0x4B28, {0x8E, 0x4D, 0x5B, 0x9F, 0x2C, 0x6A, 0x0E, 0x71}};

inline constexpr const wchar_t* kPropertySetting = L"Add property handler";
inline constexpr const wchar_t* kThumbnailSetting = L"Add thumbnail handler";
inline constexpr const wchar_t* kColumnSetting = L"Add column handler";
inline constexpr const wchar_t* kAiffSetting = L"Add AIFF association";
inline constexpr const wchar_t* kStandardReadingSetting = L"Standard reading";

}  // namespace tagsmith
