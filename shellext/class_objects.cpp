#include "shellext/class_objects.h"

#include <memory>
#include <new>

#include "diag/fault_guard.h"
#include "handlers/column_provider.h"
#include "handlers/property_store.h"
#include "handlers/thumb_extractor.h"
#include "handlers/thumb_provider.h"
#include "shellext/base/settings.h"
#include "shellext/base/version_info.h"
#include "shellext/class_factory.h"

namespace tagsmith {
namespace {

template <typename Handler>
CShellExt* MakeHandler() {
  return new (std::nothrow) Handler();
}

CShellExt* MakeThumbnailHandler() {
  return IsNt6OrLater() ? MakeHandler<CMP3ThumbProvider>() : MakeHandler<CMP3ThumbExtractor>();
}

template <typename Factory>
IClassFactory* MakeFactory(CShellExt* handler, HandlerMaker makeHandler) {
  return new (std::nothrow) Factory(Module().instance, handler, makeHandler);
}

/// A class that the module serves.
struct ServedClass {
  const CLSID& clsid;
  const wchar_t* setting;
  HandlerMaker makeHandler;
  IClassFactory* (*makeFactory)(CShellExt* handler, HandlerMaker makeHandler);
};
constexpr ServedClass kServedClasses[] = {
    {kPropertyHandlerClsid, kPropertySetting, MakeHandler<CMP3PropertyStore>,
     MakeFactory<CShellClassProviderFactory>},
    {kThumbnailHandlerClsid, kThumbnailSetting, MakeThumbnailHandler,
     MakeFactory<CShellClassFactory>},
    {kColumnHandlerClsid, kColumnSetting, MakeHandler<CMP3ColumnProvider>,
     MakeFactory<CShellClassFactory>},
};

HRESULT MakeClassObject(const ServedClass& served, REFIID riid, void** object) {
  if (!IsOnForUser(served.setting)) {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  std::unique_ptr<CShellExt> handler(served.makeHandler());
  IClassFactory* factory = served.makeFactory(handler.get(), served.makeHandler);
  if (factory == nullptr) {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  (void)handler.release();
  // When this fails, factory and handler stay, and keep the module loaded.
  return factory->QueryInterface(riid, object);
}

}  // namespace

HRESULT GetClassObject(REFCLSID rclsid, REFIID riid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = nullptr;
  return Guarded("Failed to get the class object", CLASS_E_CLASSNOTAVAILABLE, [&] {
    for (const ServedClass& served : kServedClasses) {
      if (served.clsid == rclsid) {
        return MakeClassObject(served, riid, object);
      }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
  });
}

}  // namespace tagsmith
