// Measures the handlers under Windows or Wine: a row of columns, a request for properties, a
// thumbnail, the loading of the module. bench_handlers FILE [ROUNDS [JSON-FILE]]
#include <windows.h>

#include <psapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/rows.h"
#include "diag/log.h"
#include "handlers/column_provider.h"
#include "handlers/com_stream_source.h"
#include "handlers/gdi_plus.h"
#include "handlers/property_store.h"
#include "handlers/thumb_provider.h"
#include "shellext/base/property_system.h"
#include "tags/own/track_opening.h"
#include "tools/console.h"
#include "tools/shell_host.h"

namespace tagsmith::bench {
namespace {

struct Bench {
  std::wstring track;
  int rounds;
  RowPrinter rows;
};

/// Prints the second candidate beyond the first one, in microseconds, with the first as its floor.
void PrintBeyond(Bench& bench, const std::string& name, std::span<const Candidate> candidates) {
  const double floor = candidates[0].best / 1000;
  const double value = candidates[1].best / 1000;
  bench.rows.Print({.name = name, .value = value, .floor = floor});
  bench.rows.Print({.name = name + ", beyond " + candidates[0].name, .value = value - floor});
}

void Rewind(IStream& stream) { stream.Seek({}, STREAM_SEEK_SET, nullptr); }

void OpenTrack(IStream& stream, const TagOptions& options, ID3Tag& tag) {
  Rewind(stream);
  static_cast<TagOptions&>(tag) = options;
  ComStreamSource source(stream);
  OpenTrackFromStream(&source, &tag);
}

// ---- Columns ----------------------------------------------------------------------------------

void MeasureColumns(Bench& bench) {
  ComPointer<IColumnProvider> columns;
  (new CMP3ColumnProvider())->QueryInterface(IID_IColumnProvider, columns.ReceiveVoid());
  SHCOLUMNDATA item{};
  GetFullPathNameW(bench.track.c_str(), MAX_PATH, item.wszFile, nullptr);
  item.pwszExt = PathFindExtensionW(item.wszFile);
  std::vector<SHCOLUMNID> visible;
  SHCOLUMNINFO info{};
  for (DWORD index = 4; columns->GetColumnInfo(index, &info) == S_OK; ++index) {
    visible.push_back(info.scid);
  }
  Candidate row{"a row of columns", [&] {
                  for (const SHCOLUMNID& column : visible) {
                    VARIANT value{};
                    columns->GetItemData(&column, &item, &value);
                    VariantClear(&value);
                  }
                }};
  Race({&row, 1}, bench.rounds);
  bench.rows.Print(
      {.name = std::to_string(visible.size()) + " columns of a file", .value = row.best / 1000});
}

// ---- Properties -------------------------------------------------------------------------------

struct Property {
  PROPERTYKEY key{};
  PROPVARIANT value{};
};

/// Calls `take` with each property and clears it afterwards.
template <typename Take>
void ReadProperties(IPropertyStore& store, Take take) {
  DWORD count = 0;
  store.GetCount(&count);
  for (DWORD i = 0; i < count; ++i) {
    Property property;
    store.GetAt(i, &property.key);
    store.GetValue(property.key, &property.value);
    take(property);
    PropVariantClear(&property.value);
  }
}

template <typename Take>
void RequestProperties(IStream& stream, Take take) {
  ComPointer<IInitializeWithStream> handler;
  ComPointer<IPropertyStore> store;
  Rewind(stream);
  (new CMP3PropertyStore())->QueryInterface(__uuidof(IInitializeWithStream), handler.ReceiveVoid());
  handler->Initialize(&stream, STGM_READ);
  handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid());
  ReadProperties(*store, take);
}

/// What the system's part of a request takes: a store, the values put in and read again.
void UseMemoryStore(std::span<const Property> properties) {
  using CacheMaker = HRESULT(WINAPI*)(REFIID riid, void** cache);
  static const auto makeCache =
      FindFunction<CacheMaker>(LoadPropertySystem(), "PSCreateMemoryPropertyStore");
  ComPointer<IPropertyStoreCache> cache;
  makeCache(__uuidof(IPropertyStoreCache), cache.ReceiveVoid());
  for (const Property& property : properties) {
    cache->SetValueAndState(property.key, &property.value, PSC_NORMAL);
  }
  ReadProperties(*cache, [](const Property&) {});
}

void MeasureProperties(Bench& bench) {
  ComPointer<IStream> stream;
  OpenStream(bench.track, stream);
  std::vector<Property> properties;
  RequestProperties(*stream, [&](const Property& property) {
    Property& copy = properties.emplace_back();
    copy.key = property.key;
    PropVariantCopy(&copy.value, &property.value);
  });
  Candidate candidates[] = {
      {"opening and the system's store",
       [&] {
         ID3Tag tag;
         OpenTrack(*stream, kFieldOptions, tag);
         UseMemoryStore(properties);
       }},
      {"", [&] { RequestProperties(*stream, [](const Property&) {}); }},
  };
  Race(candidates, bench.rounds);
  PrintBeyond(bench, std::to_string(properties.size()) + " properties", candidates);
  for (Property& property : properties) {
    PropVariantClear(&property.value);
  }
}

// ---- Thumbnail --------------------------------------------------------------------------------

/// The bitmap of a fresh handler; the caller's, to be deleted.
HBITMAP RequestThumbnail(IStream& stream) {
  ComPointer<IInitializeWithStream> handler;
  ComPointer<IThumbnailProvider> provider;
  Rewind(stream);
  (new CMP3ThumbProvider())->QueryInterface(__uuidof(IInitializeWithStream), handler.ReceiveVoid());
  handler->Initialize(&stream, STGM_READ);
  handler->QueryInterface(__uuidof(IThumbnailProvider), provider.ReceiveVoid());
  HBITMAP bitmap = nullptr;
  WTS_ALPHATYPE alpha = WTSAT_UNKNOWN;
  provider->GetThumbnail(256, &bitmap, &alpha);
  return bitmap;
}

/// Has GDI+ decode the picture that the stream holds.
void DecodeBarely(IStream& picture) {
  const GdiPlusUse use;
  const GdiPlusFunctions& gdiPlus = *GdiPlusUse::Start();
  GdiPlusBitmap bitmap;
  Rewind(picture);
  gdiPlus.GdipCreateBitmapFromStream(&picture, bitmap.Receive());
}

std::size_t PeakMemory() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  return counters.PeakWorkingSetSize;
}

