#include "codec/video_geometry.h"

#include <cmath>
#include <cstdlib>
#include <string>

#include "base/text.h"
#include "codec/dv_family.h"
#include "codec/stream_attributes.h"
#include "frames/converter_attributes.h"
#include "hw/frame_rate.h"
#include "media/normalise.h"
#include "media/pixel_layout.h"
#include "media/validity.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

constexpr double kDefaultRate = 25.0;

struct Aspect {
  std::int32_t x = 0;
  std::int32_t y = 0;
  bool set() const { return x > 0 && y > 0; }
};

void ApplyAspect(const Aspect& aspect, const XMLParse::CoXMLNode& node, XV_VID_PROPS* vid) {
  vid->nAspectX = static_cast<std::int16_t>(aspect.x);
  vid->nAspectY = static_cast<std::int16_t>(aspect.y);
  vid->eAspectFit = node.Get(kAspectFit);
}

bool HasLetter(std::string_view text, char letter) {
  return FindNoCase(text, std::string_view(&letter, 1)) != std::string_view::npos;
}

// A raster of the standards, whatever its rate.
bool IsKnownRaster(const XV_VID_PROPS& vid) {
  XV_VID_PROPS probe = vid;
  probe.eInterlace = eXvI_Auto;
  for (const double rate : {vid.dblRate, 25.0, 30000.0 / 1001, 50.0}) {
    probe.dblRate = rate;
    if (DetectVideoFormat(probe, false) != 0) return true;
  }
  return false;
}

// The letters in a size such as "720x576I" rule the field order.
std::uint32_t InterlaceOfSize(std::string_view text, const XV_VID_PROPS& sized,
                              const XV_VID_PROPS& input) {
  const int lines = std::abs(sized.nHeight);
  if (HasLetter(text, 't')) return eXvI_TopFirst;
  if (HasLetter(text, 'i') && lines > 486) return eXvI_TopFirst;
  if (HasLetter(text, 'b')) return eXvI_BottomFirst;
  if (HasLetter(text, 'i')) return eXvI_BottomFirst;
  if (!HasLetter(text, 'p') && lines >= 480 && sized.nWidth >= 720 && IsKnownRaster(sized)) {
    const int order = InterlaceOrder(input);
    if (order == 0) return eXvI_Progressive;
    return order > 0 ? eXvI_TopFirst : eXvI_BottomFirst;
  }
  return eXvI_Progressive;
}

bool ApplySize(const XV_VID_PROPS& input, const XMLParse::CoXMLNode& node, const Aspect& aspect,
               XV_VID_PROPS* vid) {
  std::string text = node.Get(kVideoSize);
  if (text.empty()) text = node.Get(kSize);
  std::int32_t width = 0;
  std::int32_t height = 0;
  if (text.empty() || !ReadPair(text, &width, &height) || width == 0 || height == 0) return false;
  XV_VID_PROPS sized{};
  sized.fccColor = input.fccColor;
  sized.dblRate = input.dblRate;
  sized.nWidth = width;
  sized.nHeight = height;
  sized.nRowBytes = NaturalRowBytes(input.fccColor, width);
  sized.eInterlace = InterlaceOfSize(text, sized, input);
  NormaliseVideoProps(&sized, true);
  if (aspect.set()) {
    ApplyAspect(aspect, node, &sized);
  } else {
    sized.eAspectFit = node.Get(kAspectFit);
  }
  *vid = sized;
  return true;
}

// "aspect" as two numbers; nothing where it is absent or bad.
Aspect DisplayAspectOf(const XMLParse::CoXMLNode& node) {
  Aspect aspect;
  const std::string text = node.Get(kDisplayAspect);
  if (text.empty() || !IsDisplayAspect(text)) return aspect;
  if (ReadPair(text, &aspect.x, &aspect.y) && aspect.set()) return aspect;
  const AVRational ratio = av_d2q(ReadDouble(text), 1000);
  return {ratio.num, ratio.den};
}

// A track that is cut shows the cut's shape: its aspect follows, unless it is told. A rotated one
// is fitted into the input's.
Aspect AspectOfCut(const XV_VID_PROPS& input, const XMLParse::CoXMLNode& node) {
  CropSides crop;
  if (node.Find(kRotate) || ReadCrop(node, &crop).Failed() || !crop.Any()) return {};
  const XV_VID_PROPS cut = CutProps(input, WholeSamples(crop, input));
  if (cut.nWidth < 1 || cut.nHeight == 0) return {};
  return {cut.nAspectX, cut.nAspectY};
}

}  // namespace

AVRational TimeBaseFromRate(double rate) {
  const HwRate ratio = FrameRateToRatio(rate > 0 ? rate : kDefaultRate);
  return {static_cast<int>(ratio.denominator), static_cast<int>(ratio.numerator)};
}

VideoGeometry ResolveVideoGeometry(const XV_VID_PROPS& input, const XMLParse::CoXMLNode& node,
                                   AVCodecID id, bool rawDv) {
  VideoGeometry geometry;
  geometry.vid = input;
  Aspect aspect;
  if (const auto text = node.Find(kAspect)) ReadPair(*text, &aspect.x, &aspect.y);
  const Aspect told = aspect.set() ? Aspect{} : DisplayAspectOf(node);
  if (!aspect.set() && id != AV_CODEC_ID_DVVIDEO) aspect = AspectOfCut(input, node);
  int dvFormat = kDvAuto;
  if (id == AV_CODEC_ID_DVVIDEO) {
    dvFormat = node.Get(kDvFormat);
    geometry.vid =
        DvRaster(input, rawDv ? RawDvMember(input, dvFormat) : dvFormat, &geometry.dvPixelFormat);
    if (aspect.set()) ApplyAspect(aspect, node, &geometry.vid);
  } else if (!ApplySize(input, node, aspect, &geometry.vid)) {
    const bool differs = aspect.x != input.nAspectX || aspect.y != input.nAspectY;
    if (aspect.set() && differs) ApplyAspect(aspect, node, &geometry.vid);
  }
  if (told.set()) {
    ApplyAspect(told, node, &geometry.vid);
    geometry.vid.eAspectFit = eXvAF_IgnoreAspect;
  }
  const int top = node.Get(kTop);
  if (top >= 0 && (dvFormat < 0 || dvFormat > 2)) {
    geometry.vid.eInterlace = top != 0 ? eXvI_TopFirst : eXvI_BottomFirst;
  }
  return geometry;
}

}  // namespace xv
