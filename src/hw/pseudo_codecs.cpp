#include "hw/pseudo_codecs.h"

#include "base/text.h"

namespace xv {
namespace {

constexpr PseudoCodecRecord kRecords[] = {
    {PseudoCodec::kCuda264,
     AV_CODEC_ID_H264,
     "c264",
     "CUDA H.264 Encoder",
     {AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUYV422, AV_PIX_FMT_NONE}},
    {PseudoCodec::kNvenc264,
     AV_CODEC_ID_H264,
     "n264",
     "NVidia NVEnc H.264 Encoder",
     {AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUYV422, AV_PIX_FMT_NONE}},
    {PseudoCodec::kNvenc265,
     AV_CODEC_ID_HEVC,
     "n265",
     "NVidia NVEnc H.265 (HEVC) Encoder",
     {AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUYV422, AV_PIX_FMT_NONE}},
    {PseudoCodec::kQuick264,
     AV_CODEC_ID_H264,
     "q264",
     "Intel QuickSync H.264 Encoder",
     {AV_PIX_FMT_NV12, AV_PIX_FMT_YUYV422, AV_PIX_FMT_NONE}},
};

struct TextToCode {
  const char* text;
  PseudoCodec code;
};

constexpr TextToCode kTexts[] = {
    {"c264", PseudoCodec::kCuda264},    {"n264", PseudoCodec::kNvenc264},
    {"l264", PseudoCodec::kNvenc264},   {"n265", PseudoCodec::kNvenc265},
    {"q264", PseudoCodec::kQuick264},   {"q264sw", PseudoCodec::kQuick264},
    {"q264hw", PseudoCodec::kQuick264},
};

}  // namespace

PseudoCodec PseudoCodecFromText(std::string_view text) {
  for (const TextToCode& entry : kTexts) {
    if (EqualsNoCase(text, entry.text)) return entry.code;
  }
  return PseudoCodec::kNone;
}

const PseudoCodecRecord* FindPseudoCodec(std::uint32_t id) {
  for (const PseudoCodecRecord& record : kRecords) {
    if (static_cast<std::uint32_t>(record.code) == id) return &record;
  }
  return nullptr;
}

}  // namespace xv
