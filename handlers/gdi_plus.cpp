#include "handlers/gdi_plus.h"

#include <utility>

#include "diag/structured_guard.h"
#include "diag/system_library.h"
#include "handlers/memory_dc.h"

namespace tagsmith {
namespace {

/// A critical section of the module's own.
class Section {
 public:
  Section() { InitializeCriticalSection(&section_); }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;
  ~Section() { DeleteCriticalSection(&section_); }
  void Enter() { EnterCriticalSection(&section_); }
  void Leave() { LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_;
};

class Lock {
 public:
  explicit Lock(Section& section) : section_(section) { section_.Enter(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock() { section_.Leave(); }

 private:
  Section& section_;
};

struct Decoder {
  Section section;  // guards the rest
  int users = 0;
  ULONG_PTR token = 0;  // not 0: started
  bool isLoaded = false;
  GdiPlusFunctions functions{};  // all of them, once it is loaded
};

Decoder& TheDecoder() {
  static Decoder decoder;
  return decoder;
}

/// The library stays loaded, so that its functions are looked up once.
bool LoadFunctions(GdiPlusFunctions& functions) {
  const HMODULE library = LoadSystemLibrary(L"gdiplus.dll");
  bool hasAll = true;
#define TAGSMITH_FIND(scope, name)                                         \
  functions.name = FindFunction<decltype(functions.name)>(library, #name); \
  hasAll = hasAll && functions.name != nullptr;
  TAGSMITH_GDI_PLUS_FUNCTIONS(TAGSMITH_FIND)
#undef TAGSMITH_FIND
  return hasAll;
}

/// Runs `body` with the section held, and leaves it whatever becomes of the foreign code in it.
template <typename Body>
void WithDecoder(Body body) {
  struct Call {
    Body& body;
    Decoder& decoder;
  };
  Call call{body, TheDecoder()};
  const Lock lock(call.decoder.section);
  RunContained(
      [](void* context) {
        auto& inner = *static_cast<Call*>(context);
        inner.body(inner.decoder);
      },
      &call);
}

}  // namespace

GdiPlusUse::GdiPlusUse() {
  WithDecoder([](Decoder& decoder) { ++decoder.users; });
}

GdiPlusUse::~GdiPlusUse() {
  WithDecoder([](Decoder& decoder) {
    if (--decoder.users == 0) {
      MemoryDc::EmptyCache();
      if (const ULONG_PTR token = std::exchange(decoder.token, 0)) {
        decoder.functions.GdiplusShutdown(token);
      }
    }
  });
}

const GdiPlusFunctions* GdiPlusUse::Start() {
  const GdiPlusFunctions* started = nullptr;
  WithDecoder([&](Decoder& decoder) {
    decoder.isLoaded = decoder.isLoaded || LoadFunctions(decoder.functions);
    if (decoder.isLoaded && decoder.token == 0) {
      const Gdiplus::GdiplusStartupInput input;
      ULONG_PTR token = 0;
      if (decoder.functions.GdiplusStartup(&token, &input, nullptr) == Gdiplus::Ok) {
        decoder.token = token;
      }
    }
    started = decoder.token != 0 ? &decoder.functions : nullptr;
  });
  return started;
}

}  // namespace tagsmith
