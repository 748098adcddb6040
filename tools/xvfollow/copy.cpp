#include <vector>

#include "codec/ffmpeg.h"
#include "xvfollow/recording.h"

namespace xvfollow {
namespace {

struct OutputCloser {
  void operator()(AVFormatContext* output) const {
    if (output->pb != nullptr) avio_closep(&output->pb);
    avformat_free_context(output);
  }
};
using Output = std::unique_ptr<AVFormatContext, OutputCloser>;

void Check(int result, const std::string& output) {
  if (result >= 0) return;
  throw FollowError("Cannot write " + output + ": " + xv::DescribeAvError(result) + ".");
}

// The tag tells kinds of one codec apart, such as hvc1 and hev1. One that the container does not
// know for this codec gives way to its own.
std::uint32_t TagFor(const AVOutputFormat& format, const AVCodecParameters& codec) {
  const bool known = av_codec_get_id(format.codec_tag, codec.codec_tag) == codec.codec_id;
  return known ? codec.codec_tag : 0;
}

void AddStream(AVFormatContext& output, const AVStream& from) {
  AVStream* to = avformat_new_stream(&output, nullptr);
  if (to == nullptr || avcodec_parameters_copy(to->codecpar, from.codecpar) < 0)
    throw std::bad_alloc();
  to->codecpar->codec_tag = TagFor(*output.oformat, *from.codecpar);
  to->time_base = from.time_base;
  to->avg_frame_rate = from.avg_frame_rate;
  to->sample_aspect_ratio = from.sample_aspect_ratio;
  av_dict_copy(&to->metadata, from.metadata, 0);
}

// The source's streams in the output, with their places there; -1 for what is no picture or sound.
Output OpenOutput(const AVFormatContext& source, const std::string& path,
                  std::vector<int>* places) {
  AVFormatContext* context = nullptr;
  Check(avformat_alloc_output_context2(&context, nullptr, nullptr, path.c_str()), path);
  Output output(context);
  for (unsigned i = 0; i < source.nb_streams; ++i) {
    const bool wanted = IsMedia(*source.streams[i]);
    places->push_back(wanted ? static_cast<int>(output->nb_streams) : -1);
    if (wanted) AddStream(*output, *source.streams[i]);
  }
  av_dict_copy(&output->metadata, source.metadata, 0);
  output->flags |= AVFMT_FLAG_FLUSH_PACKETS;
  Check(avio_open(&output->pb, path.c_str(), AVIO_FLAG_WRITE), path);
  Check(avformat_write_header(output.get(), nullptr), path);
  return output;
}

}  // namespace

CopyTotals CopyPackets(PacketSource& source, Growth& growth, const std::string& path) {
  std::vector<int> places;
  const Output output = OpenOutput(source.Streams(), path, &places);
  CopyTotals totals;
  totals.packetsOfStream.resize(places.size());
  const xv::AvPtr<AVPacket> packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  do {
    while (!FollowingStopped() && source.Next(*packet)) {
      growth.Progress();
      const auto from = static_cast<std::size_t>(packet->stream_index);
      if (from >= places.size() || places[from] < 0) continue;
      const AVRational base = source.Streams().streams[from]->time_base;
      packet->stream_index = places[from];
      packet->pos = -1;
      av_packet_rescale_ts(packet.get(), base, output->streams[places[from]]->time_base);
      ++totals.packets;
      ++totals.packetsOfStream[from];
      totals.bytes += packet->size;
      Check(av_interleaved_write_frame(output.get(), packet.get()), path);
    }
    avio_flush(output->pb);
  } while (growth.LookAgain());
  if (totals.packets == 0) throw FollowError("The recording has no complete packet yet.");
  Check(av_write_trailer(output.get()), path);
  Check(avio_closep(&output->pb), path);
  return totals;
}

}  // namespace xvfollow
