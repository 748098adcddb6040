#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "contracts/av_handles.h"

namespace xv {

// Codecs that FFmpeg does not know: encoders of vendors behind our own records. The code, four
// characters, travels in the variable that holds an AVCodecID.
enum class PseudoCodec : std::uint32_t {
  kNone = 0,
  kCuda264 = 0x34363263,   // "c264"
  kNvenc264 = 0x3436326E,  // "n264"
  kNvenc265 = 0x3536326E,  // "n265"
  kQuick264 = 0x34363271,  // "q264"
};

struct PseudoCodecRecord {
  PseudoCodec code;
  AVCodecID reported;  // the codec id of the streams
  const char* name;
  const char* description;
  std::array<AVPixelFormat, 3> pixelFormats;  // ends with AV_PIX_FMT_NONE
};

// The code that a text of the attribute "codec" selects, kNone for any other text. Any case.
PseudoCodec PseudoCodecFromText(std::string_view text);
// Null for any other code.
const PseudoCodecRecord* FindPseudoCodec(std::uint32_t id);

}  // namespace xv
