#pragma once

#include <memory>

#include "xvrecord/input.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace xvrecord {

// A stream of the input as the records of packets have it.
std::shared_ptr<const xv::host::PacketStream> DescribePackets(AVFormatContext& input,
                                                              AVStream& stream);

// The packet with its stamps; it keeps a reference to the memory.
xv::host::EncodedData EncodedDataOf(const AVPacket& packet);

}  // namespace xvrecord
