#include <cstring>
#include <map>

#include "growing/index.h"
#include "xvfollow/recording.h"
#include "xvfollow/recording_file.h"

namespace xvfollow {
namespace {

constexpr int kBufferBytes = 1 << 16;

// The bytes of a recording, with those that are still to come: at the end of the file a read waits.
// It cannot be moved in, so that a demuxer does not look for tables at an end that is none.
class FollowedFile {
 public:
  FollowedFile(const std::string& recording, Growth& growth) : file_(recording), growth_(growth) {
    io_ = xv::MakeIoContext(kBufferBytes, this, &FollowedFile::Read, nullptr, nullptr);
    if (!io_) throw std::bad_alloc();
  }
  FollowedFile(const FollowedFile&) = delete;
  FollowedFile& operator=(const FollowedFile&) = delete;

  Input Open(const std::string& recording) {
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) throw std::bad_alloc();
    context->pb = io_.get();
    // Frees the context where it fails.
    if (avformat_open_input(&context, recording.c_str(), nullptr, nullptr) < 0) return nullptr;
    Input input(context);
    if (avformat_find_stream_info(context, nullptr) < 0) return nullptr;
    return input;
  }

 private:
  static int Read(void* opaque, std::uint8_t* into, int bytes) {
    auto& self = *static_cast<FollowedFile*>(opaque);
    std::size_t got = 0;
    do {
      if (self.file_.ReadAt(self.at_, into, static_cast<std::size_t>(bytes), &got).Failed())
        return AVERROR(EIO);
      if (got > 0) {
        self.at_ += static_cast<std::int64_t>(got);
        self.growth_.Progress();
        return static_cast<int>(got);
      }
    } while (self.growth_.LookAgain());
    return AVERROR_EOF;
  }

  RecordingFile file_;
  std::int64_t at_ = 0;
  Growth& growth_;
  xv::AvPtr<AVIOContext> io_;
};

class DemuxedSource : public PacketSource {
 public:
  DemuxedSource(const std::string& recording, Growth& growth) : recording_(recording) {
    if (growth.Follows() || RecordingFile(recording).HasMoved()) {
      file_ = std::make_unique<FollowedFile>(recording, growth);
      input_ = file_->Open(recording);
    } else {
      input_ = OpenInput(recording);
    }
    if (!input_) {
      throw FollowError("Nothing in " + recording +
                        " can be read: it is no recording, or it was "
                        "cut off and its index and header file are missing.");
    }
    // A transport stream does not tell how long a picture is: where the file is cut off, the last
    // one would come out torn. Whatever has a record is complete.
    if (std::strcmp(input_->iformat->name, "mpegts") == 0) {
      counted_ = !index_.Open(xv::IndexPath(recording)).Failed();
    }
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
  bool IsComplete(const AVPacket& packet) {
    const int stream = packet.stream_index;
    const AVCodecParameters& codec = *input_->streams[stream]->codecpar;
    if (!counted_ || codec.codec_type != AVMEDIA_TYPE_VIDEO) return true;
    xv::IndexRecord record;
    while (index_.Next(&record) == xv::Status(xv::S_OK)) ++records_[record.stream];
    return ++taken_[stream] <= records_[stream] || !IsGrowing(recording_);
  }

  std::string recording_;
  std::unique_ptr<FollowedFile> file_;  // outlives its demuxer
  Input input_;
  xv::IndexReader index_;
  bool counted_ = false;
  std::map<int, std::int64_t> records_;
  std::map<int, std::int64_t> taken_;
};

}  // namespace

std::unique_ptr<PacketSource> OpenDemuxed(const std::string& recording, Growth& growth) {
  return std::make_unique<DemuxedSource>(recording, growth);
}

}  // namespace xvfollow
