#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/status.h"
#include "contracts/av_handles.h"
#include "xvwriter/component.h"

namespace xv {

// The description of a stream with the bytes of its extra data. Its members are fixed once others
// share it.
struct StreamRecord {
  XV_STREAM_INFO info{};  // pbExtra points into `extra`
  std::vector<std::uint8_t> extra;

  StreamRecord() = default;
  // A copy of a maker's record and of the bytes that it borrows.
  explicit StreamRecord(const XV_STREAM_INFO& source);
  StreamRecord(const StreamRecord&) = delete;
  StreamRecord& operator=(const StreamRecord&) = delete;

  void SetExtra(std::vector<std::uint8_t> bytes);
};

// Ticks of the records that this module makes: 100 ns.
inline constexpr AVRational kPacketTicks{1, static_cast<int>(kTimeUnitsPerSecond)};

// The time base of a record; 100 ns where it has none.
AVRational TimeBaseOf(const XV_STREAM_INFO& info);

// What FFmpeg says of an encoder's stream. `rate`: pictures a second, 0/1 for sound.
std::shared_ptr<StreamRecord> RecordOf(const AVCodecParameters& parameters, AVRational rate);

// The codec that a record's tag names; AV_CODEC_ID_NONE for none.
AVCodecID CodecOf(const XV_STREAM_INFO& info);

// A record as FFmpeg's parameters.
//   E_INVALIDARG   neither video nor sound, or a codec that FFmpeg does not know.
//   E_OUTOFMEMORY  no room for the extra data.
Status ParametersOf(const XV_STREAM_INFO& info, AVCodecParameters* parameters);

// The codec's containers want headers that its packets may carry instead.
bool CarriesHeaders(AVCodecID codec);
// The headers out of a packet, in the packet's own form; empty where it has none.
std::vector<std::uint8_t> HeadersIn(const AVPacket& packet, const AVCodecParameters& parameters);

}  // namespace xv
