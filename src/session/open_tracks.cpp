#include "session/open_tracks.h"

#include <fmt/format.h>

#include "base/text.h"
#include "codec/codec_choice.h"
#include "codec/setup_stream.h"
#include "codec/stream_attributes.h"
#include "media/track_mask.h"
#include "media/validity.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

bool IsNull(const std::string& codec) { return EqualsNoCase(codec, "null"); }

// A format that holds no picture takes the sound alone unless a picture is asked for by codec.
bool HoldsNoVideo(const AVOutputFormat& format) {
  return DefaultCodec(format, AVMEDIA_TYPE_VIDEO) == AV_CODEC_ID_NONE &&
         DefaultCodec(format, AVMEDIA_TYPE_AUDIO) != AV_CODEC_ID_NONE;
}

bool HoldsNoAudio(const AVOutputFormat& format) {
  return DefaultCodec(format, AVMEDIA_TYPE_AUDIO) == AV_CODEC_ID_NONE &&
         DefaultCodec(format, AVMEDIA_TYPE_VIDEO) != AV_CODEC_ID_NONE;
}

}  // namespace

std::uint32_t MaskOverride(const XMLParse::CoXMLNode& attributes) {
  const std::string split = attributes.Get(kSplitChannels);
  switch (ReadInt(split)) {
    case 1:
      return 0xFFFFFFFF;
    case 2:
      return 0xAAAAAAAA;
    case 4:
      return 0x88888888;
    case 6:
      return 0x20820820;
    case 8:
      return 0x80808080;
    case 0:
      if (ReadBool(split)) return 0xFFFFFFFF;
      break;
    default:
      break;
  }
  return attributes.Get(kMergeTracks) ? 0 : kNoMaskOverride;
}

Status TrackOpener::Add(const XV_AV_PROPS& props, int track, const XMLParse::XMLNodePtr& node,
                        AVMediaType type) {
  const bool video = type == AVMEDIA_TYPE_VIDEO;
  auto holder = std::make_unique<StreamHolder>();
  const StreamRequest request{outputs_.main.context.get(),
                              outputs_.second ? outputs_.second->output().context.get() : nullptr,
                              &props,
                              track,
                              node,
                              DefaultCodec(format(), type),
                              video ? plan_.videoDelay : plan_.audioDelay,
                              video ? plan_.timecode : std::string(),
                              plan_.attributes->Get(kThreads),
                              !AllowsStandIns(*plan_.attributes)};
  const Status result = SetupStream(*holder, request);
  use_.tracks.push_back({type,
                         track,
                         result.Failed() ? nullptr : holder->codec->codec,
                         {holder->unusedOptions.begin(), holder->unusedOptions.end()},
                         holder->refusals,
                         HwAttributes(holder->pseudo)});
  for (const std::string& entry : holder->adjusted) {
    stats_.AddBadValue(fmt::format("{}::{}", kVideoNode, entry));
  }
  if (result.Failed()) {
    stats_.Fail("stream setup", holder->failure, result);
    return result;
  }
  tracks_.Add(std::move(holder));
  return S_OK;
}

bool TrackOpener::TakesVideo() const {
  const XMLParse::XMLNodePtr node = plan_.attributes->Child(kVideoNode, true);
  const bool noFormat = plan_.target->noFormat;
  const std::string codec = node->Get(kCodec);
  if (HoldsNoVideo(format()) && (noFormat || codec.empty())) return false;
  return node->Get(kEnabled) && !IsNull(codec) && !(codec.empty() && noFormat);
}

Status TrackOpener::OpenVideo() {
  const XMLParse::XMLNodePtr node = plan_.attributes->Child(kVideoNode, true);
  if (TakesVideo() && VideoPropsValid(plan_.props.vid, true))
    return Add(plan_.props, 0, node, AVMEDIA_TYPE_VIDEO);
  if (!plan_.target->ismv) return S_FALSE;
  XV_AV_PROPS placeholder = plan_.props;
  placeholder.vid = {};
  placeholder.vid.dblRate = plan_.props.vid.dblRate;
  return Add(placeholder, 0, node, AVMEDIA_TYPE_VIDEO);
}

bool TrackOpener::TakesAudio() const {
  const bool noFormat = plan_.target->noFormat;
  const XMLParse::XMLNodePtr node = plan_.attributes->Child(kAudioNode, true);
  const std::string codec = node->Get(kCodec);
  if (HoldsNoAudio(format()) && (noFormat || codec.empty())) return false;
  return node->Get(kEnabled) && !IsNull(codec) && !EqualsNoCase(codec, "wav_file") &&
         !(noFormat && !tracks_.holders.empty());
}

Status TrackOpener::OpenAudio(const XV_AV_PROPS& props) {
  const int tracks = static_cast<int>(TrackList(props.aud).size());
  for (int track = 0; track < tracks; ++track) {
    const Status added =
        Add(props, track, AudioTrackOptions(*plan_.attributes, track), AVMEDIA_TYPE_AUDIO);
    if (added == Status(XV_E_NOT_FOUND)) return added;
  }
  return S_OK;
}

}  // namespace xv
