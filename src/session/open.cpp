#include "session/open.h"

#include <cmath>

#include "base/text.h"
#include "codec/ffmpeg.h"
#include "codec/start_preparation.h"
#include "codec/stream_attributes.h"
#include "media/validity.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/stream_file.h"
#include "platform/whole_file.h"
#include "session/close.h"
#include "session/intake.h"
#include "session/open_target.h"
#include "session/open_tracks.h"
#include "session/session_attributes.h"
#include "session/start_timecode.h"

extern "C" {
#include <libavutil/timecode.h>
}

namespace xv {
namespace {

// The mxf muxer fails on a time code that it cannot read; the others pass it on or skip it.
bool MuxerTakes(const AVOutputFormat& format, const std::string& timecode) {
  if (std::string_view(format.name).substr(0, 3) != "mxf") return true;
  AVTimecode parsed;
  return av_timecode_init_from_string(&parsed, {30, 1}, timecode.c_str(), nullptr) >= 0;
}

void SetTimecode(Outputs& outputs, const std::string& timecode, SessionStats& stats) {
  if (timecode.empty()) return;
  if (!MuxerTakes(*outputs.main.context->oformat, timecode)) {
    stats.AddUnusedOption(kStartTimecode.name);
    return;
  }
  SetEntry(&outputs.main.context->metadata, "timecode", timecode.c_str(), 0);
  if (outputs.second) {
    SetEntry(&outputs.second->output().context->metadata, "timecode", timecode.c_str(), 0);
  }
}

void SetDelays(const XMLParse::CoXMLNode& attributes, TrackPlan& plan) {
  const auto offset =
      static_cast<std::int64_t>(std::trunc(attributes.Get(kItsOffset) * kTimeUnitsPerSecond));
  (offset > 0 ? plan.audioDelay : plan.videoDelay) = std::abs(offset);
}

void SetTimeouts(Outputs& outputs, const XMLParse::CoXMLNode& attributes,
                 const std::function<bool()>& hurried) {
  const double seconds = attributes.Get(kIoTimeout);
  const auto timeout = std::chrono::milliseconds(
      static_cast<std::int64_t>(seconds > 0 && seconds < 1e6 ? seconds * 1000 : 10'000));
  for (Output* output : {&outputs.main, outputs.second ? &outputs.second->output() : nullptr}) {
    if (output == nullptr) continue;
    output->interrupt.SetTimeout(timeout);
    output->interrupt.SetHurry(hurried);
  }
}

// "a%03d.jpg" gives "a.wav".
std::string WavBesideTarget(const std::string& target) {
  const std::string stem = target.substr(0, target.rfind('%'));
  return stem.substr(0, ExtensionPoint(stem)) + ".wav";
}

std::string SideWavPath(const std::string& target, const XMLParse::CoXMLNode& attributes) {
  const XMLParse::XMLNodePtr audio = attributes.FindChild(kAudioNode);
  std::string path = attributes.Get(kWavPath);
  if (!attributes.Has(kWavPath) && audio) path = audio->Get(kTrackWavPath);
  const bool beside = audio && EqualsNoCase(audio->Get(kCodec), "wav_file");
  return path.empty() && beside ? WavBesideTarget(target) : path;
}

void StartHostSide(HostSide& host, const Outputs& outputs, const Tracks& tracks,
                   const std::string& target, const XMLParse::XMLNodePtr& attributes) {
  host.needHeader = true;
  host.diskWatch = 0;
  host.frames = 0;
  host.countsPictures = CountsPictures(*outputs.main.format);
  host.fillsSound =
      host.countsPictures || (outputs.second && CountsPictures(*outputs.second->output().format));
  host.owed = 0;
  host.pace = {};
  host.wavPath = SideWavPath(target, *attributes);
  host.wavParts = 0;
  // Of an earlier recording; a device or a FIFO stays.
  if (!host.wavPath.empty() && !IsStreamTarget(host.wavPath)) (void)RemoveFile(host.wavPath);
  if (tracks.video != nullptr) {
    StartPreparation(host.preparation, *tracks.video, attributes);
    host.preparation.threads = attributes->Get(kThreads);
  }
}

Status OpenTracks(Session& session, const TargetPlan& target, const XV_AV_PROPS& props,
                  const XV_TIME* time, const XMLParse::XMLNodePtr& attributes) {
  TrackPlan plan;
  plan.target = &target;
  plan.props = props;
  plan.attributes = attributes;
  plan.timecode = StartTimecode(*attributes, time, props.vid, SystemClock());
  SetTimecode(session.outputs, plan.timecode, session.stats);
  SetDelays(*attributes, plan);
  TrackOpener opener(session.outputs, session.tracks, session.use, session.stats, plan);
  RETURN_IF_FAILED(opener.OpenVideo());
  const bool sound = AudioPropsValid(props.aud, true);
  session.plan.leavesPicturesOut = opener.TakesVideo() && !VideoPropsValid(props.vid, true);
  session.plan.leavesSoundOut = opener.TakesAudio() && !sound;
  if (opener.TakesAudio() && sound) {
    session.plan.trackMaskOverride = MaskOverride(*attributes);
    XV_AV_PROPS masked = props;
    if (session.plan.trackMaskOverride != kNoMaskOverride) {
      masked.aud.nTrackMask = session.plan.trackMaskOverride;
    }
    session.plan.sound = masked.aud;
    RETURN_IF_FAILED(opener.OpenAudio(masked));
  }
  return session.tracks.holders.empty() ? Status(XV_E_NOT_SUPPORTED) : Status(S_OK);
}

// Contexts of outputs and encoders, under the FFmpeg lock. The stages' locks come first, so
// they start and end outside of it.
Status OpenContexts(Session& session, TargetPlan& plan, const XV_AV_PROPS& props,
                    const XV_TIME* time, const XMLParse::XMLNodePtr& attributes) {
  const FFmpegGuard guard(FFmpegLock());
  const Status created = CreateOutputs(session.outputs, plan, *attributes, session.stats);
  session.use.main.format = session.outputs.main.format;
  if (session.outputs.second) session.use.second.format = session.outputs.second->output().format;
  if (created.Failed()) return created;
  SetTimeouts(session.outputs, *attributes, session.stopsAtOnce);
  return OpenTracks(session, plan, props, time, attributes);
}

void KeepPlan(Session& session, const XMLParse::CoXMLNode& attributes) {
  SessionPlan& plan = session.plan;
  plan.attributes = XMLParse::CoXMLNode::Create("xml-props");
  plan.attributes->CopyFrom(attributes, XMLParse::MergeMode::kClearFirst, true);
  plan.options =
      ReadStageOptions(*plan.attributes, static_cast<int>(session.tracks.Audio().size()));
}

void StartStages(Session& session, const std::string& target) {
  StartHostSide(session.host, session.outputs, session.tracks, target, session.plan.attributes);
  session.delivery.Start(session.plan.options.savePackets);
  if (session.tracks.video != nullptr) session.tracks.video->givesUp = session.stopsAtOnce;
  session.pictures.Start(session.tracks.video, &session.plan.options);
  session.sound.Start(session.tracks, session.plan.options);
}

}  // namespace

Status OpenSession(Session& session, const char* target, const XV_AV_PROPS& props,
                   const XV_TIME* time, const XMLParse::XMLNodePtr& attributes) {
  if (!VideoPropsValid(props.vid, true) && !AudioPropsValid(props.aud, true)) {
    return XV_E_NO_VALID_MEDIA;
  }
  session.failure.Clear();
  session.use = {};
  TargetPlan plan = PlanTarget(target, *attributes);
  const Status result = OpenContexts(session, plan, props, time, attributes);
  if (result.Failed()) {
    CheckAttributes(*attributes, session.use, session.stats);
    Cleanup(session);
    return result;
  }
  KeepPlan(session, *attributes);
  StartStages(session, plan.target);
  session.plan.videoBuffers =
      RoomForFrames(*session.plan.attributes, session.host.preparation.codec);
  session.stats.videoBuffers.store(session.plan.videoBuffers, std::memory_order_relaxed);
  session.isOpen = true;
  return S_OK;
}

}  // namespace xv
