#include "codec/audio_stream.h"

#include <cmath>

#include "codec/audio_format_pick.h"
#include "codec/container_sound.h"
#include "codec/ffmpeg.h"
#include "codec/open_codec.h"
#include "codec/option_dictionary.h"
#include "codec/setup_stream.h"
#include "codec/stream_attributes.h"
#include "media/frame_duration.h"
#include "media/track_mask.h"
#include "platform/warning.h"

namespace xv {
namespace {

AvPtr<AVCodecContext> BuildContext(const AVCodec& codec, const StreamHolder& holder,
                                   const XV_AUD_PROPS& input, const char* muxer,
                                   bool globalHeader) {
  AvPtr<AVCodecContext> context(avcodec_alloc_context3(&codec));
  if (!context) return nullptr;
  context->codec_type = AVMEDIA_TYPE_AUDIO;
  context->sample_fmt = PickSampleFormat(codec, input.nBitsPerSample);
  const int taken = PickSampleRate(ContainerSampleRates(muxer, codec.id), input.nSamplesPerSec);
  context->sample_rate = PickSampleRate(SampleRatesOf(codec), taken);
  const int asked = holder.node->Find(kSampleRate).value_or(holder.node->Get(kAr));
  if (asked > 0) context->sample_rate = asked;
  const int channels = holder.node->Get(kAc);
  av_channel_layout_default(&context->ch_layout, channels > 0 ? channels : holder.trackChannels);
  if (context->sample_fmt == AV_SAMPLE_FMT_S32 || context->sample_fmt == AV_SAMPLE_FMT_S32P) {
    if (input.nBitsPerSample == 20 || input.nBitsPerSample == 24) {
      context->bits_per_raw_sample = 24;
    }
  }
  context->time_base = {1, context->sample_rate};
  if (globalHeader) context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  return context;
}

AvDictionary BuildOptions(const StreamHolder& holder, AVCodecID id) {
  AvDictionary options;
  const std::string bitrate = holder.node->Get(kBitrate);
  if (!bitrate.empty()) options.Set("b", bitrate.c_str());
  if (id == AV_CODEC_ID_AAC) options.Set("strict", "-2");
  DictForFFmpeg(*holder.node, AudioAttributes(), options, AV_DICT_DONT_OVERWRITE);
  KeepFlagsOfContext(options);
  return options;
}

// Whose channels the track takes: those behind the earlier tracks.
bool LocateTrack(const XV_AUD_PROPS& input, int track, StreamHolder& holder) {
  const std::vector<int> tracks = TrackList(input);
  if (track < 0 || static_cast<std::size_t>(track) >= tracks.size()) return false;
  holder.firstChannel = 0;
  for (int i = 0; i < track; ++i) holder.firstChannel += tracks[static_cast<std::size_t>(i)];
  holder.trackChannels = tracks[static_cast<std::size_t>(track)];
  return true;
}

}  // namespace

Status SetupAudioStream(StreamHolder& holder, AVFormatContext* oc, AVFormatContext* oc2,
                        const XV_AUD_PROPS& input, int track, const CodecChoice& choice) {
  holder.type = AVMEDIA_TYPE_AUDIO;
  if (!LocateTrack(input, track, holder)) return E_INVALIDARG;
  const AVCodec* codec = FindEncoder(choice, AVMEDIA_TYPE_AUDIO);
  if (codec == nullptr) {
    Warn("Could not find codec\n");
    return E_FAIL;
  }
  if (choice.nameUnknown) holder.unusedOptions.emplace_back(kCodec.name);
  const bool globalHeader = WantsHeadersApart(*oc, oc2);
  const FFmpegGuard lock(FFmpegLock());
  const ContextBuilder build = [&] {
    return BuildContext(*codec, holder, input, oc->oformat->name, globalHeader);
  };
  RETURN_IF_FAILED(OpenAudioCodec(holder, *codec, build, BuildOptions(holder, codec->id)));

  RETURN_IF_FAILED(AddStreams(holder, oc, oc2, "Could not allocate stream\n"));
  ApplyStreamId(holder, track);
  ApplyStreamMetadata(holder);
  const double milliseconds = holder.node->Get(kOffset);
  holder.offsetSamples =
      RoundAwayFromZero(milliseconds * 10000 * holder.codec->sample_rate / 10000000);
  return FillStreamParameters(holder) < 0 ? Status(E_OUTOFMEMORY) : Status(S_OK);
}

}  // namespace xv
