// The host's process: what the module takes from it comes back, and nothing weakens it.
#include <shlobj.h>

#include <thumbcache.h>

#include <algorithm>
#include <latch>
#include <regex>
#include <thread>

#include "platform/system_library.h"
#include "shellext/base/handler_ids.h"
#include "tests/shell/shell_environment.h"

namespace tagsmith::test {
namespace {

// ---- Requests ---------------------------------------------------------------------------------

struct SoakTrack {
  const wchar_t* name;
  std::string content;
};

std::string PictureTag(std::string_view mime, std::string_view picture) {
  return V2Tag(3, Frame(3, "TIT2", "\0Title"s) + PictureFrame(mime, picture));
}

/// The first is a small one with a picture; the last ones are hostile.
const std::vector<SoakTrack>& Tracks() {
  static const std::string tag =
      PictureTag("image/bmp", BmpPicture(2, 2, 32, "", std::string(16, 'p')));
  static const std::vector<SoakTrack> tracks = {
      {L"s.mp3", tag + MpegFrames(k128, 4)},
      {L"s.aif", Aiff("AIFF", CommChunk(2, 44100, 16) + Chunk("ID3 ", tag))},
      {L"s.mp3", MpegFrames(k128, 4) + V1Block("Title", 1, 2)},
      {L"s.mp3",
       PictureTag("image/bmp", BmpPicture(46'000, 46'000, 1, "", "")) + MpegFrames(k128, 4)},
      {L"s.mp3", "ID3\3\0\0\0\x3F\x7F\x7F"s + tag.substr(10)},
      {L"s.aif", Aiff("AIFF", CommChunk(2, 44100, 16) + "SSND\xFF\xFF\xFF\xF8" + "12345678")},
  };
  return tracks;
}

/// A stream whose calls number `trouble` and beyond end in a way that a host's may.
class TroubledStream : public TestStream {
 public:
  enum Kind { kError, kShort, kOverstated, kException, kForeignException, kKinds };
  TroubledStream(const SoakTrack& track, Kind kind, int trouble)
      : TestStream(track.content, track.name), kind_(kind), left_(trouble) {}

  STDMETHODIMP Read(void* data, ULONG wanted, ULONG* count) override {
    if (!IsDue()) {
      return TestStream::Read(data, wanted, count);
    }
    const HRESULT result = TestStream::Read(data, kind_ == kShort ? wanted / 2 : wanted, count);
    *count += kind_ == kOverstated ? 100'000 : 0;
    return kind_ == kError ? STG_E_READFAULT : result;
  }
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) override {
    return IsDue() && kind_ == kError ? STG_E_SEEKERROR : TestStream::Seek(move, origin, reached);
  }
  [[nodiscard]] bool WasCalledOften() const { return left_ < 0; }

 private:
  __attribute__((noinline)) bool IsDue() {
    if (--left_ >= 0) {
      return false;
    }
    if (kind_ == kException) {
      throw std::runtime_error("stream");
    }
    if (kind_ == kForeignException) {
      RaiseException(0xE06D7363, 0, 0, nullptr);
    }
    return true;
  }

