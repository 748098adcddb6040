#include "session/open_tracks.h"

#include "base/text.h"
#include "codec/setup_stream.h"
#include "media/track_mask.h"
#include "media/validity.h"

namespace xv {
namespace {

AVFormatContext* SecondContext(Session& session) {
  return session.second ? session.second->output().context.get() : nullptr;
}

bool IsNull(const std::string& codec) { return EqualsNoCase(codec, "null"); }

Status AddTrack(Session& session, const TrackPlan& plan, const XV_AV_PROPS& props, int track,
                const XMLParse::XMLNodePtr& node, AVMediaType type) {
  auto holder = std::make_unique<StreamHolder>();
  StreamRequest request{session.main.context.get(),
                        SecondContext(session),
                        &props,
                        track,
                        node,
                        DefaultCodec(*session.main.context->oformat, type),
                        type == AVMEDIA_TYPE_VIDEO ? plan.videoDelay : plan.audioDelay,
                        type == AVMEDIA_TYPE_VIDEO ? plan.timecode : std::string()};
  const Status result = SetupStream(*holder, request);
  for (const std::string& option : holder->unusedOptions) {
    session.stats->AddUnusedOption(node->Name() + "::" + option);
  }
  if (result.Failed()) {
    session.stats->Fail("stream setup", holder->failure, result);
    return result;
  }
  if (type == AVMEDIA_TYPE_VIDEO) session.videoIndex = static_cast<int>(session.streams.size());
  session.streams.push_back(std::move(holder));
  return S_OK;
}

// A format that holds no picture takes the sound alone unless a picture is asked for by codec.
bool HoldsNoVideo(const AVOutputFormat& format) {
  return DefaultCodec(format, AVMEDIA_TYPE_VIDEO) == AV_CODEC_ID_NONE &&
         DefaultCodec(format, AVMEDIA_TYPE_AUDIO) != AV_CODEC_ID_NONE;
}

bool HoldsNoAudio(const AVOutputFormat& format) {
  return DefaultCodec(format, AVMEDIA_TYPE_AUDIO) == AV_CODEC_ID_NONE &&
         DefaultCodec(format, AVMEDIA_TYPE_VIDEO) != AV_CODEC_ID_NONE;
}

bool WantsVideo(const Session& session, const TrackPlan& plan, const XMLParse::CoXMLNode& node) {
  const AVOutputFormat& format = *session.main.context->oformat;
  const bool valid = VideoPropsValid(plan.props.vid, true);
  const std::string codec = node.Text("codec");
  if (plan.target->noFormat && HoldsNoVideo(format)) return false;
  if (codec.empty() && HoldsNoVideo(format)) return false;
  return valid && node.Bool("enabled", true) && !IsNull(codec) &&
         !(codec.empty() && plan.target->noFormat);
}

// The mask that "split_channels" and "merge_tracks" ask for.
std::uint32_t MaskOverride(const XMLParse::CoXMLNode& attributes) {
  switch (attributes.Int("split_channels", 0)) {
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
      if (attributes.Bool("split_channels")) return 0xFFFFFFFF;
      break;
    default:
      break;
  }
  return attributes.Bool("merge_tracks") ? 0 : kNoMaskOverride;
}

// A track's options: the node "audio", overlaid by "audio.N" for tracks above 0.
XMLParse::XMLNodePtr AudioOptions(const TrackPlan& plan, const XMLParse::CoXMLNode& parent,
                                  int track) {
  XMLParse::XMLNodePtr node = XMLParse::CoXMLNode::Create("audio");
  node->CopyFrom(parent, XMLParse::MergeMode::kReplace, true);
  if (track > 0) {
    if (const auto overlay = plan.attributes->FindChild("audio." + std::to_string(track))) {
      node->CopyFrom(*overlay, XMLParse::MergeMode::kReplace, true);
    }
  }
  return node;
}

}  // namespace

Status OpenVideoTrack(Session& session, const TrackPlan& plan) {
  const XMLParse::XMLNodePtr node = plan.attributes->Child("video", true);
  if (WantsVideo(session, plan, *node)) {
    return AddTrack(session, plan, plan.props, 0, node, AVMEDIA_TYPE_VIDEO);
  }
  if (!plan.target->ismv) return S_FALSE;
  XV_AV_PROPS placeholder = plan.props;
  placeholder.vid = {};
  placeholder.vid.dblRate = plan.props.vid.dblRate;
  return AddTrack(session, plan, placeholder, 0, node, AVMEDIA_TYPE_VIDEO);
}

void OpenAudioTracks(Session& session, const TrackPlan& plan) {
  const AVOutputFormat& format = *session.main.context->oformat;
  if (!AudioPropsValid(plan.props.aud, true)) return;
  const XMLParse::XMLNodePtr node = plan.attributes->Child("audio", true);
  const std::string codec = node->Text("codec");
  if (HoldsNoAudio(format) && (plan.target->noFormat || codec.empty())) return;
  if (!node->Bool("enabled", true) || IsNull(codec) || EqualsNoCase(codec, "wav_file") ||
      (plan.target->noFormat && !session.streams.empty())) {
    return;
  }
  XV_AV_PROPS props = plan.props;
  session.trackMaskOverride = MaskOverride(*plan.attributes);
  if (session.trackMaskOverride != kNoMaskOverride)
    props.aud.nTrackMask = session.trackMaskOverride;
  const int tracks = static_cast<int>(TrackList(props.aud).size());
  for (int track = 0; track < tracks; ++track) {
    (void)AddTrack(session, plan, props, track, AudioOptions(plan, *node, track),
                   AVMEDIA_TYPE_AUDIO);
  }
}

}  // namespace xv
