#include "tools/page_writer.h"

#include <wincrypt.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>

#include "format/bounded.h"
#include "platform/file_version.h"
#include "shellext/property_lists.h"
#include "tags/unicode.h"
#include "tools/page_text.h"
#include "tools/report_text.h"

namespace tagsmith {
namespace {

constexpr std::string_view kTracksBegin = "<!-- tracks -->\n";
constexpr std::string_view kTracksEnd = "<!-- end of tracks -->\n";
constexpr std::string_view kEndMark = R"(<script type="application/json" id="end">{}</script>)";

/// RFC 4648, 4.
std::string Base64(std::span<const std::byte> bytes) {
  constexpr DWORD kForm = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
  const auto* data = reinterpret_cast<const BYTE*>(bytes.data());
  const auto size = static_cast<DWORD>(bytes.size());
  DWORD length = 0;
  CryptBinaryToStringA(data, size, kForm, nullptr, &length);
  std::string text(length, '\0');
  CryptBinaryToStringA(data, size, kForm, text.data(), &length);
  text.resize(length);
  return text;
}

std::string Replaced(std::string text, std::string_view old, std::string_view by) {
  for (std::size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += by.size()) {
    text.replace(at, old.size(), by);
  }
  return text;
}

/// As the content of a script element, which no text may end.
std::string InScript(const JsonWriter& json) { return Replaced(json.Result(), "<", "\\u003c"); }

/// 122 random bits as letters and digits.
std::string Nonce() {
  GUID random{};
  CoCreateGuid(&random);
  return Base64(std::as_bytes(std::span(&random, 1)));
}

/// "tsshell.dll 1.26.43.0", of the module that answers.
std::string ModuleText() {
  constexpr const wchar_t* kModule = L"tsshell.dll";
  std::array<wchar_t, 1024> path{};
  const HMODULE module = GetModuleHandleW(kModule);
  if (module == nullptr ||
      GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()) - 1) == 0) {
    return "no handlers are registered";
  }
  return "tsshell.dll " + DottedText(ReadFileVersion(path.data()).value_or(FileVersion{}));
}

std::string AboutText(const HandlerSource& handlers, const char* reading) {
  const std::vector<std::wstring> titles = ColumnTitles(handlers);  // loads the module
  JsonWriter json;
  json.Object([&] {
    json.Member("module", ModuleText());
    json.Member("reading", reading);
    json.Member("columns", [&] {
      json.Array(titles, [&](const std::wstring& title) { json.Value(Utf16(title)); });
    });
    json.Member("lists", [&] {
      json.Object([&] {
        json.Member("aiff", [&] {
          json.Object([&] {
            for (const PropertyList& list : kPropertyLists) {
              json.Member(Utf8(list.name), Utf16(list.text));
            }
          });
        });
      });
    });
  });
  return InScript(json);
}

/// A data URI of at most about 20 KB: what is larger even at 256 pixels, twice what is shown, is
/// shown smaller.
std::string PictureUri(const Pixels& pixels) {
  constexpr std::size_t kMostBytes = 15'000;
  constexpr int kLargestSide = 256;
  constexpr int kSmallestSide = 48;
  for (int side = kLargestSide;; side = side * 3 / 4) {
    const Pixels scaled = ScaledDown(pixels, side);
    const bool isOpaque = IsOpaque(scaled);
    const auto bytes = isOpaque ? EncodeJpeg(scaled) : EncodePng(scaled);
    if (bytes.size() <= kMostBytes || side < kSmallestSide) {
      return std::string("data:image/") + (isOpaque ? "jpeg" : "png") + ";base64," + Base64(bytes);
    }
  }
}

