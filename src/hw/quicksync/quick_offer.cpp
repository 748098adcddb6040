#include "hw/quicksync/quick_offer.h"

#include "hw/quicksync/quick_session.h"
#include "hw/quicksync/quick_settings.h"

namespace xv {
namespace {

constexpr int kInSoftware = -1;
constexpr int kAsListed = -2;

// That a session opens is no proof: a runtime without its device refuses what comes next.
Status AskForSurfaces(QuickSession& session) {
  XV_VID_PROPS vid{};
  vid.fccColor = kFccNV12;
  vid.nWidth = 640;
  vid.nHeight = 480;
  vid.dblRate = 25;
  const XMLParse::XMLNodePtr node = XMLParse::CoXMLNode::Create("video");
  AttributeReader reader(*node);
  LinkedParam param(MakeQuickSettings(vid, session.hardware(), reader));
  mfxFrameAllocRequest request{};
  return session.Check("MFXVideoENCODE_QueryIOSurf",
                       MFXVideoENCODE_QueryIOSurf(session.handle(), param.get(), &request));
}

void Describe(const QuickSession& session, QuickOffer& offer) {
  offer.major = session.version().Major;
  offer.minor = session.version().Minor;
  offer.implementation = static_cast<std::uint32_t>(session.implementation());
  if (session.device() != nullptr) offer.driver = session.device()->Vendor();
}

// "" when a session works: then it is in the offer.
std::string Probe(int forceGpu, QuickOffer& offer) {
  QuickSession session;
  if (session.Open(forceGpu).Failed() || AskForSurfaces(session).Failed()) {
    return session.Failure();
  }
  const bool first = !offer.hardware && !offer.software;
  (session.hardware() ? offer.hardware : offer.software) = true;
  if (first) Describe(session, offer);
  return {};
}

}  // namespace

QuickOffer ProbeQuick() {
  QuickOffer offer;
  const std::string problem = Probe(kAsListed, offer);
  if (!offer.software) (void)Probe(kInSoftware, offer);
  if (!offer.hardware && !offer.software) offer.problem = problem;
  return offer;
}

}  // namespace xv
