#include "handlers/gdi_plus.h"

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

}  // namespace

GdiPlusUse::GdiPlusUse() {
  Decoder& decoder = TheDecoder();
  const Lock lock(decoder.section);
  ++decoder.users;
}

GdiPlusUse::~GdiPlusUse() {
  Decoder& decoder = TheDecoder();
  const Lock lock(decoder.section);
  if (--decoder.users == 0) {
    if (decoder.token != 0) {
      decoder.functions.GdiplusShutdown(decoder.token);
      decoder.token = 0;
    }
    MemoryDc::EmptyCache();
  }
}

const GdiPlusFunctions* GdiPlusUse::Start() {
  Decoder& decoder = TheDecoder();
  const Lock lock(decoder.section);
  decoder.isLoaded = decoder.isLoaded || LoadFunctions(decoder.functions);
  if (!decoder.isLoaded) {
    return nullptr;
  }
  if (decoder.token == 0) {
    const Gdiplus::GdiplusStartupInput input;
    if (decoder.functions.GdiplusStartup(&decoder.token, &input, nullptr) != Gdiplus::Ok) {
      decoder.token = 0;
    }
  }
  return decoder.token != 0 ? &decoder.functions : nullptr;
}

}  // namespace tagsmith
