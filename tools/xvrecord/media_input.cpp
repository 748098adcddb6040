#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>
#include <optional>

#include "xvrecord/demuxer.h"
#include "xvrecord/input.h"
#include "xvrecord/layout.h"
#include "xvrecord/media_tags.h"
#include "xvrecord/packet_stream.h"
#include "xvrecord/sound_tracks.h"
#include "xvrecord/stream_choice.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/timecode.h>
}

namespace xvrecord {
namespace {

constexpr std::int64_t kUnits = xv::kTimeUnitsPerSecond;
constexpr double kAudioOnlyRate = 25.0;

struct Deleter {
  void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(AVFrame* p) const { av_frame_free(&p); }
};
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

// One decoded stream of the input.
struct Stream {
  AVStream* stream = nullptr;
  Owned<AVCodecContext> decoder;
  bool ended = false;
};

// One whose packets are given as they are.
Stream PassStream(AVFormatContext& input, int index) {
  Stream result;
  result.stream = input.streams[index];
  return result;
}

// Nothing where no decoder takes it.
Stream OpenStream(AVFormatContext& input, int index) {
  Stream result;
  AVStream* stream = input.streams[index];
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  if (codec == nullptr) return result;
  result.decoder.reset(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(result.decoder.get(), stream->codecpar);
  result.decoder->thread_count = 0;
  result.decoder->pkt_timebase = stream->time_base;
  if (avcodec_open2(result.decoder.get(), codec, nullptr) < 0) return {};
  result.stream = stream;
  return result;
}

class MediaInput final : public Input {
 public:
  MediaInput(const std::string& url, const MediaOptions& options)
      : options_(options), input_(url, options), packer_(options.layout) {
    OpenStreams(url);
    packet_.reset(av_packet_alloc());
    frame_.reset(av_frame_alloc());
    ReadRate();
    ReadTimecode();
    Seek();
  }

  double Duration() const override {
    const double all =
        input_->duration > 0 ? static_cast<double>(input_->duration) / AV_TIME_BASE : 0;
    return std::max(all - options_.start, 0.0);
  }
  std::string Trouble() const override { return trouble_; }

  // A time code that was not given is not made up.
  std::string Tags() const override {
    std::vector<const AVStream*> tracks;
    for (const Stream& stream : audio_) tracks.push_back(stream.stream);
    return MetadataAttributes(*input_, video_.stream, tracks) +
           (hasTimecode_ ? " start_timecode=auto" : " start_timecode=disabled");
  }
  std::string MatrixTag() const override {
    return video_.decoder ? MatrixAttribute(*video_.decoder, Layout()) : std::string();
  }
  std::string ColourTags() const override {
    return video_.decoder ? ColourAttributes(*video_.decoder, Layout()) : std::string();
  }

  bool Next(InputFrame* out) override {
    *out = {};
    if (packets_) return NextPacket(out);
    return video_.stream != nullptr ? NextPicture(out) : NextSound(out);
  }

 private:
  std::uint32_t Layout() const {
    const AVCodecContext& decoder = *video_.decoder;
    return options_.layout != 0 ? options_.layout : NearestLayout(decoder.pix_fmt, decoder.height);
  }

  void OpenStreams(const std::string& url) {
    std::vector<const AVCodecContext*> decoders;
    if (LeavesTracksOut(*input_, options_)) {
      trouble_ = "The container takes one track of sound; --map chooses among the input's.";
    }
    int channels = 0;
    for (const int index : ChooseStreams(*input_, options_)) {
      if (options_.packets && input_->streams[index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
        video_ = PassStream(*input_, index);
        packets_ = DescribePackets(*input_, *video_.stream);
        continue;
      }
      Stream stream = OpenStream(*input_, index);
      if (stream.stream == nullptr) {
        trouble_ = "Stream " + std::to_string(index) + " of the input cannot be decoded.";
      } else if (stream.decoder->codec_type == AVMEDIA_TYPE_VIDEO) {
        video_ = std::move(stream);
      } else if (channels + stream.decoder->ch_layout.nb_channels > SoundTracks::kMostChannels) {
        trouble_ = "Sound beyond 32 channels is left out.";
      } else {
        channels += stream.decoder->ch_layout.nb_channels;
        decoders.push_back(stream.decoder.get());
        audio_.push_back(std::move(stream));
      }
    }
    if (video_.stream == nullptr && audio_.empty()) {
      throw InputError(url + " has neither picture nor sound that can be decoded.");
    }
    if (options_.packets && !packets_) throw UsageError(url + " has no pictures for --packets.");
    if (!audio_.empty()) sound_ = std::make_unique<SoundTracks>(decoders);
  }

  // To the key frame ahead of the start; what lies between the two is decoded and left out, all
  // of it in an input that cannot be searched.
  void Seek() {
    if (options_.start <= 0) return;
    const auto start = static_cast<std::int64_t>(options_.start * AV_TIME_BASE) +
                       (input_->start_time != AV_NOPTS_VALUE ? input_->start_time : 0);
    cut_ = av_rescale(start, kUnits, AV_TIME_BASE);
    (void)av_seek_frame(&*input_, -1, start, AVSEEK_FLAG_BACKWARD);
  }

  void ReadRate() {
    if (video_.stream == nullptr) return;
    AVRational rate = av_guess_frame_rate(&*input_, video_.stream, nullptr);
    if (input_.AssumedRate()) {
      // Pictures are counted, their own stamps are not read.
      rate = *input_.AssumedRate();
      video_.stream->time_base = av_inv_q(rate);
    }
    rate_ = rate.num > 0 ? av_q2d(rate) : kAudioOnlyRate;
    rateRatio_ = rate.num > 0 ? rate : AVRational{25, 1};
  }

  void ReadTimecode() {
    const AVDictionaryEntry* entry = av_dict_get(input_->metadata, "timecode", nullptr, 0);
    if (entry == nullptr && video_.stream != nullptr) {
      entry = av_dict_get(video_.stream->metadata, "timecode", nullptr, 0);
    }
    if (entry == nullptr) return;
    hasTimecode_ = av_timecode_init_from_string(&timecode_, rateRatio_, entry->value, nullptr) >= 0;
  }

  // Decodes one more packet; false at the end of the input.
  bool Pump() {
    if (atEnd_) return false;
    const int result = av_read_frame(&*input_, packet_.get());
    if (result < 0) {
      atEnd_ = true;
      const bool told = result == AVERROR_EOF || result == AVERROR_EXIT;
      if (!told) trouble_ = "The input broke off: " + WordsOf(result) + ".";
    }
    DecodeOf(video_, result < 0);
    for (Stream& stream : audio_) DecodeOf(stream, result < 0);
    av_packet_unref(packet_.get());
    return true;
  }

  // The packet at hand where it is the stream's, or its end.
  void DecodeOf(Stream& stream, bool end) {
    if (stream.stream == nullptr || stream.ended) return;
    if (!stream.decoder) return KeepPacket(end);
    if (end) Decode(stream, nullptr);
    if (!end && packet_->stream_index == stream.stream->index) Decode(stream, packet_.get());
  }

  void Decode(Stream& stream, const AVPacket* packet) {
    stream.ended = packet == nullptr;
    if (avcodec_send_packet(stream.decoder.get(), packet) < 0 && packet != nullptr) {
      trouble_ = "A packet of the input could not be decoded.";
      return;
    }
    while (avcodec_receive_frame(stream.decoder.get(), frame_.get()) >= 0) {
      if (&stream == &video_) {
        TakePicture();
      } else {
        TakeSound(static_cast<std::size_t>(&stream - audio_.data()));
      }
      av_frame_unref(frame_.get());
    }
  }

  void KeepPacket(bool end) {
    video_.ended = end;
    if (end || packet_->stream_index != video_.stream->index || packet_->size <= 0) return;
    const std::int64_t stamp = packet_->pts != AV_NOPTS_VALUE ? packet_->pts : packet_->dts;
    const std::int64_t time = Units(stamp, video_.stream->time_base);
    if (cut_ && stamp != AV_NOPTS_VALUE && time < *cut_) return;
    if (!soundOrigin_) soundOrigin_ = time;
    waiting_.emplace_back(av_packet_clone(packet_.get()));
  }

  void TakePicture() {
    const std::int64_t stamp = frame_->best_effort_timestamp;
    const std::int64_t time = Units(stamp, video_.decoder->pkt_timebase);
    if (cut_ && stamp != AV_NOPTS_VALUE && time < *cut_) return;
    if (!soundOrigin_) soundOrigin_ = time;
    if (input_.AssumedRate()) {
      frame_->best_effort_timestamp = counted_++;
      frame_->pkt_duration = 1;
    }
    pictures_.emplace_back(av_frame_clone(frame_.get()));
  }

  void TakeSound(std::size_t track) {
    const std::int64_t time =
        Units(frame_->best_effort_timestamp, audio_[track].decoder->pkt_timebase);
    if (cut_ && time + kUnits < *cut_) return;
    // Sound ahead of the first picture waits until its place is known.
    if (video_.stream != nullptr && !origin_) {
      early_.emplace_back(track, av_frame_clone(frame_.get()));
      return;
    }
    if (!soundOrigin_) soundOrigin_ = cut_.value_or(time);
    AppendSound(track, *frame_);
  }

  void AppendSound(std::size_t track, const AVFrame& frame) {
    std::int64_t start = sound_->End(track);
    if (frame.best_effort_timestamp != AV_NOPTS_VALUE) {
      const AVRational base = audio_[track].decoder->pkt_timebase;
      start = av_rescale(Units(frame.best_effort_timestamp, base) - *soundOrigin_, sound_->Rate(),
                         kUnits);
    }
    sound_->Append(track, frame, start);
  }

  static std::int64_t Units(std::int64_t stamp, AVRational base) {
    return stamp == AV_NOPTS_VALUE ? 0 : av_rescale_q(stamp, base, {1, static_cast<int>(kUnits)});
  }

  void SetOrigin(std::int64_t stamp) {
    if (origin_) return;
    origin_ = Units(stamp, video_.stream->time_base);
    for (const auto& [track, frame] : early_) AppendSound(track, *frame);
    early_.clear();
    // Time codes go on from the start of the input.
    const std::int64_t left =
        cut_ ? *soundOrigin_ - Units(video_.stream->start_time, video_.stream->time_base) : 0;
    skipped_ = std::llround(static_cast<double>(left) * rate_ / kUnits);
  }

  bool NextPicture(InputFrame* out) {
    // One picture more than is given: the next one's start is this one's stop.
    while (pictures_.size() < 2 && Pump()) {
    }
    if (pictures_.empty()) return NextRest(out);
    const Owned<AVFrame> picture = std::move(pictures_.front());
    pictures_.pop_front();
    SetOrigin(picture->best_effort_timestamp);
    FillTime(*picture, out);
    picture->sample_aspect_ratio =
        av_guess_sample_aspect_ratio(&*input_, video_.stream, picture.get());
    packer_.Describe(*picture, &out->props.vid);
    out->props.vid.dblRate = rate_;
    out->video = packer_.Pack(*picture);
    if (const AVFrameSideData* data = av_frame_get_side_data(picture.get(), AV_FRAME_DATA_A53_CC)) {
      out->captions.assign(data->data, data->data + data->size);
    }
    ++count_;
    if (sound_) FillSound(out->time.rtStop, out);
    return true;
  }

  // In the order of decoding, each with the time at which its picture is shown.
  bool NextPacket(InputFrame* out) {
    while (waiting_.empty() && Pump()) {
    }
    if (waiting_.empty()) return NextRest(out);
    const Owned<AVPacket> packet = std::move(waiting_.front());
    waiting_.pop_front();
    const std::int64_t stamp = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    SetOrigin(stamp);
    const AVRational base = video_.stream->time_base;
    const auto step = static_cast<std::int64_t>(std::llround(kUnits / rate_));
    out->time.rtStart = stamp == AV_NOPTS_VALUE ? lastStop_ : Units(stamp, base) - *origin_;
    out->time.rtStop =
        out->time.rtStart + (packet->duration > 0 ? Units(packet->duration, base) : step);
    lastStop_ = std::max(lastStop_, out->time.rtStop);
    const xv::XV_STREAM_INFO& info = packets_->info;
    out->props.vid.fccColor = xv::kFccUYVY;
    out->props.vid.nWidth = info.nWidth;
    out->props.vid.nHeight = info.nHeight;
    out->props.vid.dblRate = rate_;
    out->packet = MakePacket(packets_, EncodedDataOf(*packet));
    ++count_;
    if (sound_) FillSound(lastStop_, out);
    return true;
  }

  // Of a picture that has a stamp, from the first one on.
  std::optional<std::int64_t> StartOf(const AVFrame& picture) const {
    if (picture.best_effort_timestamp == AV_NOPTS_VALUE) return std::nullopt;
    return Units(picture.best_effort_timestamp, video_.stream->time_base) - *origin_;
  }

  // A picture lasts until the next one, the last one as long as the container says. Streams whose
  // stamps may leap are not believed a pause of more than ten seconds.
  std::int64_t DurationOf(const AVFrame& picture, std::int64_t start) const {
    const auto step = static_cast<std::int64_t>(std::llround(kUnits / rate_));
    const bool leaps = (input_->iformat->flags & AVFMT_TS_DISCONT) != 0;
    const std::int64_t most = leaps ? 10 * kUnits : std::numeric_limits<std::int64_t>::max();
    std::int64_t duration = Units(picture.pkt_duration, video_.stream->time_base);
    if (!pictures_.empty()) duration = StartOf(*pictures_.front()).value_or(start) - start;
    return duration > 0 && duration <= most ? duration : step;
  }

  // `picture` has been taken out of the row of pictures.
  void FillTime(const AVFrame& picture, InputFrame* out) {
    const std::int64_t start = StartOf(picture).value_or(lastStop_);
    out->time.rtStart = start;
    out->time.rtStop = lastStop_ = start + DurationOf(picture, start);
    // A frame at time 0 is told from one without a time by its end alone.
    if (hasTimecode_) FillTimecode(out);
  }

  void FillTimecode(InputFrame* out) {
    char text[AV_TIMECODE_STR_SIZE] = {};
    av_timecode_make_string(&timecode_, text, static_cast<int>(skipped_ + count_));
    unsigned h = 0, m = 0, s = 0, f = 0;
    char mark = ':';
    if (std::sscanf(text, "%u:%u:%u%c%u", &h, &m, &s, &mark, &f) != 5) return;
    out->time.tcFrame = {h, m, s, f, mark == ';' ? xv::eXvTC_DropFrame : 0, 0};
  }

  // The sound up to `until`, as far as the input has it.
  void FillSound(std::int64_t until, InputFrame* out) {
    const std::int64_t wanted = av_rescale(until, sound_->Rate(), kUnits) - sound_->Taken();
    // A clip's sound may lie far behind its picture in the file: do not hold the whole picture
    // back.
    const auto ahead = [&] { return std::max(pictures_.size(), waiting_.size()); };
    for (int i = 0; sound_->Samples() < wanted && ahead() < 128 && Pump(); ++i) {
    }
    out->props.aud = sound_->Props();
    out->audio = sound_->Take(wanted, audioPool_);
  }

  // Sound behind the last picture.
  bool NextRest(InputFrame* out) { return count_ > 0 && sound_ && NextSound(out); }

  bool NextSound(InputFrame* out) {
    const auto wanted = static_cast<std::int64_t>(sound_->Rate() / kAudioOnlyRate);
    // Tracks may end ahead of others.
    const std::int64_t most = wanted + std::int64_t{10} * sound_->Rate();
    while (sound_->Samples() < wanted && sound_->Most() < most && Pump()) {
    }
    out->time.rtStart = av_rescale(sound_->Taken(), kUnits, sound_->Rate());
    out->props.aud = sound_->Props();
    out->audio = sound_->Take(wanted, audioPool_);
    out->time.rtStop = av_rescale(sound_->Taken(), kUnits, sound_->Rate());
    return out->audio.bytes > 0;
  }

  MediaOptions options_;
  Demuxer input_;
  Stream video_;
  std::vector<Stream> audio_;  // one each track
  Owned<AVPacket> packet_;
  Owned<AVFrame> frame_;
  LayoutPacker packer_;
  BlockPool audioPool_;
  std::unique_ptr<SoundTracks> sound_;
  std::deque<Owned<AVFrame>> pictures_;
  std::shared_ptr<const xv::host::PacketStream> packets_;  // null: pictures are decoded
  std::deque<Owned<AVPacket>> waiting_;
  std::vector<std::pair<std::size_t, Owned<AVFrame>>> early_;  // track, sound
  std::optional<std::int64_t> origin_;
  std::optional<std::int64_t> soundOrigin_;  // the same moment by the input's stamps
  std::optional<std::int64_t> cut_;          // what starts ahead of it is left out
  std::int64_t counted_ = 0;                 // pictures of an assumed rate
  std::int64_t skipped_ = 0;                 // pictures ahead of the first one
  double rate_ = kAudioOnlyRate;
  AVRational rateRatio_{25, 1};
  AVTimecode timecode_{};
  bool hasTimecode_ = false;
  std::int64_t lastStop_ = 0;
  std::int64_t count_ = 0;
  bool atEnd_ = false;
  std::string trouble_;
};

}  // namespace

std::unique_ptr<Input> OpenMedia(const std::string& url, const MediaOptions& options) {
  return std::make_unique<MediaInput>(url, options);
}

}  // namespace xvrecord
