#pragma once

#include <span>
#include <string_view>

#include "tree/node.h"
#include "values/time_syntax.h"
#include "values/words.h"
#include "xvwriter/media.h"

// What stream setup reads of the nodes "video" and "audio".
namespace xv {

// An encoder of FFmpeg, a vendor's one, "null" or one of the words that the session knows.
bool IsEncoderName(std::string_view text);
// "1280x720", with I, T, B or P behind it.
bool IsPictureSize(std::string_view text);
// "16:9".
bool IsAspectRatio(std::string_view text);
// "16:9" or "1.778".
bool IsDisplayAspect(std::string_view text);
bool IsCodecTag(std::string_view text);
// FFmpeg's encoders have no use for more.
inline constexpr int kMostEncoderThreads = 64;
bool IsThreadCount(std::string_view text);
bool IsInterlace(std::string_view text);
// "5M", "1.5M", "300": what FFmpeg reads as a number.
bool IsAmount(std::string_view text);

// --- both kinds of tracks ---

inline constexpr Attribute<std::string> kCodec{"codec",
                                               kAnyTrack,
                                               {},
                                               Expect("an encoder's name", IsEncoderName),
                                               "Encoder; without it the format's own."};
inline constexpr Attribute<std::int32_t> kCodecId{"codec_id",
                                                  kAnyTrack,
                                                  0,
                                                  {.least = 0, .expected = "an AVCodecID"},
                                                  "Encoder by number; wins over the name."};
inline constexpr Attribute<bool> kEnabled{
    "enabled", kAnyTrack, true, {}, "Whether there are streams of this kind."};
inline constexpr Attribute<std::string> kBitrate{"bitrate",
                                                 kAnyTrack,
                                                 {},
                                                 Expect("a number; k, M or G may follow", IsAmount),
                                                 "Bit rate; the encoder's \"b\"."};
inline constexpr Attribute<Rate> kB{"b", kAnyTrack, {}, {}, "Bit rate.", true};
inline constexpr Attribute<std::int32_t> kStreamId{
    "streamid", kAnyTrack, -1, {}, "Id of the stream in the container."};
inline constexpr Attribute<SubNode> kStreamMetadata{
    "metadata", kAnyTrack, {}, {}, "Metadata of the stream."};

// --- video ---

inline constexpr Attribute<std::string> kGopSize{
    "gop_size",
    kVideoNode,
    {},
    Expect("a number", IsAmount),
    "Pictures from key frame to key frame; the encoder's \"g\"."};
inline constexpr Attribute<std::int32_t> kG{
    "g", kVideoNode, {}, {}, "Pictures from key frame to key frame.", true};
inline constexpr Attribute<std::string> kAspect{"ar",
                                                kVideoNode,
                                                {},
                                                Expect("two numbers such as 16:9", IsAspectRatio),
                                                "Picture aspect of the output."};
inline constexpr Attribute<std::string> kDisplayAspect{
    "aspect",
    kVideoNode,
    {},
    Expect("two numbers such as 16:9, or one such as 1.778", IsDisplayAspect),
    "Display aspect that is written, without changing the picture; read when ar is absent."};
inline constexpr Attribute<eXvAspectFit> kAspectFit{"ar_type", kVideoNode, eXvAF_IgnoreAspect,
                                                    OneOf(words::kScaleType),
                                                    "What happens to pictures of another aspect."};
inline constexpr Attribute<std::string> kVideoSize{
    "video_size",
    kVideoNode,
    {},
    Expect("a size such as 1280x720, with I, T, B or P", IsPictureSize),
    "Size and field order."};
inline constexpr Attribute<std::string> kSize{
    "size", kVideoNode, {}, kVideoSize.limits, "As video_size, read when that is absent."};
inline constexpr Attribute<std::string> kVideoFormat{
    "video_format", kVideoNode, {}, {}, "Kept for catalogues; not read."};
inline constexpr Attribute<Word> kDvFormat{
    "dv_format", kVideoNode, -1, OneOf(words::kDvFormat),
    "Member of the DV family. Without it a file of DV alone gets dvsd, other containers "
    "dv25 or dv50 after the input's layout, high definition dvhd."};
inline constexpr Attribute<bool> kD10{
    "d10",
    kVideoNode,
    false,
    {},
    "MPEG-2 as D-10 and IMX have it (SMPTE 356M): 720x608 at 25 or 720x512 at 29.97, 4:2:2, intra, "
    "30, 40 or 50 Mbit/s (50 without `b`). Always so in mxf_d10."};
inline constexpr Attribute<std::int32_t> kTop{"top", kVideoNode, -1, Between(-1, 1),
                                              "Field order: 1 top first, 0 bottom first."};
inline constexpr Attribute<TriState> kInterlace{
    "interlace", kVideoNode, -1, Expect("true, false, auto", IsInterlace), "Interlaced coding."};
inline constexpr Attribute<bool> kV422{
    "V422", kVideoNode, false, {}, "Prefer 4:2:2 sampling where the encoder has it."};
inline constexpr Attribute<bool> kUseVpp{"use_vpp", kVideoNode, false, {}, "As V422."};
inline constexpr Attribute<std::string> kSlices{
    "slices", kVideoNode, {}, {}, "Slices of a picture.", true};
inline constexpr Attribute<std::string> kEncoderThreads{
    "threads", kVideoNode, "auto", Expect("auto or 0 to 64", IsThreadCount),
    "Threads of the encoder. auto, 0: as many as the session may have, else the encoder's choice."};
inline constexpr Attribute<std::int32_t> kIntraDc{"dc", kVideoNode, 8, Between(8, 11),
                                                  "Intra DC precision of MPEG-2 in bits."};
inline constexpr Attribute<std::string> kTag{"tag",
                                             kVideoNode,
                                             {},
                                             Expect("four characters", IsCodecTag),
                                             "Codec tag, allowing unusual ones."};
inline constexpr Attribute<std::string> kVTag{"vtag", kVideoNode, {}, kTag.limits, "Codec tag."};
inline constexpr Attribute<std::string> kGopTimecode{
    "gop_timecode",
    kVideoNode,
    {},
    Expect("a time code such as 10:00:00:00", IsTimeCode),
    "Start time code in the GOP header.",
    true};

// --- audio ---

inline constexpr Attribute<std::int32_t> kSampleRate{
    "sample_rate",
    kAudioNode,
    {},
    {.least = 1, .expected = "Hz, 1 and more"},
    "Sample rate of the output; without it the nearest that the encoder has."};
inline constexpr Attribute<std::int32_t> kAr{
    "ar", kAudioNode, {}, kSampleRate.limits, "As sample_rate, read when that is absent."};
inline constexpr Attribute<std::int32_t> kAc{
    "ac",
    kAudioNode,
    {},
    Between(0, 32),
    "Channels of a track; fewer are a fold, more are silent. 0: those of the input."};
inline constexpr Attribute<std::int32_t> kTrackStreamId{
    "streamid.N", kAudioNode, {}, {}, "As streamid, for track N."};
inline constexpr Attribute<double> kOffset{
    "offset_msec", kAudioNode, 0.0, {}, "Delay of the sound in milliseconds."};
inline constexpr Attribute<FilePath> kTrackWavPath{
    "wav_path", kAudioNode, {}, {}, "Side WAV file; the session's wav_path wins."};

// All of the nodes; those of the geometry converter too.
std::span<const AttributeRow> VideoAttributes();
std::span<const AttributeRow> AudioAttributes();

}  // namespace xv
