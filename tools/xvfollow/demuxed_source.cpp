#include <cstring>
#include <map>

#include "ffm/growing_index.h"
#include "xvfollow/recording.h"

namespace xvfollow {
namespace {

class DemuxedSource : public PacketSource {
 public:
  explicit DemuxedSource(const std::string& recording) : input_(OpenInput(recording)) {
    if (!input_) {
      throw FollowError("Nothing in " + recording +
                        " can be read: it is no recording, or it was "
                        "cut off and its index and header file are missing.");
    }
    // A transport stream does not tell how long a picture is: where the file is cut off, the last
    // one would come out torn. Whatever has a record is complete.
    if (std::strcmp(input_->iformat->name, "mpegts") == 0) CountRecords(recording);
  }

  const AVFormatContext& Streams() const override { return *input_; }

  bool Next(AVPacket& packet) override {
    for (;;) {
      av_packet_unref(&packet);
      if (av_read_frame(input_.get(), &packet) < 0) return false;
      if ((packet.flags & AV_PKT_FLAG_CORRUPT) == 0 && IsComplete(packet)) return true;
    }
  }

 private:
  void CountRecords(const std::string& recording) {
    xv::IndexReader index;
    counted_ = !index.Open(xv::IndexPath(recording)).Failed();
    xv::IndexRecord record;
    while (counted_ && index.Next(&record) == xv::Status(xv::S_OK)) ++records_[record.stream];
  }

  bool IsComplete(const AVPacket& packet) {
    const AVStream& stream = *input_->streams[packet.stream_index];
    if (!counted_ || stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO) return true;
    return ++taken_[packet.stream_index] <= records_[packet.stream_index];
  }

  Input input_;
  bool counted_ = false;
  std::map<int, std::int64_t> records_;
  std::map<int, std::int64_t> taken_;
};

}  // namespace

std::unique_ptr<PacketSource> OpenDemuxed(const std::string& recording) {
  return std::make_unique<DemuxedSource>(recording);
}

}  // namespace xvfollow
