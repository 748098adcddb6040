#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "contracts/av_handles.h"
#include "xvfollow/growth.h"

namespace xvfollow {

// A sentence for the user.
class FollowError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using Input = xv::AvInput;

// Where a recording's packets are written down.
struct PacketTable {
  std::string path;     // the index, or a recovery note
  std::int64_t at = 0;  // where its records begin; 0: behind the head of an index
};

// Null when FFmpeg cannot read the file, such as a mov file without its tables.
Input OpenInput(const std::string& path);

// The packets of a recording that are complete so far.
class PacketSource {
 public:
  virtual ~PacketSource() = default;
  // Shows the streams with their codec parameters and time bases.
  virtual const AVFormatContext& Streams() const = 0;
  // False when nothing more is complete; more may come later while the writer is at work.
  virtual bool Next(AVPacket& packet) = 0;
};

// Takes positions from `table` and codecs from `streams`. `muxed`: those tell what the muxer was
// given, not what it wrote. FollowError when the table or the recording cannot be read.
std::unique_ptr<PacketSource> OpenIndexed(const std::string& recording, Input streams,
                                          const PacketTable& table, bool muxed);
// Lets FFmpeg's demuxer find the packets: recordings that were closed, and containers that need no
// tables. Of a recording that is followed, the packets are waited for inside of Next.
std::unique_ptr<PacketSource> OpenDemuxed(const std::string& recording, Growth& growth);

bool IsGrowing(const std::string& recording);
// The way that suits the container. A header file that is not complete is waited for.
std::unique_ptr<PacketSource> OpenRecording(const std::string& recording, Growth& growth);

struct CopyTotals {
  std::int64_t packets = 0;
  std::int64_t bytes = 0;
  std::vector<std::int64_t> packetsOfStream;  // of each stream of the source
};
// Writes every packet of `source` into a file whose name tells the container. What is followed is
// in the file as soon as it is in the recording.
CopyTotals CopyPackets(PacketSource& source, Growth& growth, const std::string& output);

// Pictures or sound: what a copy takes over.
bool IsMedia(const AVStream& stream);
// "stream 1: audio aac".
std::string StreamName(const AVFormatContext& streams, std::size_t stream);

}  // namespace xvfollow
