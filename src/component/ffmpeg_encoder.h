#pragma once

#include <memory>
#include <mutex>

#include "component/object_with_props.h"
#include "component/stream_encoder.h"

namespace xv {

// Class CLSID_CoXfEncoderFFM: encodes with FFmpeg, on the caller's thread. Codecs have FFmpeg's
// names or those of vendors' encoders, for which an encoder of FFmpeg's stands in. Packets carry
// their headers, as streams want them, and tell them apart in the extra data, as files do.
class CCoXfEncoderFFM final : public ObjectWithProps<CCoXfEncoderFFM, IXfEncoder> {
 public:
  // XV_E_NOT_FOUND: no such encoder. XV_E_NOT_SUPPORTED: another kind, or "hw_only=true".
  HRESULT Init(eXfMediaType type, const char16_t* text) override;
  HRESULT Configure(IXfFrame* frame, const XV_AV_PROPS* props, const char16_t* text,
                    void* reserved) override;
  HRESULT Process(IXfPacket** packet, std::int32_t* remaining, std::int64_t timeout,
                  void* reserved) override;
  HRESULT Close() override;

 private:
  Status Open(const XV_AV_PROPS& props, const char16_t* text);

  std::mutex lock_;  // guards what follows, for a whole call; ahead of preparation and FFmpeg
  eXfMediaType type_ = eXfMT_Empty;
  XMLParse::XMLNodePtr options_;
  bool standsIn_ = false;
  std::unique_ptr<StreamEncoder> encoder_;
};

}  // namespace xv
