#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "xvwriter/component.h"
#include "xvwriter/counted.hpp"
#include "xvwriter/host.hpp"

// Encoded packets for hosts: pictures that are passed on as they are ("video::codec=packets"), and
// packets of components of one's own. component.h has the interfaces.
namespace xv::host {

// What the packets of one stream share. It must not change once packets use it.
struct PacketStream {
  // `codec` by FFmpeg's name: "h264", "mpeg2video". The rest of `info` is the host's to fill in:
  // at least size and rate of pictures, and the time base of the stamps.
  PacketStream(eXfMediaType type, std::string_view codec);

  XV_STREAM_INFO info{};            // but for the extra data
  std::vector<std::uint8_t> extra;  // the codec's headers, as the source's container has them
};

// One encoded picture or block of sound.
struct EncodedData {
  const void* data = nullptr;
  std::size_t bytes = 0;
  std::shared_ptr<const void> keep;  // holds `data`, as FrameBuilder's owners do
  std::int64_t pts = kNoTime;        // ticks of the stream's time base
  std::int64_t dts = kNoTime;
  std::int32_t duration = 0;
  bool key = false;  // decoding may start here
};

// A packet. Empty on failure; `result` (may be null) gets
//   E_POINTER     no stream, or a size without memory.
//   E_INVALIDARG  more than 4 GiB.
[[nodiscard]] Ptr<IXfPacket> MakePacket(std::shared_ptr<const PacketStream> stream,
                                        EncodedData data, HRESULT* result = nullptr);

// The frame's picture, encoded. The frame needs valid video properties and a time, which is that of
// the picture; it needs no picture of its own. Frames come in the order of decoding. One packet
// belongs to one frame, which is put to one writer: its stamps are written.
//
// With "video::codec=packets" the packet goes into the file, and a put says what became of it:
//   S_OK                taken; or left out and counted: ahead of the first key packet (and the
//                       frame's sound with it, "quality::drops"), or too late, with a decoding
//                       stamp that is not behind the last one ("quality::drops" and
//                       "::pts_errors").
//   XV_E_NOT_SUPPORTED  another codec than the first packet's. The recording goes on.
//   E_INVALIDARG        no bytes, or a codec that FFmpeg does not know. The same.
// A packet without stamps gets the frame's time for both. Anywhere else the frame's picture is
// encoded and its packet is not looked at; a frame without a picture gives XV_E_NO_VALID_MEDIA.
[[nodiscard]] HRESULT AddPacket(const Ptr<IXvFrame>& frame, const Ptr<IXfPacket>& packet);
[[nodiscard]] HRESULT AddPacket(const Ptr<IXvFrame>& frame,
                                std::shared_ptr<const PacketStream> stream, EncodedData data);

}  // namespace xv::host

#include "xvwriter/detail/packet_object.hpp"
