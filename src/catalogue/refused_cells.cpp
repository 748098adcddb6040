#include "catalogue/refused_cells.h"

#include "base/text.h"
#include "catalogue/encoder_names.h"
#include "hw/pseudo_codecs.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace xv {
namespace {

struct Cell {
  const char* format;
  const char* codec;
  const char* reason;
};

// What the muxers take for granted and then refuse when the header or a packet is written.
constexpr Cell kCells[] = {
    {"wav", "pcm_s24daud", "WAV has no tag for D-Cinema audio"},
    {"avi", "adpcm_ms", "AVI tells a length three times too long"},
    {"mov", "libvpx", "MOV takes VP8 in no player"},
    {"flv", "pcm_s16le", "FLV takes PCM up to 44100 Hz only"},
    {"rtsp", "ac3", "RTP has no packets for AC-3 here"},
    {"rtsp", "ac3_fixed", "RTP has no packets for AC-3 here"},
    {"hls", "mpeg4", "HLS keeps MPEG-4's headers out of the segments"},
    {"mxf", kNoVideoCell, "MXF is written with pictures only"},
};

}  // namespace

AVCodecID CodecIdOf(std::string_view codec) {
  const PseudoCodec pseudo = PseudoCodecFromText(codec);
  if (pseudo != PseudoCodec::kNone) {
    return FindPseudoCodec(static_cast<std::uint32_t>(pseudo))->reported;
  }
  const AVCodec* encoder = FindEncoder(codec);
  return encoder == nullptr ? AV_CODEC_ID_NONE : encoder->id;
}

const AVOutputFormat* MuxerOf(std::string_view format) {
  const std::string name = EqualsNoCase(format, "mov_dnxhd") ? "mov" : std::string(format);
  return name.empty() ? nullptr : av_guess_format(name.c_str(), nullptr, nullptr);
}

std::string RefusedCell(std::string_view format, std::string_view codec) {
  if (IsOwnId(codec)) return {};
  for (const Cell& cell : kCells) {
    if (EqualsNoCase(format, cell.format) && EqualsNoCase(codec, cell.codec)) return cell.reason;
  }
  const AVOutputFormat* muxer = MuxerOf(format);
  const AVCodecID id = CodecIdOf(codec);
  if (muxer == nullptr || id == AV_CODEC_ID_NONE) return {};
  // Zero is a refusal; a negative number means that the muxer was never asked about codecs.
  const bool refused = avformat_query_codec(muxer, id, FF_COMPLIANCE_NORMAL) == 0;
  return refused ? std::string(muxer->name) + " does not take this codec" : std::string();
}

}  // namespace xv
