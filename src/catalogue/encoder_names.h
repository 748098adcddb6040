#pragma once

#include <string>
#include <string_view>

struct AVCodec;

// How the ids of a catalogue are FFmpeg's encoders.
namespace xv {

// FFmpeg's name of an encoder that lists may call otherwise: "x264" is libx264.
std::string EncoderNameOf(std::string_view id);

// An id of this system that FFmpeg knows no encoder for and needs none: "packets", "null",
// "wav_file".
bool IsOwnId(std::string_view id);

// The encoder of an id, null when this build of FFmpeg has none.
const AVCodec* FindEncoder(std::string_view id);

}  // namespace xv