/// To be called first: the peak is that of the process.
void MeasureThumbnail(Bench& bench) {
  ComPointer<IStream> stream;
  OpenStream(bench.track, stream);
  ID3Tag tag;
  OpenTrack(*stream, kPictureOptions, tag);
  const TagPicture* picture = tag.GetPicture(0);
  if (picture == nullptr) {
    return;
  }
  ComPointer<IStream> content;
  *content.Receive() = SHCreateMemStream(reinterpret_cast<const BYTE*>(picture->data.data()),
                                         static_cast<UINT>(picture->data.size()));
  DecodeBarely(*content);
  const std::size_t before = PeakMemory();
  const HBITMAP bitmap = RequestThumbnail(*stream);
  const std::size_t peak = PeakMemory() - before;
  DIBSECTION section{};
  GetObjectW(bitmap, sizeof(section), &section);
  DeleteObject(bitmap);
  const double size = section.dsBmih.biSizeImage;
  Candidate candidates[] = {
      {"GDI+ alone", [&] { DecodeBarely(*content); }},
      {"", [&] { DeleteObject(RequestThumbnail(*stream)); }},
  };
  Race(candidates, bench.rounds);
  PrintBeyond(bench,
              "thumbnail of " + std::to_string(section.dsBm.bmWidth) + " x " +
                  std::to_string(section.dsBm.bmHeight),
              candidates);
  bench.rows.Print({.name = "thumbnail, peak of memory beyond GDI+ alone",
                    .value = static_cast<double>(peak) / 1e6,
                    .unit = "MB",
                    .floor = size / 1e6});
}

// ---- The module -------------------------------------------------------------------------------

void MeasureModule(Bench& bench) {
  const std::wstring module = ProgramFolder() + L"tsshell.dll";
  const auto load = [](const std::wstring& path) { FreeLibrary(LoadLibraryW(path.c_str())); };
  const std::wstring empty = ProgramFolder() + L"libbench_empty.dll";
  Candidate candidates[] = {
      {"an empty module", [&] { load(empty); }},
      {"", [&] { load(module); }},
  };
  Race(candidates, bench.rounds);
  PrintBeyond(bench, "loading and unloading", candidates);
  bench.rows.Print({.name = "size of tsshell.dll",
                    .value = static_cast<double>(std::filesystem::file_size(module)),
                    .unit = "B"});
}

int Run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    std::fprintf(stderr, "usage: bench_handlers FILE [ROUNDS [JSON-FILE]]\n");
    return 2;
  }
  ConfigureLog(kLogWarning, std::fopen(NullDevice(), "w"), nullptr, false, LogLetters::kNone);
  CoInitialize(nullptr);
  UsePropertySystemDouble();
  Bench bench{.track = WidenUtf8(arguments[0]),
              .rounds = arguments.size() > 1 ? std::stoi(arguments[1]) : 30,
              .rows = RowPrinter(arguments.size() > 2 ? arguments[2].c_str() : nullptr)};
  RowPrinter::Heading("Handlers");
  MeasureThumbnail(bench);
  MeasureProperties(bench);
  MeasureColumns(bench);
  MeasureModule(bench);
  CoUninitialize();
  return 0;
}

}  // namespace
}  // namespace tagsmith::bench

int main(int argc, char** argv) {
  return tagsmith::bench::Run(tagsmith::ProgramArguments(argc, argv));
}
