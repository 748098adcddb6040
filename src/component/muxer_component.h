#pragma once

#include "component/component_object.h"

namespace xv {

// Class CLSID_CoXfMuxer: finds the multiplexer for a format or a target's extension and forwards to
// it. Its properties stand under "xv-props", the session's attributes in the node "muxer". Before
// Init, and after one that failed, calls give XV_E_FILE_HANDLE and Close S_FALSE.
class CCoXfMuxer final : public ComponentObject<CCoXfMuxer, IXfMuxer> {
 public:
  HRESULT Init(const char16_t* name, const char16_t* text) override;
  HRESULT AddStream(const XV_STREAM_INFO* info, std::int32_t* index, void* reserved) override;
  HRESULT GetStream(std::int32_t index, XV_STREAM_INFO* info, IUnknown** owner) override;
  HRESULT PutPacket(std::int32_t index, IXfPacket* packet, void* reserved) override;
  HRESULT Close() override;
};

}  // namespace xv
