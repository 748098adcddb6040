#include "writer/encoder_choice.h"

#include "base/text.h"
#include "codec/stream_attributes.h"
#include "media/validity.h"
#include "session/encoder_ffm.h"
#include "session/session_attributes.h"

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

}  // namespace

bool WantsComponentPath(const XMLParse::CoXMLNode& session, const XMLParse::CoXMLNode& own) {
  const std::string format = session.Get(kFormat);
  return EqualsNoCase(format, "mpeg_nablet") || EqualsNoCase(format, "mpeg_nablet_udp") ||
         EqualsNoCase(session.Text(PathOf(InNode(kCodec, kVideoNode))), "packets") ||
         own.Bool("xfcodecs.enabled") || session.Get(kXfCodecs);
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
  if (WantsComponentPath(*request.session, *request.own)) return E_NOTIMPL;
  encoder = MakeRef<CEncoderFFM>(*request.stats);
  const Status opened = encoder->EncoderOpen(request.target.c_str(), props, time, request.session);
  if (opened.Failed()) encoder = nullptr;
  return opened;
}

}  // namespace xv
