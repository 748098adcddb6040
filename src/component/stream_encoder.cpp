#include "component/stream_encoder.h"

#include <algorithm>

#include "codec/codec_choice.h"
#include "codec/encode.h"
#include "codec/ffmpeg.h"
#include "codec/setup_stream.h"
#include "codec/sound_encode.h"
#include "codec/start_preparation.h"
#include "media/validity.h"

namespace xv {
namespace {

// A container whose streams carry their headers: packets can go into any other one then, with the
// headers told apart too.
constexpr char kNeutralFormat[] = "mpegts";
constexpr std::int64_t kSoundTolerance = 400'000;  // 40 ms

class PictureEncoder final : public StreamEncoder {
 public:
  Status Open(const StreamWish& wish) {
    RETURN_IF_FAILED(Setup(wish));
    StartPreparation(preparation_, holder_, wish.node);
    return S_OK;
  }

  Status Take(IXfFrame& frame, const XV_AV_PROPS&) override {
    Ref<XvFrameFFM> prepared;
    const Status made = PrepareVideoFrame(preparation_, nullptr, &frame, &prepared, nullptr);
    if (made == Status(XV_S_SKIP_FRAME) || made.NothingDone()) return S_FALSE;
    if (made.Failed()) return made;
    return EncodeBackend(holder_, prepared->picture());
  }

  Status Drain() override { return EncodeBackend(holder_, nullptr); }

 private:
  VideoPreparation preparation_;
};

class SoundEncoder final : public StreamEncoder {
 public:
  Status Open(const StreamWish& wish) {
    RETURN_IF_FAILED(Setup(wish));
    timeline_.Start(kSoundTolerance);
    return S_OK;
  }

  Status Take(IXfFrame& frame, const XV_AV_PROPS& props) override {
    std::uint32_t size = 0;
    const std::uint8_t* data = nullptr;
    XV_TIME time{};
    RETURN_IF_FAILED(frame.FrameAudioGet(&size, &data));
    RETURN_IF_FAILED(frame.FrameTimeGet(&time));
    const XV_AUD_PROPS& format = props.aud;
    const bool some = data != nullptr && AudioPropsValid(format, true) && size > 0;
    if (!begun_ && !some) return S_FALSE;
    if (!begun_) Begin(time);
    if (!some) {
      timeline_.Miss(time.rtStart - origin_, time.rtStop - origin_);
      return S_FALSE;
    }
    RETURN_IF_FAILED(Append(format, time, data, size));
    return Encode(false);
  }

  Status Drain() override {
    if (!begun_) return S_OK;
    (void)buffer_.Flush();
    return Encode(true);
  }

 private:
  void Begin(const XV_TIME& time) {
    begun_ = true;
    origin_ = time.rtStart;
  }

  Status Append(const XV_AUD_PROPS& format, const XV_TIME& time, const std::uint8_t* data,
                std::uint32_t size) {
    if (!buffer_.IsValid()) {
      const XV_AUD_PROPS buffer = SoundBufferFormat(format);
      RETURN_IF_FAILED(buffer_.Prepare(&buffer, 0));
    }
    const std::int64_t sampleBytes = SampleBytes(format);
    const auto place = timeline_.Place(time.rtStart - origin_, time.rtStop - origin_,
                                       size / sampleBytes, format.nSamplesPerSec);
    // A second at a time, so that hours of silence need no memory.
    for (std::int64_t left = place.silence; left > 0; left -= format.nSamplesPerSec) {
      const std::int64_t samples = std::min<std::int64_t>(left, format.nSamplesPerSec);
      RETURN_IF_FAILED(buffer_.Append(
          format, nullptr, static_cast<std::uint32_t>(samples * sampleBytes), true, true));
      RETURN_IF_FAILED(Encode(false));
    }
    const std::int64_t cut = place.cut * sampleBytes;
    return buffer_.Append(format, data + cut, static_cast<std::uint32_t>(size - cut), true, true);
  }

  // As long as the encoder moves on.
  Status Encode(bool endOfStream) {
    while (true) {
      int taken = 0;
      const auto before = holder_.packets.size();
      RETURN_IF_FAILED(EncodeSound(holder_, buffer_, {0, 1}, endOfStream, &taken));
      (void)buffer_.Skip(holder_.readAhead);
      holder_.readAhead = 0;
      if (taken == 0 && holder_.packets.size() == before) return S_OK;
    }
  }

  XvAudioBuffer2 buffer_;
  SoundTimeline timeline_;
  bool begun_ = false;
};

template <class Encoder>
Status OpenAs(const StreamWish& wish, std::unique_ptr<StreamEncoder>* out, std::string* words) {
  auto encoder = std::make_unique<Encoder>();
  const Status opened = encoder->Open(wish);
  *words = encoder->failure();
  if (!opened.Failed()) *out = std::move(encoder);
  return opened;
}

}  // namespace

Status StreamEncoder::OpenPictures(const StreamWish& wish, std::unique_ptr<StreamEncoder>* out,
                                   std::string* words) {
  return OpenAs<PictureEncoder>(wish, out, words);
}

Status StreamEncoder::OpenSound(const StreamWish& wish, std::unique_ptr<StreamEncoder>* out,
                                std::string* words) {
  return OpenAs<SoundEncoder>(wish, out, words);
}

Status StreamEncoder::Setup(const StreamWish& wish) {
  const FFmpegGuard guard(FFmpegLock());
  AVFormatContext* made = nullptr;
  if (avformat_alloc_output_context2(&made, nullptr, kNeutralFormat, nullptr) < 0) {
    return E_OUTOFMEMORY;
  }
  context_.reset(made);
  StreamRequest request{};
  request.oc = made;
  request.props = &wish.props;
  request.track = wish.track;
  request.node = wish.node;
  request.strict = wish.strict;
  return SetupStream(holder_, request);
}

// Once the first packet is there: it may hold the headers.
void StreamEncoder::Describe(const AVPacket& first) {
  const AVCodecParameters& parameters = *holder_.stream->codecpar;
  const AVRational rate =
      holder_.type == AVMEDIA_TYPE_VIDEO ? holder_.codec->framerate : AVRational{0, 1};
  auto record = RecordOf(parameters, rate);
  if (record->extra.empty()) record->SetExtra(HeadersIn(first, parameters));
  record_ = std::move(record);
}

Ref<IXfPacket> StreamEncoder::Next() {
  AvPtr<AVPacket> packet = TakePacket(holder_);
  if (!packet) return nullptr;
  if (!record_) Describe(*packet);
  // A picture without a duration lasts one tick.
  if (packet->duration <= 0 && holder_.type == AVMEDIA_TYPE_VIDEO) packet->duration = 1;
  av_packet_rescale_ts(packet.get(), holder_.codec->time_base, kPacketTicks);
  const bool key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
  sinceKey_ = key ? 0 : sinceKey_ + 1;
  XV_PACKET_TIME time{};
  time.pts = packet->pts == AV_NOPTS_VALUE ? kNoTime : packet->pts + origin_;
  time.dts = packet->dts == AV_NOPTS_VALUE ? kNoTime : packet->dts + origin_;
  time.nPosition = -1;
  time.nDuration = static_cast<std::int32_t>(std::min<std::int64_t>(packet->duration, INT32_MAX));
  time.cbSize = static_cast<std::uint32_t>(packet->size);
  if (key) time.nFlags = eXfPF_Key;
  time.nIndex = time.nOrder = made_++;
  time.nKey = sinceKey_;
  return MakeRef<EncodedPacket>(std::move(packet), record_, time);
}

}  // namespace xv
