#include "session/open_output.h"

#include "base/text.h"
#include "codec/ffmpeg.h"
#include "codec/former_names.h"
#include "codec/option_dictionary.h"
#include "codec/option_limits.h"
#include "output/sdp.h"
#include "platform/paths.h"
#include "session/close.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

// QuickTime's time scale gets a thousandfold precision where a frame is one tick; the DV muxing
// picks its tags by the plain base.
void RefineTimeBase(const StreamHolder& firstTrack, const AVFormatContext& context) {
  if (!EqualsNoCase(context.oformat->name, "mov")) return;
  const AVCodecContext& first = *firstTrack.codec;
  if (first.time_base.num != 1 || first.codec_id == AV_CODEC_ID_DVVIDEO) return;
  AVStream* stream = context.streams[0];
  stream->time_base = {first.time_base.num * 1000, first.time_base.den * 1000};
}

// The options of an output as this FFmpeg's muxer names and stands them.
void FitToMuxer(const Output& output, AvDictionary& options, AttributeUse::Muxer& use) {
  RenameFormerOptions(options, output.context.get());
  use.refusals = TakeOutFatalOptions(options, *output.format);
}

// What neither a protocol nor the muxer took.
void NoteLeft(const AvDictionary& left, AttributeUse::Muxer& use) {
  use.left.emplace();
  left.ForEach([&](const char* key, const char*) { use.left->emplace(key); });
  for (const auto& [name, why] : use.refusals) use.left->emplace(name);
}

// The encoders are read here alone: they go on while a header is written.
Status DescribeStreams(Output& output, const Tracks& tracks) {
  for (const auto& holder : tracks.holders) {
    (void)FillStreamParameters(*holder);
    RETURN_IF_FAILED(output.headers.Add(*output.context, holder->stream->index, *holder->codec));
  }
  RefineTimeBase(*tracks.holders.front(), *output.context);
  return S_OK;
}

// From here on the encoding thread may write what waits.
void KeepRescuable(Outputs& outputs, const XMLParse::CoXMLNode& attributes, OutputReport& report) {
  Output& main = outputs.main;
  const std::lock_guard guard(main.lock);
  if (!main.headerWritten || main.context->pb != main.sink.io() || main.sink.IsStream()) return;
  if (outputs.growing) {
    const bool mxf = EqualsNoCase(main.format->name, "mxf");
    outputs.growing->Locate(main, attributes.Find(kLowLevelIo).value_or(mxf));
  }
  if (attributes.Get(kRecovery)) {
    outputs.recovery = Recovery::Open(main, outputs.growing != nullptr, report);
  }
}

Status OpenMain(Session& session) {
  const XMLParse::CoXMLNode& attributes = *session.plan.attributes;
  Output& main = session.outputs.main;
  AvDictionary options;
  DictForFFmpeg(attributes, SessionAttributes(), options, 0);
  FitToMuxer(main, options, session.use.main);
  if (session.outputs.growing) GrowingFiles::HoldBackLess(*main.format, options);
  const std::string strictness = MuxerStrictness(attributes);
  if (!strictness.empty()) options.Set("strict", strictness.c_str());
  const Status opened = main.OpenFile(options);
  if (opened.Failed()) {
    session.stats.Fail("output", main.Explanation(), opened);
    Cleanup(session);
    return E_FAIL;
  }
  SetMetadata(attributes.FindChild(kMetadata.name), *main.context);
  if (main.context->pb == nullptr && !OpensOwnFiles(*main.context->oformat)) return S_OK;
  Status header = DescribeStreams(main, session.tracks);
  if (!header.Failed()) header = main.WriteHeader(options);
  if (header.Failed()) {
    session.stats.Fail("header", main.Explanation(), header);
    if (!IsUrl(main.path)) {
      Cleanup(session);
      return E_FAIL;
    }
  }
  // The muxer settles the payload type with its header.
  WriteSdp(main, attributes.Find(kSdp).value_or(DefaultSdpPath()), session.stats);
  KeepRescuable(session.outputs, attributes, session.stats);
  NoteLeft(options, session.use.main);
  return S_OK;
}

// On the second output's thread. The session waits for it ahead of its cleanup.
Status OpenSecondFile(Session& session, AvDictionary& options, AttributeUse& use) {
  Output& output = session.outputs.second->output();
  Status opened = output.OpenFile(options);
  if (!opened.Failed()) opened = output.WriteHeader(options);
  if (!opened.Failed()) NoteLeft(options, use.second);
  // A header file of a growing recording takes nothing of the session's.
  const bool told = session.plan.attributes->FindChild(kSecondNode) != nullptr;
  if (told) CheckSecondOutput(*session.plan.attributes, use, session.stats);
  return opened;
}

void StartSecond(Session& session) {
  SecondOutput& second = *session.outputs.second;
  Output& output = second.output();
  AvDictionary options;
  const XMLParse::XMLNodePtr node = session.plan.attributes->FindChild(kSecondNode);
  if (node) DictForFFmpeg(*node, SecondOutputAttributes(), options, 0);
  AttributeUse use;
  use.second = session.use.second;
  FitToMuxer(output, options, use.second);
  SetMetadata(session.plan.attributes->FindChild(kMetadata.name), *output.context);
  Status result = DescribeStreams(output, session.tracks);
  if (!result.Failed()) {
    result = second.Start(
        [&session, options, use]() mutable { return OpenSecondFile(session, options, use); });
  }
  if (!result.Failed()) return;
  session.stats.Fail("second output", output.Explanation(), result);
  session.outputs.second.reset();
}

}  // namespace

Status OpenOutputs(Session& session) {
  const Status opened = OpenMain(session);
  if (!opened.Failed() && session.outputs.second) StartSecond(session);
  session.use.secondFollows = session.outputs.second != nullptr;
  CheckAttributes(*session.plan.attributes, session.use, session.stats);
  return opened;
}

}  // namespace xv
