#include "codec/d10.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "codec/line_systems.h"
#include "codec/stream_attributes.h"
#include "frames/scaling_choice.h"
#include "media/pixel_layout.h"
#include "media/validity.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

constexpr std::int64_t kMegabit = 1'000'000;
constexpr std::int64_t kRates[] = {30 * kMegabit, 40 * kMegabit, 50 * kMegabit};
constexpr int kIntervalLines = 32;  // of the vertical interval, the first line of field 1 on top

}  // namespace

bool IsD10(const XMLParse::CoXMLNode& node, AVCodecID codec, const AVOutputFormat& format) {
  if (codec != AV_CODEC_ID_MPEG2VIDEO) return false;
  return node.Get(kD10) || std::string_view(format.name) == "mxf_d10";
}

VideoGeometry D10Geometry(const XV_VID_PROPS& input) {
  VideoGeometry geometry;
  const bool is625 = Is625(input.dblRate);
  const bool wide = DisplayAspect(input) > 1.5;
  geometry.vid = input;
  geometry.vid.eVideoFormat = eXvVF_Custom;
  geometry.vid.nWidth = 720;
  geometry.vid.nHeight = is625 ? 576 : 480;
  geometry.vid.nRowBytes = NaturalRowBytes(input.fccColor, geometry.vid.nWidth);
  geometry.vid.dblRate = is625 ? kRate625 : kRate525;
  geometry.vid.nAspectX = wide ? 16 : 4;
  geometry.vid.nAspectY = wide ? 9 : 3;
  const bool bottomFirst = InterlaceOrder(input) < 0;
  geometry.vid.eInterlace = bottomFirst ? eXvI_BottomFirst : eXvI_TopFirst;
  if (InterlaceOrder(input) == 0) geometry.vid.eInterlace = eXvI_Progressive;
  geometry.linesAbove = bottomFirst ? kIntervalLines - 1 : kIntervalLines;
  geometry.linesBelow = kIntervalLines - geometry.linesAbove;
  geometry.codedOrder = AV_FIELD_TT;
  return geometry;
}

Status ReadD10Rate(const XMLParse::CoXMLNode& node, std::int64_t* rate, std::string* words) {
  *rate = ReadRate(node.Get(kBitrate));
  if (*rate == 0) *rate = node.Find(kB).value_or(0);
  if (*rate == 0) *rate = *std::rbegin(kRates);
  if (std::find(std::begin(kRates), std::end(kRates), *rate) != std::end(kRates)) return S_OK;
  *words = fmt::format("D-10 has 30, 40 or 50 Mbit/s, not {} bit/s", *rate);
  return E_INVALIDARG;
}

int D10PictureBytes(std::int64_t rate, AVRational timeBase) {
  return static_cast<int>(
      av_rescale_rnd(rate, timeBase.num, 8 * std::int64_t{timeBase.den}, AV_ROUND_DOWN));
}

void SetD10Options(std::int64_t rate, AVRational timeBase, AvDictionary& options) {
  const std::int64_t bitsOfPicture = 8 * std::int64_t{D10PictureBytes(rate, timeBase)};
  const std::string bits =
      std::to_string(av_rescale_rnd(bitsOfPicture, timeBase.den, timeBase.num, AV_ROUND_DOWN));
  // A picture fills the buffer.
  const std::string picture = std::to_string(bitsOfPicture);
  for (const char* name : {"b", "minrate", "maxrate"}) options.Set(name, bits.c_str());
  for (const char* name : {"bufsize", "rc_init_occupancy"}) options.Set(name, picture.c_str());
  for (const auto& [name, value] : {std::pair{"rc_max_vbv_use", "1"},
                                    {"g", "0"},
                                    {"bf", "0"},
                                    {"dc", "2"},  // 10 bits
                                    {"intra_vlc", "1"},
                                    {"non_linear_quant", "1"},
                                    {"flags", "+ildct+low_delay"}}) {
    options.Set(name, value);
  }
  options.Set("qmin", "1", AV_DICT_DONT_OVERWRITE);
}

unsigned D10Tag(std::int64_t rate, double pictures, const AVOutputFormat& format) {
  if (std::string_view(format.name) != "mov") return 0;
  const char digit = static_cast<char>('0' + rate / (10 * kMegabit));
  return MKTAG('m', 'x', digit, Is625(pictures) ? 'p' : 'n');
}

}  // namespace xv
