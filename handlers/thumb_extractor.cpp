#include "handlers/thumb_extractor.h"

#include "diag/fault_guard.h"
#include "handlers/utf8_path.h"
#include "platform/windows_handles.h"

namespace tagsmith {

// ---- CShellThumbExtractor ---------------------------------------------------------------------

STDMETHODIMP CShellThumbExtractor::QueryInterface(REFIID riid, void** object) noexcept {
  return ComObject::QueryInterface(
      riid == __uuidof(IExtractImage) ? __uuidof(IExtractImage2) : riid, object);
}

STDMETHODIMP CShellThumbExtractor::GetClassID(CLSID* /*clsid*/) { return E_NOTIMPL; }
STDMETHODIMP CShellThumbExtractor::IsDirty() { return E_NOTIMPL; }
STDMETHODIMP CShellThumbExtractor::Save(LPCOLESTR /*path*/, BOOL /*remember*/) { return E_NOTIMPL; }
STDMETHODIMP CShellThumbExtractor::SaveCompleted(LPCOLESTR /*path*/) { return E_NOTIMPL; }
STDMETHODIMP CShellThumbExtractor::GetCurFile(LPOLESTR* /*path*/) { return E_NOTIMPL; }

STDMETHODIMP CShellThumbExtractor::Load(LPCOLESTR path, DWORD /*mode*/) {
  return Guarded("Thumbnail extractor could not take the path", E_UNEXPECTED, [&]() -> HRESULT {
    if (path == nullptr) {
      return E_POINTER;
    }
    lstrcpynW(path_.data(), path, static_cast<int>(path_.size()));
    return S_OK;
  });
}

STDMETHODIMP CShellThumbExtractor::GetLocation(LPWSTR /*pathBuffer*/, DWORD /*capacity*/,
                                               DWORD* /*priority*/, const SIZE* size,
                                               DWORD /*colourDepth*/, DWORD* flags) {
  return Guarded("Thumbnail extractor could not take the size", E_UNEXPECTED, [&]() -> HRESULT {
    if (size == nullptr || flags == nullptr) {
      return E_POINTER;
    }
    requestedSize_ = *size;
    return (*flags & IEIFLAG_ASYNC) != 0 ? E_PENDING : S_OK;
  });
}

STDMETHODIMP CShellThumbExtractor::GetDateStamp(FILETIME* stamp) {
  return Guarded("Failed to get the date stamp", E_FAIL, [&]() -> HRESULT {
    if (stamp == nullptr) {
      return E_POINTER;
    }
    if (path_.front() == L'\0') {
      return S_FALSE;
    }
    const KernelHandle file(CreateFileW(path_.data(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file && GetFileTime(file.Get(), nullptr, nullptr, stamp) != FALSE ? S_OK : E_FAIL;
  });
}

// ---- CMP3ThumbExtractor -----------------------------------------------------------------------

STDMETHODIMP CMP3ThumbExtractor::Extract(HBITMAP* bitmap) {
  return Guarded("Thumbnail extractor failed", kNoPicture, [&]() -> HRESULT {
    if (bitmap == nullptr) {
      return E_POINTER;
    }
    *bitmap = nullptr;
    return art_.GetBitmap(
        [&](ID3Tag& tag) {
          static_cast<TagOptions&>(tag) = kPictureOptions;
          const auto path = ToUtf8Path(path_.data());
          return path && reading_.openFile(tag, path->data(), kScanAll, nullptr, false);
        },
        *bitmap);
  });
}

}  // namespace tagsmith
