#include "session/open.h"

#include <cmath>

#include "base/text.h"
#include "codec/ffmpeg.h"
#include "media/validity.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/paths.h"
#include "session/close.h"
#include "session/open_target.h"
#include "session/open_tracks.h"
#include "session/start_timecode.h"

extern "C" {
#include <libavutil/timecode.h>
}

namespace xv {
namespace {

constexpr int kDefaultVideoBuffers = 24;

// The mxf muxer fails on a time code that it cannot read; the others pass it on or skip it.
bool MuxerTakes(const AVOutputFormat& format, const std::string& timecode) {
  if (std::string_view(format.name).substr(0, 3) != "mxf") return true;
  AVTimecode parsed;
  return av_timecode_init_from_string(&parsed, {30, 1}, timecode.c_str(), nullptr) >= 0;
}

void SetTimecode(Session& session, const std::string& timecode) {
  if (timecode.empty()) return;
  if (!MuxerTakes(*session.main.context->oformat, timecode)) {
    session.stats->AddUnusedOption("start_timecode");
    return;
  }
  av_dict_set(&session.main.context->metadata, "timecode", timecode.c_str(), 0);
  if (session.second) {
    av_dict_set(&session.second->output().context->metadata, "timecode", timecode.c_str(), 0);
  }
}

void SetDelays(const XMLParse::CoXMLNode& attributes, TrackPlan& plan) {
  const auto offset = static_cast<std::int64_t>(
      std::trunc(attributes.Double("itsoffset", 0.0) * kTimeUnitsPerSecond));
  (offset > 0 ? plan.audioDelay : plan.videoDelay) = std::abs(offset);
}

void SetTimeouts(Session& session, const XMLParse::CoXMLNode& attributes) {
  const double seconds = attributes.Double("io_timeout", 10.0);
  const auto timeout = std::chrono::milliseconds(
      static_cast<std::int64_t>(seconds > 0 && seconds < 1e6 ? seconds * 1000 : 10'000));
  session.main.interrupt.SetTimeout(timeout);
  if (session.second) session.second->output().interrupt.SetTimeout(timeout);
}

// "a%03d.jpg" gives "a.wav".
std::string WavBesideTarget(const std::string& target) {
  const std::string stem = target.substr(0, target.rfind('%'));
  return stem.substr(0, ExtensionPoint(stem)) + ".wav";
}

void SetWavPath(Session& session, const std::string& target,
                const XMLParse::CoXMLNode& attributes) {
  session.wavPath = attributes.Text("wav_path", attributes.Text("audio::wav_path"));
  if (session.wavPath.empty() && attributes.Text("audio::codec") == "wav_file") {
    session.wavPath = WavBesideTarget(target);
  }
  if (!session.wavPath.empty()) (void)RemoveFile(session.wavPath);
}

void PrepareVideo(Session& session) {
  StreamHolder* holder = session.VideoHolder();
  if (holder == nullptr) return;
  VideoPreparation& video = session.video;
  video.target = holder->vid;
  video.synthetic = holder->synthetic;
  video.streamNode = holder->node;
  video.sessionNode = session.props;
  video.clock = {};
  video.codec = {false,
                 holder->codec->time_base,
                 holder->codec->width,
                 holder->codec->height,
                 holder->pixelFormat,
                 holder->codec->codec_id,
                 holder->fullRange};
}

Status OpenTracks(Session& session, const TargetPlan& target, const XV_AV_PROPS& props,
                  const XV_TIME* time, const XMLParse::XMLNodePtr& attributes) {
  TrackPlan plan;
  plan.target = &target;
  plan.props = props;
  plan.attributes = attributes;
  plan.timecode = StartTimecode(*attributes, time, props.vid, SystemClock());
  SetTimecode(session, plan.timecode);
  SetDelays(*attributes, plan);
  RETURN_IF_FAILED(OpenVideoTrack(session, plan));
  OpenAudioTracks(session, plan);
  return session.streams.empty() ? Status(XV_E_NOT_SUPPORTED) : Status(S_OK);
}

void StartCounters(Session& session) {
  session.frameCount = 0;
  session.videoCounter = 0;
  session.segmentCounter = 0;
  session.putCounter = 0;
  session.needHeader = true;
  session.audioBuffer.Reset(true);
}

}  // namespace

Status OpenSession(Session& session, const char* target, const XV_AV_PROPS& props,
                   const XV_TIME* time, const XMLParse::XMLNodePtr& attributes) {
  if (!VideoPropsValid(props.vid, true) && !AudioPropsValid(props.aud, true)) {
    return XV_E_NO_VALID_MEDIA;
  }
  session.ClearError();
  StartCounters(session);
  const FFmpegGuard guard(FFmpegLock());
  TargetPlan plan = PlanTarget(target, *attributes);
  Status result = CreateOutputs(session, plan, *attributes);
  if (!result.Failed()) {
    SetTimeouts(session, *attributes);
    result = OpenTracks(session, plan, props, time, attributes);
  }
  if (result.Failed()) {
    Cleanup(session);
    return result;
  }
  session.props = XMLParse::CoXMLNode::Create("xml-props");
  session.props->CopyFrom(*attributes, XMLParse::MergeMode::kClearFirst, true);
  session.props->SetTextIfAbsent("video.buffers", std::to_string(kDefaultVideoBuffers));
  session.videoBuffers = session.props->Int("video.buffers", kDefaultVideoBuffers);
  session.options = ReadStageOptions(*session.props, session.ownNode.get(), session.AudioTracks());
  SetWavPath(session, plan.target, *attributes);
  PrepareVideo(session);
  session.isOpen = true;
  return S_OK;
}

}  // namespace xv
