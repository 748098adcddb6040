#include "component/own_classes.h"

#include "base/auto_obj_base.h"
#include "base/guard.h"
#include "codec/ffmpeg.h"
#include "component/encoder_component.h"
#include "component/ffmpeg_encoder.h"
#include "component/ffmpeg_muxer.h"
#include "component/muxer_component.h"

namespace xv {
namespace {

// Objects of class T; none of these can be part of an aggregate.
template <class T>
class ComponentFactory final : public AutoObjBase<ComponentFactory<T>, IClassFactory> {
 public:
  HRESULT CreateInstance(IUnknown* outer, const Guid& iid, void** out) noexcept override {
    return Guarded([&]() -> Status {
      if (out == nullptr) return E_POINTER;
      *out = nullptr;
      if (outer != nullptr) return CLASS_E_NOAGGREGATION;
      StartFFmpeg();
      return MakeRef<T>()->QueryInterface(iid, out);
    });
  }
  HRESULT LockServer(bool lock) noexcept override {
    LiveObjectCount().fetch_add(lock ? 1 : -1);
    return S_OK;
  }
};

}  // namespace

Status OwnComponentFactory(const Guid& classId, Ref<IClassFactory>* factory) {
  if (classId == CLSID_CoXfEncoder) {
    *factory = MakeRef<ComponentFactory<CCoXfEncoder>>();
  } else if (classId == CLSID_CoXfMuxer) {
    *factory = MakeRef<ComponentFactory<CCoXfMuxer>>();
  } else if (classId == CLSID_CoXfEncoderFFM) {
    *factory = MakeRef<ComponentFactory<CCoXfEncoderFFM>>();
  } else if (classId == CLSID_CoXfMuxerFFM) {
    *factory = MakeRef<ComponentFactory<CCoXfMuxerFFM>>();
  } else {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  return S_OK;
}

}  // namespace xv
