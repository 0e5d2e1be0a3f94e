#include "tools/thumbnail_report.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <propsys.h>
#include <thumbcache.h>

#include <gdiplus.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "platform/windows_handles.h"
#include "shellext/base/handler_ids.h"
#include "tools/report_text.h"

namespace tagsmith {
namespace {

std::string_view AlphaName(WTS_ALPHATYPE type) {
  switch (type) {
    case WTSAT_RGB:
      return "rgb";
    case WTSAT_ARGB:
      return "argb";
    default:
      return "unknown";
  }
}

struct BitmapAnswer {
  HRESULT result = E_FAIL;
  BitmapHandle bitmap;
  WTS_ALPHATYPE alpha = WTSAT_UNKNOWN;
};

constexpr UINT kThumbnailSize = 256;

HRESULT AskProvider(IInitializeWithStream& handler, IStream* stream, BitmapAnswer& answer) {
  const HRESULT result = handler.Initialize(stream, STGM_READ);
  ComPointer<IThumbnailProvider> provider;
  if (SUCCEEDED(result) &&
      SUCCEEDED(handler.QueryInterface(__uuidof(IThumbnailProvider), provider.ReceiveVoid()))) {
    answer.result = provider->GetThumbnail(kThumbnailSize, answer.bitmap.Receive(), &answer.alpha);
  }
  return result;
}

HRESULT AskExtractor(IPersistFile& handler, const std::wstring& path, BitmapAnswer& answer) {
  const HRESULT result = handler.Load(path.c_str(), STGM_READ);
  ComPointer<IExtractImage> extractor;
  if (SUCCEEDED(result) &&
      SUCCEEDED(handler.QueryInterface(__uuidof(IExtractImage), extractor.ReceiveVoid()))) {
    std::array<wchar_t, MAX_PATH> location{};
    DWORD priority = 0;
    DWORD flags = 0;
    const SIZE size = {kThumbnailSize, kThumbnailSize};
    extractor->GetLocation(location.data(), static_cast<DWORD>(location.size()), &priority, &size,
                           32, &flags);
    answer.result = extractor->Extract(answer.bitmap.Receive());
  }
  return result;
}

}  // namespace

std::optional<Pixels> ReadPixels(HBITMAP bitmap, WTS_ALPHATYPE alpha) {
  BITMAP shape{};
  if (GetObjectW(bitmap, sizeof(shape), &shape) == 0) {
    return std::nullopt;
  }
  Pixels pixels{.width = shape.bmWidth,
                .height = shape.bmHeight,
                .bitsPerPixel = shape.bmBitsPixel,
                .bytes = {}};
  try {
    pixels.bytes.resize(std::size_t{4} * static_cast<std::size_t>(pixels.width) *
                        static_cast<std::size_t>(pixels.height));
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = pixels.width;
  info.bmiHeader.biHeight = -pixels.height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  const Handle<HDC, DeleteDC> context(CreateCompatibleDC(nullptr));
  const int rows = GetDIBits(context.Get(), bitmap, 0, static_cast<UINT>(pixels.height),
                             pixels.bytes.data(), &info, DIB_RGB_COLORS);
  if (rows != pixels.height) {
    return std::nullopt;
  }
  const bool hasAlpha = pixels.bitsPerPixel == 32 && alpha == WTSAT_ARGB;
  for (std::size_t i = 3; !hasAlpha && i < pixels.bytes.size(); i += 4) {
    pixels.bytes[i] = std::byte{255};
  }
  return pixels;
}

ThumbnailReport AskThumbnailHandler(const HandlerSource& handlers, const std::string& file) {
  ThumbnailReport report;
  const std::wstring path = WidenUtf8(file);
  BitmapAnswer answer;
  ComPointer<IInitializeWithStream> provider;
  report.initialize = handlers.Create(kThumbnailHandlerClsid, __uuidof(IInitializeWithStream),
                                      provider.ReceiveVoid());
  if (SUCCEEDED(report.initialize)) {
    ComPointer<IStream> stream;
    report.initialize = OpenStream(path, stream);
    if (SUCCEEDED(report.initialize)) {
      report.initialize = AskProvider(*provider, stream.Get(), answer);
    }
  } else if (report.initialize == E_NOINTERFACE) {
    ComPointer<IPersistFile> extractor;
    report.initialize =
        handlers.Create(kThumbnailHandlerClsid, IID_IPersistFile, extractor.ReceiveVoid());
    if (SUCCEEDED(report.initialize)) {
      report.initialize = AskExtractor(*extractor, path, answer);
    }
  }
  if (SUCCEEDED(report.initialize)) {
    report.result = answer.result;
  }
  if (answer.bitmap) {
    report.pixels = ReadPixels(answer.bitmap.Get(), answer.alpha);
    report.alpha = AlphaName(answer.alpha);
  }
  return report;
}

namespace {

/// The content of a file of the encoder's format; empty when that fails.
std::vector<std::byte> Encode(const Pixels& pixels, const CLSID& encoder,
                              const Gdiplus::EncoderParameters* parameters) {
  ULONG_PTR token = 0;
  const Gdiplus::GdiplusStartupInput input;
  Gdiplus::GdiplusStartup(&token, &input, nullptr);
  const AtEnd shutDown([&] { Gdiplus::GdiplusShutdown(token); });
  std::vector<std::byte> bytes = pixels.bytes;
  Gdiplus::Bitmap image(pixels.width, pixels.height, pixels.width * 4, PixelFormat32bppARGB,
                        reinterpret_cast<BYTE*>(bytes.data()));
  ComPointer<IStream> stream;
  *stream.Receive() = SHCreateMemStream(nullptr, 0);
  STATSTG status{};
  if (image.Save(stream.Get(), &encoder, parameters) != Gdiplus::Ok ||
      FAILED(stream->Stat(&status, STATFLAG_NONAME)) ||
      FAILED(stream->Seek({}, STREAM_SEEK_SET, nullptr))) {
    return {};
  }
  std::vector<std::byte> content(static_cast<std::size_t>(status.cbSize.QuadPart));
  ULONG count = 0;
  stream->Read(content.data(), static_cast<ULONG>(content.size()), &count);
  content.resize(count);
  return content;
}

}  // namespace

std::vector<std::byte> EncodePng(const Pixels& pixels) {
  constexpr CLSID kEncoder = {
      0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
  return Encode(pixels, kEncoder, nullptr);
}

std::vector<std::byte> EncodeJpeg(const Pixels& pixels) {
  constexpr CLSID kEncoder = {
      0x557CF401, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
  ULONG quality = 75;
  Gdiplus::EncoderParameters parameters{};
  parameters.Count = 1;
  parameters.Parameter[0] = {Gdiplus::EncoderQuality, 1, Gdiplus::EncoderParameterValueTypeLong,
                             &quality};
  return Encode(pixels, kEncoder, &parameters);
}

namespace {

bool HasOnlyAlpha(const Pixels& pixels, std::byte alpha) {
  for (std::size_t i = 3; i < pixels.bytes.size(); i += 4) {
    if (pixels.bytes[i] != alpha) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool IsOpaque(const Pixels& pixels) { return HasOnlyAlpha(pixels, std::byte{255}); }

bool LacksPicture(const ThumbnailReport& report) {
  return SUCCEEDED(report.initialize) &&
         (!report.pixels || HasOnlyAlpha(*report.pixels, std::byte{0}));
}

namespace {

/// Where the lines of a larger picture begin and end that make each one of a smaller picture.
std::vector<std::size_t> Edges(int from, int to) {
  std::vector<std::size_t> edges;
  for (std::int64_t i = 0; i <= to; ++i) {
    edges.push_back(static_cast<std::size_t>(i * from / to));
  }
  return edges;
}

}  // namespace

Pixels ScaledDown(const Pixels& pixels, int side) {
  const int longest = std::max(pixels.width, pixels.height);
  if (longest <= side) {
    return pixels;
  }
  const auto scaled = [&](int length) {
    return std::max(1, static_cast<int>(std::int64_t{length} * side / longest));
  };
  Pixels result{.width = scaled(pixels.width),
                .height = scaled(pixels.height),
                .bitsPerPixel = pixels.bitsPerPixel,
                .bytes = {}};
  result.bytes.resize(std::size_t{4} * static_cast<std::size_t>(result.width) *
                      static_cast<std::size_t>(result.height));
  const std::vector<std::size_t> rows = Edges(pixels.height, result.height);
  const std::vector<std::size_t> columns = Edges(pixels.width, result.width);
  const auto step = static_cast<std::size_t>(longest / side / 3) + 1;  // few are enough
  std::byte* target = result.bytes.data();
  for (std::size_t row = 0; row + 1 < rows.size(); ++row) {
    for (std::size_t column = 0; column + 1 < columns.size(); ++column) {
      std::array<std::uint32_t, 4> sums{};  // colours count by their alpha
      std::uint32_t count = 0;
      for (std::size_t y = rows[row]; y < rows[row + 1]; y += step) {
        const std::byte* line = &pixels.bytes[4 * y * static_cast<std::size_t>(pixels.width)];
        for (std::size_t x = columns[column]; x < columns[column + 1]; x += step) {
          const auto alpha = std::to_integer<std::uint32_t>(line[4 * x + 3]);
          for (std::size_t i = 0; i < 3; ++i) {
            sums[i] += alpha * std::to_integer<std::uint32_t>(line[4 * x + i]);
          }
          sums[3] += alpha;
          ++count;
        }
      }
      for (std::size_t i = 0; i < 3; ++i) {
        *target++ = static_cast<std::byte>(sums[3] == 0 ? 0 : sums[i] / sums[3]);
      }
      *target++ = static_cast<std::byte>(sums[3] / count);
    }
  }
  return result;
}

std::optional<std::string> WritePng(const Pixels& pixels, const std::string& folder,
                                    const std::string& track) {
  namespace fs = std::filesystem;
  const auto asPath = [](const std::string& text) {
    return fs::path(std::u8string(text.begin(), text.end()));
  };
  std::error_code error;
  fs::create_directories(asPath(folder), error);
  const fs::path stem = asPath(folder) / asPath(track).filename();
  fs::path path = stem;
  path += ".png";
  for (int number = 2; fs::exists(path, error); ++number) {
    path = stem;
    path += "-" + std::to_string(number) + ".png";
  }
  const std::vector<std::byte> png = EncodePng(pixels);
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
  if (png.empty() || !file.flush()) {
    return std::nullopt;
  }
  const std::u8string name = path.generic_u8string();
  return std::string(name.begin(), name.end());
}

void WriteJson(JsonWriter& json, const ThumbnailReport& report) {
  const auto ofPixels = [&](const char* key, auto read) {
    json.Member(key, report.pixels ? std::optional(read(*report.pixels)) : std::nullopt);
  };
  json.Object([&] {
    json.Member("initialize", HexResult(report.initialize));
    json.Member("hresult", report.result ? std::optional(HexResult(*report.result)) : std::nullopt);
    ofPixels("width", [](const Pixels& p) { return p.width; });
    ofPixels("height", [](const Pixels& p) { return p.height; });
    ofPixels("bitsPerPixel", [](const Pixels& p) { return p.bitsPerPixel; });
    json.Member("alpha", report.alpha);
    ofPixels("fnv1a64", [](const Pixels& p) { return HashText(p.bytes); });
    json.Member("png", report.png);
    json.Member("reason", report.reason);
  });
}

std::string ToText(const ThumbnailReport& report) {
  std::string line;
  if (report.pixels) {
    line += std::to_string(report.pixels->width) + " x " + std::to_string(report.pixels->height) +
            " pixels, " + std::to_string(report.pixels->bitsPerPixel) + " bits per pixel";
    if (report.png) {
      line += ", " + *report.png;
    }
  } else {
    line += ResultInWords(report.result.value_or(report.initialize));
  }
  line += report.reason ? ": " + *report.reason : "";
  return ReportLine(report.alpha ? "Bitmap" : "No bitmap", line);
}

}  // namespace tagsmith
