#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>
#include <optional>

#include "xvrecord/input.h"
#include "xvrecord/layout.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/timecode.h>
#include <libswresample/swresample.h>
}

namespace xvrecord {
namespace {

constexpr std::int64_t kUnits = xv::kTimeUnitsPerSecond;
constexpr double kAudioOnlyRate = 25.0;

struct Deleter {
  void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
  void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(AVFrame* p) const { av_frame_free(&p); }
  void operator()(SwrContext* p) const { swr_free(&p); }
};
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

std::string Words(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof(text));
  return text;
}

// One decoded stream of the input.
struct Stream {
  AVStream* stream = nullptr;
  Owned<AVCodecContext> decoder;
  bool ended = false;
};

Stream OpenStream(AVFormatContext& input, AVMediaType type) {
  Stream result;
  const AVCodec* codec = nullptr;
  const int index = av_find_best_stream(&input, type, -1, -1, &codec, 0);
  if (index < 0 || codec == nullptr) return result;
  result.decoder.reset(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(result.decoder.get(), input.streams[index]->codecpar);
  result.decoder->thread_count = 0;
  result.decoder->pkt_timebase = input.streams[index]->time_base;
  if (avcodec_open2(result.decoder.get(), codec, nullptr) < 0) return {};
  result.stream = input.streams[index];
  return result;
}

// Decoded sound as interleaved samples on the time line of the pictures.
class SoundQueue {
 public:
  explicit SoundQueue(const AVCodecContext& decoder) : rate_(decoder.sample_rate) {
    switch (av_get_packed_sample_fmt(decoder.sample_fmt)) {
      case AV_SAMPLE_FMT_S16:
      case AV_SAMPLE_FMT_U8:
        format_ = AV_SAMPLE_FMT_S16;
        bits_ = 16;
        break;
      case AV_SAMPLE_FMT_S32:
        format_ = AV_SAMPLE_FMT_S32;
        bits_ = 32;
        break;
      default:
        format_ = AV_SAMPLE_FMT_FLT;
        bits_ = -32;
    }
    av_channel_layout_copy(&layout_, &decoder.ch_layout);
    SwrContext* swr = nullptr;
    swr_alloc_set_opts2(&swr, &layout_, format_, rate_, &layout_, decoder.sample_fmt, rate_, 0,
                        nullptr);
    swr_.reset(swr);
    if (!swr_ || swr_init(swr_.get()) < 0)
      throw InputError("The input's sound cannot be converted.");
  }
  ~SoundQueue() { av_channel_layout_uninit(&layout_); }

  int SampleBytes() const { return layout_.nb_channels * (bits_ == 16 ? 2 : 4); }
  xv::XV_AUD_PROPS Props() const { return {layout_.nb_channels, rate_, bits_, 0}; }
  std::int64_t Samples() const { return static_cast<std::int64_t>(bytes_.size()) / SampleBytes(); }

  // `start`: time of the frame from the first picture on, in samples.
  void Append(const AVFrame& frame, std::int64_t start) {
    constexpr std::int64_t kTolerance = 25;  // a fortieth of a second
    std::int64_t skip = 0;
    const std::int64_t gap = start - end_;
    if (gap > rate_ / kTolerance) {
      bytes_.resize(bytes_.size() + static_cast<std::size_t>(gap * SampleBytes()));
      end_ = start;
    } else if (gap < 0 && end_ == 0) {
      skip = std::min<std::int64_t>(-gap, frame.nb_samples);
    }
    std::vector<std::uint8_t> out(
        static_cast<std::size_t>((frame.nb_samples + 64) * SampleBytes()));
    std::uint8_t* plane = out.data();
    const int got =
        swr_convert(swr_.get(), &plane, frame.nb_samples + 64,
                    const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    if (got <= skip) return;
    bytes_.insert(bytes_.end(), out.begin() + skip * SampleBytes(),
                  out.begin() + got * SampleBytes());
    end_ += got - skip;
  }
  std::int64_t End() const { return end_; }

  Block Take(std::int64_t samples, BlockPool& pool) {
    samples = std::min(samples, Samples());
    if (samples <= 0) return {};
    const auto bytes = static_cast<std::size_t>(samples * SampleBytes());
    const auto block = pool.Get(bytes);
    std::copy_n(bytes_.begin(), bytes, block->begin());
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(bytes));
    taken_ += samples;
    return {block, block->data(), block->size()};
  }
  std::int64_t Taken() const { return taken_; }
  int Rate() const { return rate_; }

 private:
  Owned<SwrContext> swr_;
  AVChannelLayout layout_{};
  AVSampleFormat format_ = AV_SAMPLE_FMT_S16;
  int bits_ = 16;
  int rate_;
  std::deque<std::uint8_t> bytes_;
  std::int64_t end_ = 0;  // samples from the first picture on
  std::int64_t taken_ = 0;
};

class MediaInput final : public Input {
 public:
  MediaInput(const std::string& url, std::uint32_t layout) : packer_(layout) {
    AVFormatContext* input = nullptr;
    const int result = avformat_open_input(&input, url.c_str(), nullptr, nullptr);
    input_.reset(input);
    if (result < 0) throw InputError("Cannot open " + url + ": " + Words(result) + ".");
    avformat_find_stream_info(input, nullptr);
    video_ = OpenStream(*input, AVMEDIA_TYPE_VIDEO);
    audio_ = OpenStream(*input, AVMEDIA_TYPE_AUDIO);
    if (video_.stream == nullptr && audio_.stream == nullptr) {
      throw InputError(url + " has neither picture nor sound that can be decoded.");
    }
    if (audio_.stream != nullptr) sound_ = std::make_unique<SoundQueue>(*audio_.decoder);
    packet_.reset(av_packet_alloc());
    frame_.reset(av_frame_alloc());
    ReadRate();
    ReadTimecode();
  }

  double Duration() const override {
    return input_->duration > 0 ? static_cast<double>(input_->duration) / AV_TIME_BASE : 0;
  }
  std::string Trouble() const override { return trouble_; }

  bool Next(InputFrame* out) override {
    *out = {};
    return video_.stream != nullptr ? NextPicture(out) : NextSound(out);
  }

 private:
  void ReadRate() {
    if (video_.stream == nullptr) return;
    const AVRational rate = av_guess_frame_rate(input_.get(), video_.stream, nullptr);
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
    const int result = av_read_frame(input_.get(), packet_.get());
    if (result < 0) {
      atEnd_ = true;
      if (result != AVERROR_EOF) trouble_ = "The input broke off: " + Words(result) + ".";
      Decode(video_, nullptr);
      Decode(audio_, nullptr);
      return true;
    }
    if (video_.stream != nullptr && packet_->stream_index == video_.stream->index)
      Decode(video_, packet_.get());
    if (audio_.stream != nullptr && packet_->stream_index == audio_.stream->index)
      Decode(audio_, packet_.get());
    av_packet_unref(packet_.get());
    return true;
  }

  void Decode(Stream& stream, const AVPacket* packet) {
    if (stream.stream == nullptr || stream.ended) return;
    stream.ended = packet == nullptr;
    if (avcodec_send_packet(stream.decoder.get(), packet) < 0 && packet != nullptr) {
      trouble_ = "A packet of the input could not be decoded.";
      return;
    }
    while (avcodec_receive_frame(stream.decoder.get(), frame_.get()) >= 0) {
      const std::int64_t stamp = frame_->best_effort_timestamp;
      if (&stream == &video_) {
        pictures_.emplace_back(av_frame_clone(frame_.get()));
      } else {
        TakeSound(stamp);
      }
      av_frame_unref(frame_.get());
    }
  }

  void TakeSound(std::int64_t stamp) {
    // Sound ahead of the first picture waits until its place is known.
    if (video_.stream != nullptr && !origin_) {
      early_.emplace_back(av_frame_clone(frame_.get()));
      return;
    }
    if (!origin_) origin_ = Units(stamp, audio_.stream->time_base);
    AppendSound(*frame_, stamp);
  }

  void AppendSound(const AVFrame& frame, std::int64_t stamp) {
    std::int64_t start = sound_->End();
    if (stamp != AV_NOPTS_VALUE) {
      start = av_rescale(Units(stamp, audio_.stream->time_base) - *origin_, sound_->Rate(), kUnits);
    }
    sound_->Append(frame, start);
  }

  static std::int64_t Units(std::int64_t stamp, AVRational base) {
    return stamp == AV_NOPTS_VALUE ? 0 : av_rescale_q(stamp, base, {1, static_cast<int>(kUnits)});
  }

  void SetOrigin(const AVFrame& first) {
    if (origin_) return;
    origin_ = Units(first.best_effort_timestamp, video_.stream->time_base);
    for (const auto& frame : early_) AppendSound(*frame, frame->best_effort_timestamp);
    early_.clear();
  }

  bool NextPicture(InputFrame* out) {
    // One picture more than is given: the next one's start is this one's stop.
    while (pictures_.size() < 2 && Pump()) {
    }
    if (pictures_.empty()) return NextRest(out);
    const Owned<AVFrame> picture = std::move(pictures_.front());
    pictures_.pop_front();
    SetOrigin(*picture);
    FillTime(*picture, out);
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
    av_timecode_make_string(&timecode_, text, static_cast<int>(count_));
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
    for (int i = 0; sound_->Samples() < wanted && pictures_.size() < 128 && Pump(); ++i) {
    }
    out->props.aud = sound_->Props();
    out->audio = sound_->Take(wanted, audioPool_);
  }

  // Sound behind the last picture.
  bool NextRest(InputFrame* out) { return count_ > 0 && sound_ && NextSound(out); }

  bool NextSound(InputFrame* out) {
    const auto wanted = static_cast<std::int64_t>(sound_->Rate() / kAudioOnlyRate);
    while (sound_->Samples() < wanted && Pump()) {
    }
    out->time.rtStart = av_rescale(sound_->Taken(), kUnits, sound_->Rate());
    out->props.aud = sound_->Props();
    out->audio = sound_->Take(wanted, audioPool_);
    out->time.rtStop = av_rescale(sound_->Taken(), kUnits, sound_->Rate());
    return out->audio.bytes > 0;
  }

  Owned<AVFormatContext> input_;
  Stream video_;
  Stream audio_;
  Owned<AVPacket> packet_;
  Owned<AVFrame> frame_;
  LayoutPacker packer_;
  BlockPool audioPool_;
  std::unique_ptr<SoundQueue> sound_;
  std::deque<Owned<AVFrame>> pictures_;
  std::vector<Owned<AVFrame>> early_;
  std::optional<std::int64_t> origin_;
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

std::unique_ptr<Input> OpenMedia(const std::string& url, std::uint32_t layout) {
  return std::make_unique<MediaInput>(url, layout);
}

}  // namespace xvrecord
