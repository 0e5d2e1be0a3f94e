// The thumbnail handler of shells before Windows Vista: a file's first picture.
#pragma once

#include <windows.h>

#include <shlobj.h>

#include <array>

#include "handlers/album_art.h"
#include "handlers/chosen_reading.h"
#include "shellext/base/com_object.h"

namespace tagsmith {

/// The COM side: interfaces, the path and the requested size.
class CShellThumbExtractor : public ComObject<IPersistFile, IExtractImage2> {
 public:
  /// Answers IExtractImage, too, which IExtractImage2 extends.
  STDMETHODIMP QueryInterface(REFIID riid, void** object) noexcept override;

  STDMETHODIMP GetClassID(CLSID* clsid) override;
  STDMETHODIMP IsDirty() override;
  /// Keeps the path, cut to 259 characters, in place of a former one.
  STDMETHODIMP Load(LPCOLESTR path, DWORD mode) override;
  STDMETHODIMP Save(LPCOLESTR path, BOOL remember) override;
  STDMETHODIMP SaveCompleted(LPCOLESTR path) override;
  STDMETHODIMP GetCurFile(LPOLESTR* path) override;

  /// Keeps the requested size. E_PENDING, which has the shell extract in the background, when the
  /// flags ask for that; else S_OK. Path buffer, priority and flags stay as they are.
  STDMETHODIMP GetLocation(LPWSTR pathBuffer, DWORD capacity, DWORD* priority, const SIZE* size,
                           DWORD colourDepth, DWORD* flags) override;
  /// The file's last-write time; S_FALSE without a path, E_FAIL when the file cannot be asked.
  STDMETHODIMP GetDateStamp(FILETIME* stamp) override;

 protected:
  std::array<wchar_t, 260> path_{};  // empty until Load
  SIZE requestedSize_{};
};

/// The work side.
class CMP3ThumbExtractor : public CShellThumbExtractor {
 public:
  /// The bitmap has the picture's own size, whatever size was requested. It is the caller's, to be
  /// deleted. kNoPicture and null where there is none. A picture once decoded stays, even when
  /// another path is loaded.
  STDMETHODIMP Extract(HBITMAP* bitmap) override;

 private:
  const Reading& reading_ = ChosenReading();
  AlbumArt art_;
};

}  // namespace tagsmith
