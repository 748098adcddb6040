#pragma once

#include <string>
#include <string_view>

extern "C" {
#include <libavcodec/codec_id.h>
}

struct AVOutputFormat;

namespace xv {

// Stands for the choice of no picture where a codec's id is asked; "null" is that of no sound too.
inline constexpr char kNoVideoCell[] = "no video";

// What the codec of an id of the list, a vendor's one too, makes; AV_CODEC_ID_NONE for one that is
// not there.
AVCodecID CodecIdOf(std::string_view codec);

// Why a container does not take a codec: "" when it does or when that is not known. `format` is an
// id of the list. Asks FFmpeg, and a short table of what FFmpeg does not know before it fails.
std::string RefusedCell(std::string_view format, std::string_view codec);

// The muxer behind an id of the list; null for a container that FFmpeg does not write.
const AVOutputFormat* MuxerOf(std::string_view format);

}  // namespace xv
