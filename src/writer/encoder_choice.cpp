#include "writer/encoder_choice.h"

#include <algorithm>
#include <optional>

#include "base/text.h"
#include "component/channel_encoder.h"
#include "component/muxer_profile.h"
#include "media/validity.h"
#include "platform/clock.h"
#include "session/check_attributes.h"
#include "session/encoder_ffm.h"
#include "session/open_tracks.h"
#include "session/session_attributes.h"
#include "session/start_timecode.h"
#include "values/time_syntax.h"

namespace xv {
namespace {

Status AskSource(IUnknown* source, XV_AV_PROPS* props) {
  *props = {};
  if (source == nullptr) return E_UNEXPECTED;
  const Ref<IXvSource> format = Query<IXvSource>(source);
  if (format) RETURN_IF_FAILED(format->SourcePropsGet(props));
  const bool valid = VideoPropsValid(props->vid, true) || AudioPropsValid(props->aud, true);
  return valid ? Status(S_OK) : Status(XV_E_NO_VALID_MEDIA);
}

// Of the session's own attributes; there is no queue, so any length of it will do.
constexpr AttributeRow kServed[] = {kFormat,        kXfCodecs,      kIoTimeout,
                                    kMetadata,      kSplitChannels, kMergeTracks,
                                    kTimeTolerance, kVideoBuffers,  kStartTimecode};

constexpr char kVideoCodec[] = "video::codec";
constexpr char kVideoRate[] = "video::b";

// MPEG-2 and vendors' H.264 run at a constant rate on the component path.
void SetConstantRate(XMLParse::CoXMLNode& session) {
  const std::string codec = session.Text(kVideoCodec);
  if (codec == "mpeg2video") {
    const auto rate = session.FindText(kVideoRate);
    if (!rate) return;
    (void)session.SetText("video::minrate", *rate);
    (void)session.SetText("video::maxrate", *rate);
  } else if (codec == "q264hw" || codec == "q264sw" || codec == "n264") {
    (void)session.SetText("video::rc_type", "cbr");
  }
}

// Attributes that were set for the main path alone, to something else than their default, have no
// effect here.
void TellUnserved(const EncoderRequest& request) {
  for (const AttributeRow& row : SessionAttributes()) {
    const bool served =
        std::ranges::any_of(kServed, [&](const AttributeRow& one) { return one.name == row.name; });
    const bool own = request.own->FindText(row.name).has_value();
    const auto said = request.session->FindText(row.name);
    const bool plain = said && EqualsNoCase(*said, DefaultText(row));
    if (!served && !own && !plain && row.node == kSessionNode && request.session->Has(row)) {
      request.stats->AddUnusedOption(std::string(row.name) + " (not on the component path)");
    }
  }
}

// In the container, and in the group headers of codecs that have such.
void SetTimecode(XMLParse::CoXMLNode& session, const XV_TIME* time, const XV_VID_PROPS& vid) {
  const std::string code = StartTimecode(session, time, vid, SystemClock());
  if (!IsTimeCode(code)) return;
  session.SetTextIfAbsent("metadata::timecode", code);
  session.SetTextIfAbsent("video::gop_timecode", code);
}

Ref<XvEncoderBaseLegacy> MakeComponentPath(const EncoderRequest& request, const XV_AV_PROPS& props,
                                           const XV_TIME* time) {
  AttributeUse use;
  use.componentRows = MuxerAttributes();
  CheckAttributes(*request.session, use, *request.stats);
  SetConstantRate(*request.session);
  SetTimecode(*request.session, time, props.vid);
  TellUnserved(request);
  const std::uint32_t mask = MaskOverride(*request.session);
  return MakeRef<XvEncoderFFM2>(mask == kNoMaskOverride ? std::nullopt : std::optional(mask),
                                *request.report);
}

}  // namespace

bool PassesPackets(const XMLParse::CoXMLNode& session) {
  return EqualsNoCase(session.Text(kVideoCodec), "packets");
}

bool WantsComponentPath(const XMLParse::CoXMLNode& session, const XMLParse::CoXMLNode& own) {
  const std::string format = session.Get(kFormat);
  return EqualsNoCase(format, "mpeg_nablet") || EqualsNoCase(format, "mpeg_nablet_udp") ||
         PassesPackets(session) || own.Bool("xfcodecs.enabled") || session.Get(kXfCodecs);
}

Status OpenEncoder(const EncoderRequest& request, const XV_AV_PROPS* props, const XV_TIME* time,
                   Ref<XvEncoderBaseLegacy>& encoder) {
  XV_AV_PROPS asked{};
  if (props == nullptr) {
    RETURN_IF_FAILED(AskSource(request.source.get(), &asked));
    props = &asked;
  }
  if (encoder) {
    (void)encoder->EncoderClose(kInfinite);
    encoder = nullptr;
  }
  if (WantsComponentPath(*request.session, *request.own)) {
    encoder = MakeComponentPath(request, *props, time);
  } else {
    encoder = MakeRef<CEncoderFFM>(*request.stats, [session = request.session, own = request.own] {
      return session->Get(kStopAtOnce) || own->Get(kStopAtOnce);
    });
  }
  const Status opened = encoder->EncoderOpen(request.target.c_str(), props, time, request.session);
  if (opened.Failed()) encoder = nullptr;
  return opened;
}

}  // namespace xv
