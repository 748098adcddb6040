#pragma once

#include "component/component_object.h"

namespace xv {

// Class CLSID_CoXfEncoder: finds the encoder for a kind and a codec and forwards to it. Its
// properties stand under "xv-props", the options of the encoder in the node "encoder". Before Init,
// and after one that failed, calls give XV_E_FILE_HANDLE and Close S_FALSE.
class CCoXfEncoder final : public ComponentObject<CCoXfEncoder, IXfEncoder> {
 public:
  HRESULT Init(eXfMediaType type, const char16_t* text) override;
  HRESULT Configure(IXfFrame* frame, const XV_AV_PROPS* props, const char16_t* text,
                    void* reserved) override;
  HRESULT Process(IXfPacket** packet, std::int32_t* remaining, std::int64_t timeout,
                  void* reserved) override;
  HRESULT Close() override;
};

}  // namespace xv
