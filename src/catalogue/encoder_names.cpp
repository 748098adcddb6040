#include "catalogue/encoder_names.h"

#include "base/text.h"
#include "values/value_syntax.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace xv {

std::string EncoderNameOf(std::string_view id) {
  return EqualsNoCase(id, "x264") ? std::string("libx264") : std::string(id);
}

bool IsOwnId(std::string_view id) {
  static constexpr const char* kOwn[] = {"packets", "null", "wav_file"};
  return WordIndex(id, kOwn) >= 0;
}

const AVCodec* FindEncoder(std::string_view id) {
  return avcodec_find_encoder_by_name(EncoderNameOf(id).c_str());
}

}  // namespace xv
