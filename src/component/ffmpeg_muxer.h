#pragma once

#include <memory>
#include <mutex>

#include "component/object_with_props.h"
#include "component/packet_file.h"

namespace xv {

// Class CLSID_CoXfMuxerFFM: writes with FFmpeg, on the caller's thread. "mpeg_nablet" and
// "mpeg_nablet_udp" become what "muxer_profile" says.
class CCoXfMuxerFFM final : public ObjectWithProps<CCoXfMuxerFFM, IXfMuxer> {
 public:
  HRESULT Init(const char16_t* name, const char16_t* text) override;
  HRESULT AddStream(const XV_STREAM_INFO* info, std::int32_t* index, void* reserved) override;
  HRESULT GetStream(std::int32_t index, XV_STREAM_INFO* info, IUnknown** owner) override;
  HRESULT PutPacket(std::int32_t index, IXfPacket* packet, void* reserved) override;
  HRESULT Close() override;

 private:
  std::mutex lock_;  // guards file_, for a whole call; ahead of the output's
  std::unique_ptr<PacketFile> file_;
};

}  // namespace xv
