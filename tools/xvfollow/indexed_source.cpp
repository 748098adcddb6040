#include <algorithm>

#include "growing/index.h"
#include "xvfollow/nal_lengths.h"
#include "xvfollow/recording.h"
#include "xvfollow/recording_file.h"

namespace xvfollow {
namespace {

// No packet of a recording comes near this; a broken index must not take all memory.
constexpr std::uint32_t kMostPacketBytes = 1u << 30;

class IndexedSource : public PacketSource {
 public:
  IndexedSource(const std::string& recording, Input streams, const PacketTable& table, bool muxed)
      : media_(recording), streams_(std::move(streams)), muxed_(muxed) {
    const xv::Status opened =
        table.at > 0 ? index_.OpenRecords(table.path, table.at) : index_.Open(table.path);
    if (opened.Failed()) throw FollowError("The index of " + recording + " cannot be read.");
  }

  const AVFormatContext& Streams() const override { return *streams_; }

  bool Next(AVPacket& packet) override {
    for (;;) {
      if (!waiting_ && index_.Next(&record_) != xv::Status(xv::S_OK)) return false;
      waiting_ = false;
      if (record_.stream >= streams_->nb_streams || record_.size > kMostPacketBytes) {
        throw FollowError("The index and the header file do not belong together.");
      }
      if (record_.size == 0) continue;
      if (Read(packet)) return true;
      // The record came with a power cut ahead of its data; a growing file may still get them.
      waiting_ = true;
      return false;
    }
  }

 private:
  bool Read(AVPacket& packet) {
    av_packet_unref(&packet);
    std::int64_t extent = 0;
    if (media_.Size(&extent).Failed() || record_.position < 0 ||
        record_.position > extent - static_cast<std::int64_t>(record_.size)) {
      return false;
    }
    if (av_new_packet(&packet, static_cast<int>(record_.size)) < 0) throw std::bad_alloc();
    std::size_t got = 0;
    if (media_.ReadAt(record_.position, packet.data, record_.size, &got).Failed() ||
        got != record_.size) {
      return false;
    }
    packet.stream_index = record_.stream;
    packet.pts = record_.pts;
    packet.dts = record_.dts;
    packet.duration = record_.duration;
    packet.pos = record_.position;
    packet.flags = record_.key ? AV_PKT_FLAG_KEY : 0;
    const AVCodecParameters& codec = *streams_->streams[record_.stream]->codecpar;
    if (muxed_ && HasOwnStartCodes(codec)) RestoreStartCodes(packet.data, record_.size);
    return true;
  }

  RecordingFile media_;
  Input streams_;
  bool muxed_;
  xv::IndexReader index_;
  xv::IndexRecord record_;
  bool waiting_ = false;
};

}  // namespace

std::unique_ptr<PacketSource> OpenIndexed(const std::string& recording, Input streams,
                                          const PacketTable& table, bool muxed) {
  return std::make_unique<IndexedSource>(recording, std::move(streams), table, muxed);
}

}  // namespace xvfollow
