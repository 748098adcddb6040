#include <atomic>
#include <mutex>

#include "base/auto_obj_base.h"
#include "base/guard.h"
#include "base/ref.h"
#include "base/text.h"
#include "codec/ffmpeg.h"
#include "component/own_classes.h"
#include "server/registration.h"
#include "settings/class_factory.h"
#include "tree/node.h"
#include "writer/writer_ffm.h"
#include "xvwriter/registration.h"
#include "xvwriter/version.h"

// The module's entry points: class factories of the classes that live here.
namespace xv {
namespace {

std::atomic<int>& ServerLocks() {
  static std::atomic<int> locks{0};
  return locks;
}

// The factory of one class; holds no state.
class WriterFactory final : public AutoObjBase<WriterFactory, IClassFactory> {
 public:
  HRESULT CreateInstance(IUnknown* outer, const Guid& iid, void** out) noexcept override {
    return Guarded([&]() -> Status {
      if (out == nullptr) return E_POINTER;
      *out = nullptr;
      if (outer != nullptr && !(iid == IUnknown::kIid)) return CLASS_E_NOAGGREGATION;
      StartFFmpeg();
      return CCoXvWriterFFM_I::Create(outer)->QueryInterface(iid, out);
    });
  }
  HRESULT LockServer(bool lock) noexcept override {
    ServerLocks().fetch_add(lock ? 1 : -1);
    return S_OK;
  }
};

Status FactoryOf(const Guid& classId, Ref<IClassFactory>* factory) {
  if (!(classId == CLSID_CoXvWriterFFM_I)) return OwnComponentFactory(classId, factory);
  *factory = MakeRef<WriterFactory>();
  return S_OK;
}

}  // namespace
}  // namespace xv

extern "C" {

std::uint32_t XvVersionGet() { return XV_VERSION_NUMBER; }

xv::HRESULT XvNodeCreate(const char16_t* text, xv::IXvNode** out) {
  return xv::Guarded([&]() -> xv::Status {
    if (out == nullptr) return xv::E_POINTER;
    *out = nullptr;
    xv::XMLParse::XMLNodePtr node;
    RETURN_IF_FAILED(xv::XMLParse::NodeFromText("node", xv::Utf8FromUtf16(text), &node));
    *out = node.Detach();
    return xv::S_OK;
  });
}

xv::HRESULT DllGetClassObject(const xv::Guid& classId, const xv::Guid& iid, void** out) {
  return xv::Guarded([&]() -> xv::Status {
    if (out == nullptr) return xv::E_POINTER;
    *out = nullptr;
    xv::Ref<xv::IClassFactory> factory;
    RETURN_IF_FAILED(xv::FactoryOf(classId, &factory));
    return factory->QueryInterface(iid, out);
  });
}

xv::HRESULT DllCanUnloadNow() {
  const bool idle = xv::LiveObjectCount().load() == 0 && xv::ServerLocks().load() == 0;
  return idle ? xv::S_OK : xv::S_FALSE;
}

xv::HRESULT XvCreateInstance(const xv::Guid& classId, xv::IUnknown* outer, const xv::Guid& iid,
                             void** out) {
  return xv::Guarded([&]() -> xv::Status {
    if (out == nullptr) return xv::E_POINTER;
    *out = nullptr;
    xv::Ref<xv::IClassFactory> factory;
    if (xv::FactoryOf(classId, &factory).Failed()) {
      RETURN_IF_FAILED(xv::RegisteredFactoryOf(classId, &factory));
    }
    return factory->CreateInstance(outer, iid, out);
  });
}

xv::HRESULT DllRegisterServer() {
  return xv::Guarded([] { return xv::RegisterClasses(); });
}

xv::HRESULT DllUnregisterServer() {
  return xv::Guarded([] { return xv::UnregisterClasses(); });
}
}