/// "MP3 File": as the shell says it of types that nobody has given a name.
std::string ItemType(std::string_view name) {
  std::string type(name.substr(std::min(name.rfind('.'), name.size() - 1) + 1));
  std::transform(type.begin(), type.end(), type.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return type + " File";
}

void WriteAnswers(JsonWriter& json, const FileReport& report, const std::string& noPicture) {
  json.Object([&] {
    const auto write = [&](const char* name, const auto& answers, HRESULT result,
                           const std::string& more = "") {
      if (answers) {
        json.Member(name,
                    ResultInWords(FAILED(answers->initialize) ? answers->initialize : result) +
                        (more.empty() ? "" : ": " + more));
      }
    };
    write("properties", report.properties, S_OK);
    write("thumbnail", report.thumbnail,
          report.thumbnail ? report.thumbnail->result.value_or(E_FAIL) : S_OK, noPicture);
    write("columns", report.columns, S_OK);
  });
}

void WriteLog(JsonWriter& json, const CapturedLines& log) {
  json.Array(log.Lines(),
             [&](const CapturedLine* line) { json.Value(std::string_view(line->message)); });
}

/// The members that fillTrack in the page reads.
std::string TrackText(const FileReport& report, const OwnReading& reading) {
  const std::string_view file = report.file;
  const std::size_t slash = file.find_last_of("/\\");
  const std::string_view name = slash == std::string_view::npos ? file : file.substr(slash + 1);
  std::error_code error;
  const auto size = std::filesystem::file_size(WidenUtf8(report.file), error);
  JsonWriter json;
  json.Object([&] {
    json.Member("file", file);
    json.Member("name", name);
    json.Member("folder", slash == std::string_view::npos ? "" : file.substr(0, slash));
    json.Member("itemType", ItemType(name));
    json.Member("kind", ItemType(name).starts_with("AIF") ? "aiff" : "mp3");
    json.Member("size", error ? std::nullopt : std::optional(std::uint64_t{size}));
    json.Member("headline", reading.headline);
    json.Member("answers", [&] { WriteAnswers(json, report, reading.noPicture); });
    json.Member("streamLog", [&] { WriteLog(json, reading.streamLog); });
    json.Member("fileLog", [&] { WriteLog(json, reading.fileLog); });
    if (report.properties) {
      json.Member("properties", [&] {
        json.Object([&] {
          for (const PropertyItem& item : report.properties->items) {
            json.Member(NameOf(item.key), [&] { WriteJson(json, item.value.content); });
          }
        });
      });
    }
    if (report.columns) {
      json.Member("columns", [&] {
        json.Array(report.columns->items, [&](const ColumnItem& item) {
          SUCCEEDED(item.result) ? WriteJson(json, item.value.content)
                                 : json.Value(ResultInWords(item.result));
        });
      });
    }
    if (report.thumbnail && report.thumbnail->pixels) {
      json.Member("picture", PictureUri(*report.thumbnail->pixels));
    }
  });
  return InScript(json);
}

}  // namespace

PageWriter::PageWriter(const std::string& path, const HandlerSource& handlers, const char* reading)
    : file_(std::filesystem::path(WidenUtf8(path)), std::ios::binary) {
  constexpr std::string_view kAboutBegin = "id=\"about\">";
  std::string head(kPageText.substr(0, kPageText.find(kTracksBegin)));
  const std::size_t about = head.find(kAboutBegin) + kAboutBegin.size();
  head.replace(about, head.find("</script>", about) - about, AboutText(handlers, reading));
  const std::string nonce = Nonce();
  head = Replaced(std::move(head), "nonce=\"sample\"", "nonce=\"" + nonce + "\"");
  file_ << Replaced(std::move(head), "'nonce-sample'", "'nonce-" + nonce + "'") << std::flush;
}

void PageWriter::Add(const FileReport& report, const OwnReading& reading) {
  file_ << "<script type=\"application/json\" class=\"track\">" + TrackText(report, reading) +
               "</script>\n"
        << std::flush;
}

void PageWriter::Finish(bool isComplete) {
  std::string tail(kPageText.substr(kPageText.find(kTracksEnd) + kTracksEnd.size()));
  file_ << (isComplete ? tail : Replaced(std::move(tail), kEndMark, "")) << std::flush;
}

}  // namespace tagsmith
