#include "codec/stream_attributes.h"

#include <algorithm>

#include "base/text.h"

namespace xv {
namespace {

constexpr AttributeSpec kVideo[] = {
    {"codec", "video", "string", "", "an encoder's name", "Encoder; without it the format's own."},
    {"codec_id", "video", "int", "0", "an AVCodecID", "Encoder by number; wins over the name."},
    {"enabled", "video", "bool", "true", "", "Whether there is a video stream."},
    {"bitrate", "video", "rate", "", "", "Bit rate; the encoder's \"b\"."},
    {"gop_size", "video", "int", "", "",
     "Pictures from key frame to key frame; the encoder's \"g\"."},
    {"b", "video", "rate", "", "", "Bit rate.", true},
    {"g", "video", "int", "", "", "Pictures from key frame to key frame.", true},
    {"ar", "video", "string", "", "\"16:9\"", "Picture aspect of the output."},
    {"ar_type", "video", "list", "ignore-ar",
     "default, ignore-ar, letter-box, crop, no-scale, none",
     "What happens to pictures of another aspect."},
    {"video_size", "video", "string", "", "\"1280x720\", with I, T, B or P",
     "Size and field order."},
    {"size", "video", "string", "", "as video_size", "As video_size, read when that is absent."},
    {"video_format", "video", "string", "", "", "Kept for catalogues; not read."},
    {"dv_format", "video", "list", "", "dvsd, dv25, dv50, dvhd", "Member of the DV family."},
    {"top", "video", "int", "-1", "-1, 0, 1", "Field order: 1 top first, 0 bottom first."},
    {"interlace", "video", "string", "auto", "true, false, auto", "Interlaced coding."},
    {"V422", "video", "bool", "false", "", "Prefer 4:2:2 sampling where the encoder has it."},
    {"use_vpp", "video", "bool", "false", "", "As V422."},
    {"slices", "video", "int", "", "", "Slices of a picture.", true},
    {"dc", "video", "int", "0", "9 to 11", "Intra DC precision of MPEG-2 in bits."},
    {"tag", "video", "string", "", "four characters", "Codec tag, allowing unusual ones."},
    {"vtag", "video", "string", "", "four characters", "Codec tag."},
    {"streamid", "video", "int", "-1", "", "Id of the stream in the container."},
    {"gop_timecode", "video", "string", "", "", "Start time code in the GOP header.", true},
    {"scaling_quality", "video", "string", "", "auto or a code", "Scaling filter."},
    {"scaling_siting", "video", "list", "classic", "classic, centred",
     "Sample positions in scaling."},
    {"crop", "video", "string", "", "1 to 4 numbers", "Pixels cut from the edges."},
    {"rotate", "video", "list", "", "right, left", "Rotation by a quarter turn."},
    {"mirror", "video", "list", "", "horz, vert, both", "Mirroring."},
};

constexpr AttributeSpec kAudio[] = {
    {"codec", "audio", "string", "", "an encoder's name", "Encoder; without it the format's own."},
    {"codec_id", "audio", "int", "0", "an AVCodecID", "Encoder by number; wins over the name."},
    {"enabled", "audio", "bool", "true", "", "Whether there are audio streams."},
    {"bitrate", "audio", "rate", "", "", "Bit rate; the encoder's \"b\"."},
    {"b", "audio", "rate", "", "", "Bit rate.", true},
    {"sample_rate", "audio", "int", "auto", "Hz", "Sample rate of the output."},
    {"streamid", "audio", "int", "-1", "", "Id of the stream in the container."},
    {"streamid.N", "audio", "int", "", "", "As streamid, for track N."},
    {"offset_msec", "audio", "double", "0", "", "Delay of the sound in milliseconds."},
    {"wav_path", "audio", "path", "", "", "Side WAV file; the session's wav_path wins."},
};

}  // namespace

std::span<const AttributeSpec> VideoAttributes() { return kVideo; }
std::span<const AttributeSpec> AudioAttributes() { return kAudio; }

bool IsKnownAttribute(std::span<const AttributeSpec> specs, std::string_view key) {
  return std::any_of(specs.begin(), specs.end(), [key](const AttributeSpec& spec) {
    const std::string_view name = spec.key;
    if (!name.ends_with(".N")) return EqualsNoCase(name, key);
    const std::string_view stem = name.substr(0, name.size() - 1);
    return key.size() > stem.size() && EqualsNoCase(key.substr(0, stem.size()), stem) &&
           key.find_first_not_of("0123456789", stem.size()) == std::string_view::npos;
  });
}

}  // namespace xv
