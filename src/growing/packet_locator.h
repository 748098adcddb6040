#pragma once

#include <cstdint>
#include <memory>

#include "base/status.h"
#include "contracts/av_handles.h"
#include "growing/index.h"
#include "output/output.h"

namespace xv {

// Finds where a muxer puts each packet in its file and gives it a record. There are
// two ways: hook_locator.h stands in the muxer's place, table_locator.h looks at the written bytes
// alone. One caller at a time (the output's lock).
class PacketLocator : public PacketWriter {
 public:
  // After the header has been written, ahead of the first packet. `context` writes to `sink`, and
  // both outlive Remove. `lowLevel`: positions are those of the packets' own write calls, where the
  // muxer writes packets as they are. E_NOTIMPL where this way is closed.
  virtual Status Install(AVFormatContext& context, FileSink& sink, bool lowLevel) = 0;
  virtual void Remove() = 0;
};

// The hooks where this build of FFmpeg has them, else the table.
std::unique_ptr<PacketLocator> MakePacketLocator(RecordFile& records);

// What both ways put into a record before they know where its bytes lie: pictures count their
// distance from the last key picture.
class RecordBuilder {
 public:
  // `number`: of the packet in its stream, from 0. Packets of a stream come in its order.
  IndexRecord Start(const AVPacket& packet, std::int64_t number, bool isVideo);

 private:
  std::int64_t lastKeyFrame_ = 0;
};

inline bool IsVideoPacket(const AVFormatContext& context, const AVPacket& packet) {
  return context.streams[packet.stream_index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
}

// ISO/IEC 14496-15 5.3.4.2.1: a NAL unit that a muxer writes by itself stands behind its length.
inline constexpr std::int64_t kNalLengthBytes = 4;

}  // namespace xv
