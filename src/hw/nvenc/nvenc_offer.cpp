#include "hw/nvenc/nvenc_offer.h"

#include <algorithm>

#include "hw/nvenc/nvenc_abilities.h"
#include "hw/nvenc/nvenc_attributes.h"
#include "hw/nvenc/nvenc_session.h"

namespace xv {
namespace {

NvencCodecOffer OfferOf(NvencSession& session) {
  const CudaScope scope(session.device());
  const NvencAbilities abilities = ReadAbilities(session);
  const auto number = [&](NV_ENC_CAPS ability) { return std::max(abilities.Of(ability), 0); };
  NvencCodecOffer offer;
  offer.listed = true;
  offer.lossless = session.Lists(PresetOfWord(nvenc::kPresetLossless, session.api())) &&
                   !abilities.Lacks(NV_ENC_CAPS_SUPPORT_LOSSLESS_ENCODE);
  offer.fields = abilities.Has(NV_ENC_CAPS_SUPPORT_FIELD_ENCODING);
  offer.yuv444 = abilities.Has(NV_ENC_CAPS_SUPPORT_YUV444_ENCODE);
  offer.tenBits = abilities.Has(NV_ENC_CAPS_SUPPORT_10BIT_ENCODE);
  offer.mostBPictures = number(NV_ENC_CAPS_NUM_MAX_BFRAMES);
  offer.leastWidth = number(NV_ENC_CAPS_WIDTH_MIN);
  offer.leastHeight = number(NV_ENC_CAPS_HEIGHT_MIN);
  offer.mostWidth = number(NV_ENC_CAPS_WIDTH_MAX);
  offer.mostHeight = number(NV_ENC_CAPS_HEIGHT_MAX);
  return offer;
}

// Status of the session; a codec that the adapter lacks (E_UNEXPECTED) leaves `offer` empty.
Status ProbeCodec(NvencSession& session, int adapter, bool hevc, NvencCodecOffer* offer) {
  const Status status = session.Open(adapter, hevc);
  if (status.Ok()) *offer = OfferOf(session);
  return status;
}

void NameVersions(const NvencSession& session, NvencOffer& offer) {
  if (session.driverApi().major > 0) offer.driverApi = session.driverApi().Text();
  if (session.IsOpen()) offer.sessionApi = session.api().Text();
}

}  // namespace

NvencOffer ProbeNvenc(int adapter) {
  NvencOffer offer;
  NvencSession session;
  const Status h264 = ProbeCodec(session, adapter, false, &offer.h264);
  offer.problem = session.Failure();
  NameVersions(session, offer);
  const bool goesOn = h264.Ok() || h264 == Status(E_UNEXPECTED);
  if (goesOn && ProbeCodec(session, adapter, true, &offer.hevc).Ok()) NameVersions(session, offer);
  offer.device = session.device().Name();
  if (offer.h264.listed || offer.hevc.listed) offer.problem.clear();
  return offer;
}

}  // namespace xv
