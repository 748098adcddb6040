#include "component/default_codecs.h"

#include "catalogue/muxer_name.h"
#include "codec/codec_choice.h"
#include "component/muxer_profile.h"

namespace xv {
namespace {

const AVOutputFormat* KnownFormat(const std::string& target, const std::string& format) {
  const std::string name = MuxerNameFor(target, format);
  return av_guess_format(name.empty() ? nullptr : name.c_str(), target.c_str(), nullptr);
}

}  // namespace

std::string DefaultEncoder(const std::string& target, const std::string& format, AVMediaType type) {
  const bool video = type == AVMEDIA_TYPE_VIDEO;
  if (IsProfiledFormat(format)) return video ? "mpeg2video" : "mp2";
  const AVOutputFormat* known = KnownFormat(target, format);
  if (known == nullptr) return {};
  const AVCodec* encoder = avcodec_find_encoder(DefaultCodec(*known, type));
  return encoder == nullptr ? std::string() : encoder->name;
}

bool HoldsTracks(const std::string& target, const std::string& format, AVMediaType type) {
  if (IsProfiledFormat(format)) return true;
  const AVOutputFormat* known = KnownFormat(target, format);
  return known == nullptr || DefaultCodec(*known, type) != AV_CODEC_ID_NONE;
}

}  // namespace xv
