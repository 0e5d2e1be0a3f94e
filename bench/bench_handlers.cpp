// Measures the handlers under Windows or Wine: one row of columns of a file, and a thumbnail with
// its parts. bench_handlers FILE [ROUNDS]
#include <windows.h>

#include <shlobj.h>

#include <shlwapi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "diag/log.h"
#include "handlers/column_provider.h"
#include "handlers/com_stream_source.h"
#include "handlers/decoded_image.h"
#include "handlers/thumb_provider.h"
#include "tags/own/track_opening.h"
#include "tools/console.h"
#include "tools/shell_host.h"

namespace tagsmith {
namespace {

/// The median of `rounds` runs, in microseconds.
double Median(int rounds, const std::function<void()>& run) {
  std::vector<double> times;
  for (int i = 0; i < rounds; ++i) {
    const auto start = std::chrono::steady_clock::now();
    run();
    times.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
            .count());
  }
  std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
  return times[static_cast<std::size_t>(rounds / 2)];
}

void Print(const char* what, double microseconds) {
  std::printf("%-44s %10.1f us\n", what, microseconds);
}

void MeasureColumns(const std::wstring& path, int rounds) {
  ComPointer<IColumnProvider> columns;
  (new CMP3ColumnProvider())->QueryInterface(IID_IColumnProvider, columns.ReceiveVoid());
  SHCOLUMNDATA item{};
  GetFullPathNameW(path.c_str(), MAX_PATH, item.wszFile, nullptr);
  item.pwszExt = PathFindExtensionW(item.wszFile);
  std::vector<SHCOLUMNID> visible;
  SHCOLUMNINFO info{};
  for (DWORD index = 4; columns->GetColumnInfo(index, &info) == S_OK; ++index) {
    visible.push_back(info.scid);
  }
  int answered = 0;
  const double row = Median(rounds, [&] {
    answered = 0;
    for (const SHCOLUMNID& column : visible) {
      VARIANT value{};
      answered += columns->GetItemData(&column, &item, &value) == S_OK ? 1 : 0;
      VariantClear(&value);
    }
  });
  std::printf("%zu columns, %d with a value\n", visible.size(), answered);
  Print("a row of columns", row);
  Print("a column", row / static_cast<double>(visible.size()));
}

ComPointer<IStream>& OpenFile(const std::wstring& path, ComPointer<IStream>& stream) {
  OpenStream(path, stream);
  return stream;
}

void MeasureThumbnail(const std::wstring& path, int rounds) {
  Print("a thumbnail: fresh handler to bitmap", Median(rounds, [&] {
          ComPointer<IStream> stream;
          ComPointer<IInitializeWithStream> handler;
          ComPointer<IThumbnailProvider> provider;
          (new CMP3ThumbProvider())
              ->QueryInterface(__uuidof(IInitializeWithStream), handler.ReceiveVoid());
          handler->Initialize(OpenFile(path, stream).Get(), STGM_READ);
          handler->QueryInterface(__uuidof(IThumbnailProvider), provider.ReceiveVoid());
          HBITMAP bitmap = nullptr;
          WTS_ALPHATYPE alpha = WTSAT_UNKNOWN;
          provider->GetThumbnail(256, &bitmap, &alpha);
          DeleteObject(bitmap);
        }));
  ID3Tag tag;
  Print("  opening the track", Median(rounds, [&] {
          ComPointer<IStream> stream;
          ComStreamSource source(*OpenFile(path, stream));
          OpenTrackFromStream(&source, &tag);
        }));
  const TagPicture* picture = tag.GetPicture(0);
  if (picture == nullptr) {
    std::printf("no picture\n");
    return;
  }
  ComPointer<IStream> content;
  *content.Receive() = SHCreateMemStream(reinterpret_cast<const BYTE*>(picture->data.data()),
                                         static_cast<UINT>(picture->data.size()));
  const auto decode = [&](DecodedImage& image) {
    content->Seek({}, STREAM_SEEK_SET, nullptr);
    image.Load(*content);
  };
  Print("  starting GDI+ and decoding", Median(rounds, [&] {
          DecodedImage image;
          decode(image);
        }));
  DecodedImage image;
  Print("  decoding", Median(rounds, [&] { decode(image); }));
  Print("  copying the bitmap", Median(rounds, [&] { DeleteObject(image.Copy()); }));
  std::printf("%zu bytes, %d x %d pixels, %d bits per pixel\n", picture->data.size(),
              image.Section().Width(), image.Section().Height(), image.Section().BitsPerPixel());
}

int Run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    std::fprintf(stderr, "usage: bench_handlers FILE [ROUNDS]\n");
    return 2;
  }
  ConfigureLog(kLogWarning, std::fopen(NullDevice(), "w"), nullptr, false, LogLetters::kNone);
  CoInitialize(nullptr);
  const std::wstring path = WidenUtf8(arguments[0]);
  const int rounds = arguments.size() > 1 ? std::stoi(arguments[1]) : 100;
  MeasureColumns(path, rounds);
  MeasureThumbnail(path, rounds);
  CoUninitialize();
  return 0;
}

}  // namespace
}  // namespace tagsmith

int main(int argc, char** argv) { return tagsmith::Run(tagsmith::ProgramArguments(argc, argv)); }