  Kind kind_;
  int left_;
};

HRESULT AskForProperties(const LoadedModule& module, IStream& stream) {
  ComPointer<IInitializeWithStream> handler;
  ComPointer<IPropertyStore> store;
  DWORD count = 0;
  if (FAILED(module.Make(kPropertyHandlerClsid, handler).Initialize(&stream, STGM_READ)) ||
      FAILED(handler->QueryInterface(__uuidof(IPropertyStore), store.ReceiveVoid())) ||
      FAILED(store->GetCount(&count))) {
    return E_OUTOFMEMORY;
  }
  for (DWORD i = 0; i < count; ++i) {
    PROPERTYKEY key{};
    PROPVARIANT value{};
    EXPECT_EQ(store->GetAt(i, &key), S_OK);
    EXPECT_EQ(store->GetValue(key, &value), S_OK);
    PropVariantClear(&value);
  }
  return S_OK;
}

HRESULT AskForPicture(const LoadedModule& module, IStream& stream) {
  ComPointer<IInitializeWithStream> handler;
  ComPointer<IThumbnailProvider> provider;
  if (FAILED(module.Make(kThumbnailHandlerClsid, handler).Initialize(&stream, STGM_READ)) ||
      FAILED(handler->QueryInterface(__uuidof(IThumbnailProvider), provider.ReceiveVoid()))) {
    return E_OUTOFMEMORY;
  }
  HBITMAP bitmap = nullptr;
  WTS_ALPHATYPE alpha = WTSAT_UNKNOWN;
  const HRESULT result = provider->GetThumbnail(96, &bitmap, &alpha);
  EXPECT_EQ(bitmap != nullptr, result == S_OK);
  DeleteObject(bitmap);
  return result;
}

using Request = HRESULT (*)(const LoadedModule& module, IStream& stream);
constexpr Request kRequests[] = {AskForProperties, AskForPicture};

void AskAll(const LoadedModule& module, TroubledStream::Kind kind, int trouble,
            const SoakTrack& track = Tracks()[0]) {
  for (const Request request : kRequests) {
    TroubledStream stream(track, kind, trouble);
    request(module, stream);
  }
}

class HostProcess : public ::testing::Test {
 protected:
  HostProcess() {
    SwitchOn();
    SetSetting(HKEY_CURRENT_USER, L"Max log size", 0x7FFFFFFF);  // pruning moves a handle
  }
  ScratchSystem scratch;
};

/// Has the module contain exceptions on this thread and on `otherThreads`, all alive together.
void LoadAskAndUnload(int otherThreads) {
  const LoadedModule module;
  AskAll(module, TroubledStream::kException, 1);
  AskAll(module, TroubledStream::kError, 1000);
  std::latch asked(otherThreads);
  std::vector<std::jthread> threads;
  threads.reserve(static_cast<std::size_t>(otherThreads));
  for (int i = 0; i < otherThreads; ++i) {
    threads.emplace_back([&] {
      AskAll(module, TroubledStream::kException, 1);
      asked.arrive_and_wait();
    });
  }
}

TEST_F(HostProcess, GetsBackWhatALoadTook) {
  for (const int threads : {0, 10}) {
    LoadAskAndUnload(threads);
    const Belongings before;
    for (int load = 0; load < (threads == 0 ? 20 : 2); ++load) {
      LoadAskAndUnload(threads);
    }
    before.ExpectBack();
  }
}

// ---- Trouble ----------------------------------------------------------------------------------

TEST_F(HostProcess, LosesNothingToTroubledStreams) {
  const LoadedModule module;
  for (const DWORD reading : {DWORD{0}, DWORD{1}}) {
    SetSetting(HKEY_LOCAL_MACHINE, kStandardReadingSetting, reading);
    for (int kind = 0; kind < TroubledStream::kKinds; ++kind) {
      AskAll(module, static_cast<TroubledStream::Kind>(kind), 1);  // what is made once
    }
    for (int kind = 0; kind < TroubledStream::kKinds; ++kind) {
      for (const Request request : kRequests) {
        SCOPED_TRACE(kind);
        const Belongings before;
        bool isReached = true;
        for (int trouble = 0; isReached; ++trouble) {
          TroubledStream stream(Tracks()[0], static_cast<TroubledStream::Kind>(kind), trouble);
          request(module, stream);
          EXPECT_EQ(stream.references, 1U);
          isReached = stream.WasCalledOften();
        }
        before.ExpectBack();
      }
    }
  }
}

/// How many objects the threads make, initialise, read and release; more from the environment.
std::size_t SoakRounds() {
  const char* rounds = std::getenv("TAGSMITH_SOAK_ROUNDS");
  return rounds != nullptr ? std::stoul(rounds) : 320;
}

TEST_F(HostProcess, IsFlatUnderThreads) {
  static constexpr std::size_t kThreads = 8;
  const LoadedModule module;
  const auto soak = [&](std::size_t rounds) {
    std::vector<std::jthread> threads(kThreads);
    for (std::jthread& thread : threads) {
      thread = std::jthread([&module, rounds] {
        for (std::size_t i = 0; i < rounds / (kThreads * std::size(kRequests)); ++i) {
          AskAll(module, static_cast<TroubledStream::Kind>(i % TroubledStream::kKinds),
                 static_cast<int>(i % 25), Tracks()[i % Tracks().size()]);
        }
      });
    }
  };
  soak(400);
  const Belongings before;
  soak(SoakRounds());
  before.ExpectBack();
  std::cout << "before: " << before << "\nafter:  " << Belongings() << '\n';
}

// ---- The log ----------------------------------------------------------------------------------

TEST_F(HostProcess, KeepsARequestsLogShort) {
  const LoadedModule module;
  TestStream stream(V2Tag(3, Repeated(Frame(3, "QQQQ", "x"), 33'000)), L"s.mp3");
  AskForProperties(module, stream);
  const std::string log = scratch.Log();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2 + 1000 + 1);
  EXPECT_TRUE(std::regex_search(
      log, std::regex(R"(: \d+ further log lines of this request were dropped\n$)")));
}

}  // namespace
}  // namespace tagsmith::test
