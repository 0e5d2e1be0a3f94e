#include "handlers/gdi_plus.h"

#include <mutex>
#include <utility>

#include "diag/structured_guard.h"
#include "handlers/gdi_plus_manifest.h"
#include "handlers/memory_dc.h"
#include "platform/critical_section.h"
#include "platform/system_library.h"
#include "shellext/base/module.h"

namespace tagsmith {
namespace {

struct Decoder {
  CriticalSection section;  // guards the rest
  int users = 0;
  ULONG_PTR token = 0;  // not 0: started
  bool isLoaded = false;
  GdiPlusFunctions functions{};  // all of them, once it is loaded
};

Decoder theDecoder;

/// The library stays loaded, so that its functions are looked up once.
bool LoadFunctions(GdiPlusFunctions& functions) {
  constexpr const wchar_t* kName = L"gdiplus.dll";
  HMODULE library = LoadSystemLibrary(kName);
  if (library == nullptr) {  // before Windows Vista
    library = LoadSideBySideLibrary(kName, Module().instance, TAGSMITH_GDI_PLUS_MANIFEST);
  }
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
  const std::lock_guard lock(theDecoder.section);
  auto call = [&] { body(theDecoder); };
  RunContained(call);
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

void DisposeOfBitmap(Gdiplus::GpBitmap* bitmap) { theDecoder.functions.GdipDisposeImage(bitmap); }

void DeleteGraphics(Gdiplus::GpGraphics* graphics) {
  theDecoder.functions.GdipDeleteGraphics(graphics);
}

}  // namespace tagsmith
