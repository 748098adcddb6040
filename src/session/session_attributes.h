#pragma once

#include <span>
#include <string_view>

#include "captions/embed.h"
#include "tree/node.h"

// What the session itself reads of its attributes.
namespace xv {

// The node of a second output's options.
inline constexpr std::string_view kSecondNode = "second_encoder";

bool IsMuxerName(std::string_view text);
bool IsStartTimecode(std::string_view text);
bool IsStrictness(std::string_view text);

inline constexpr const char* kSplits[] = {"0",    "1",     "2",   "4",  "6",  "8",
                                          "true", "false", "yes", "no", "on", "off"};

// --- outputs ---

inline constexpr Attribute<std::string> kFormat{"format",
                                                kSessionNode,
                                                {},
                                                Expect("a muxer's name, null", IsMuxerName),
                                                "Container; without it the name tells."};
inline constexpr Attribute<bool> kCreateFolder{
    "create_folder", kSessionNode, true, {}, "Makes the folder of an image sequence."};
inline constexpr Attribute<bool> kPlayWhileRec{
    "play_while_rec", kSessionNode, false, {}, "Keeps index files beside the growing file."};
inline constexpr Attribute<bool> kLowLevelIo{
    "play_while_rec.low_level_io", kSessionNode, {}, {}, "Index positions from the write calls."};
inline constexpr Attribute<bool> kRecovery{
    "recovery",
    kSessionNode,
    true,
    {},
    "Keeps a note beside a growing recording, and beside every mov and mp4 file, until it is "
    "closed; "
    "xvfollow --copy rescues the file by it when the writer dies."};
inline constexpr Attribute<FilePath> kSecondEncoder{
    "second_encoder", kSessionNode, {}, {}, "Target of a second output; its node holds options."};
inline constexpr Attribute<FilePath> kCaptureFile{
    "capture_file", kSessionNode, {}, {}, "As second_encoder, read when that is absent."};
inline constexpr Attribute<FilePath> kSdp{
    "sdp", kSessionNode, "Config.sdp", {}, "Session description of an RTP output."};
inline constexpr Attribute<double> kIoTimeout{
    "io_timeout",
    kSessionNode,
    10.0,
    {.least = 1e-3, .most = 999'999, .expected = "seconds, more than 0 and below 1000000"},
    "Patience with a receiver that takes nothing."};
inline constexpr Attribute<SubNode> kMetadata{
    "metadata", kSessionNode, {}, {}, "Metadata of the file."};
inline constexpr Attribute<std::string> kStrict{
    "strict", kSessionNode, "true",
    Expect("true, false, or FFmpeg's very to experimental for the muxer", IsStrictness),
    "With false another encoder, preset or profile stands in for one that does not exist."};
inline constexpr Attribute<std::string> kProtocol{
    "protocol", kSessionNode, {}, {}, "Kept for catalogues; not read."};
inline constexpr Attribute<std::string> kMpegTimecode{
    "mpeg.timecode", kSessionNode, {}, {}, "Kept for catalogues; not read."};

inline constexpr Attribute<bool> kStopAtOnce{
    "stop.at_once",
    kSessionNode,
    false,
    {},
    "A stop gives up the pictures that wait and those that the encoder holds, so that the file is "
    "closed within moments. Seen by a stop that runs, too."};

// --- times and tracks ---

inline constexpr Attribute<std::string> kStartTimecode{
    "start_timecode", kSessionNode, "given",
    Expect("given, auto, disabled, local_time or a time code such as 10:00:00:00", IsStartTimecode),
    "Start time code of the output. given: the first frame's where that is not zero, else none; "
    "auto: the first frame's whatever it is, the time of day where a frame has no time."};
inline constexpr Attribute<double> kItsOffset{"itsoffset", kSessionNode, 0.0, Expect("seconds"),
                                              "Delays sound (positive) or picture (negative)."};
inline constexpr Attribute<std::string> kSplitChannels{
    "split_channels", kSessionNode, {}, OneOf(kSplits), "Channels of one audio track."};
inline constexpr Attribute<bool> kMergeTracks{
    "merge_tracks", kSessionNode, false, {}, "One audio track of all channels."};
inline constexpr Attribute<double> kTimeTolerance{
    "time.tolerance",
    kSessionNode,
    20.0,
    {.least = 0, .most = 1e6, .expected = "milliseconds, 0 and more"},
    "How far a frame may be off the end of the one before; what is further off starts there. 0: "
    "any distance."};
inline constexpr Attribute<double> kSoundTolerance{
    "audio.tolerance",
    kSessionNode,
    40.0,
    {.least = 0, .most = 1e6, .expected = "milliseconds, 0 and more"},
    "How far sound may be off its frame; silence or a cut mends more. 0: it stays as it comes."};
inline constexpr Attribute<bool> kIgnorePts{
    "ignore_pts", kSessionNode, false, {}, "Numbers frames instead of using their times."};

// --- stages ---

inline constexpr Attribute<Rate> kDiskSpace{
    "diskspace.min",
    kSessionNode,
    "300M",
    {.least = 0xA00000, .expected = "10485760 and more; K, M, G or T may follow"},
    "Free disk space that must remain."};
inline constexpr Attribute<std::int32_t> kVideoBuffers{
    "video.buffers", kSessionNode, 24, AtLeast(0),
    "Frames that wait for the encoder; 0: none. Not set, and without drop_frames: 20 MB at most."};
inline constexpr Attribute<std::int32_t> kThreads{
    "threads", kSessionNode, 0, Between(0, 1024),
    "The most threads that convert a picture, and of an encoder that is told none; 0: as many as "
    "cores, or as XVWRITER_THREADS says."};
inline constexpr Attribute<bool> kDropFrames{
    "video.drop_frames", kSessionNode, false, {}, "Drops frames when the queue is full."};
inline constexpr Attribute<bool> kEmbedCc{
    "embed_cc", kSessionNode, false, {}, "Puts captions into the video stream."};
inline constexpr Attribute<CaptionPlacement> kEmbedPlacement{
    "embed_cc.placement", kSessionNode, CaptionPlacement::kPicture, OneOf(kCaptionPlacements),
    "Where MPEG-2 and MPEG-4 captions stand."};
inline constexpr Attribute<FilePath> kWavPath{
    "wav_path", kSessionNode, {}, {}, "Side WAV file with the sound as it came."};
inline constexpr Attribute<FilePath> kRawVideo{
    "raw_video", kSessionNode, {}, {}, "Dump of the video packets."};
inline constexpr Attribute<FilePath> kRawAudio{
    "raw_audio", kSessionNode, {}, {}, "Dump of the first audio track's packets."};
inline constexpr Attribute<FilePath> kRawAudioTrack{
    "raw_audio.N", kSessionNode, {}, FromTrack(1), "Dump of the packets of audio track N."};
inline constexpr Attribute<bool> kSavePackets{
    "save_packets", kSessionNode, false, {}, "Writes each packet to its own file, too."};
inline constexpr Attribute<bool> kXfCodecs{
    "xfcodecs", kSessionNode, false, {}, "Records through the component encoders."};

// kStrict: another encoder, preset or profile may stand in for one that does not exist.
bool AllowsStandIns(const XMLParse::CoXMLNode& attributes);
// kStrict: FFmpeg's own value for the muxer; "" for none.
std::string MuxerStrictness(const XMLParse::CoXMLNode& attributes);

// All of the session node, those of the captions' capture too.
std::span<const AttributeRow> SessionAttributes();
// Those of the node kSecondNode that are not its muxer's.
std::span<const AttributeRow> SecondOutputAttributes();

}  // namespace xv
