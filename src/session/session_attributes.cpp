#include "session/session_attributes.h"

#include <iterator>
#include <vector>

#include "captions/capture_options.h"

namespace xv {
namespace {

constexpr AttributeSpec kSession[] = {
    {"format", "", "string", "", "a muxer's name, null", "Container; without it the name tells."},
    {"create_folder", "", "bool", "true", "", "Makes the folder of an image sequence."},
    {"play_while_rec", "", "bool", "false", "", "Keeps index files beside the growing file."},
    {"play_while_rec.low_level_io", "", "bool", "", "", "Index positions from the write calls."},
    {"second_encoder", "", "path", "", "", "Target of a second output; its node holds options."},
    {"capture_file", "", "path", "", "", "As second_encoder, read when that is absent."},
    {"start_timecode", "", "string", "auto", "disabled, auto, local_time or a time code",
     "Start time code of the output."},
    {"itsoffset", "", "double", "0", "seconds", "Delays sound (positive) or picture (negative)."},
    {"split_channels", "", "int", "", "1, 2, 4, 6, 8, true", "Channels of one audio track."},
    {"merge_tracks", "", "bool", "false", "", "One audio track of all channels."},
    {"wav_path", "", "path", "", "", "Side WAV file with the sound as it came."},
    {"diskspace.min", "", "rate", "300M", "10485760 and more", "Free disk space that must remain."},
    {"video.buffers", "", "int", "24", "0 and more", "Frames that wait for the encoder; 0: none."},
    {"video.drop_frames", "", "bool", "false", "", "Drops frames when the queue is full."},
    {"ignore_pts", "", "bool", "false", "", "Numbers frames instead of using their times."},
    {"embed_cc", "", "bool", "false", "", "Puts captions into the video stream."},
    {"embed_cc.placement", "", "list", "sequence", "sequence, picture",
     "Where MPEG-2 captions stand."},
    {"raw_video", "", "path", "", "", "Dump of the video packets."},
    {"raw_audio", "", "path", "", "", "Dump of the first audio track's packets."},
    {"raw_audio.N", "", "path", "", "", "Dump of the packets of audio track N."},
    {"save_packets", "", "bool", "false", "", "Writes each packet to a file of its own, too."},
    {"sdp", "", "path", "Config.sdp", "", "Session description of an RTP output."},
    {"io_timeout", "", "double", "10", "seconds", "Patience with a receiver that takes nothing."},
    {"metadata", "", "node", "", "", "Metadata of the file."},
    {"scaling_quality", "", "int", "", "a quality code", "Scaling filter of all tracks."},
    {"protocol", "", "string", "", "", "Kept for catalogues; not read."},
    {"mpeg.timecode", "", "string", "", "", "Kept for catalogues; not read."},
    {"xfcodecs", "", "bool", "false", "", "Records through the component encoders."},
};

constexpr const char* kMuxerLeaveOut[] = {
    "format",         "diskspace.min",     "ignore_pts",    "protocol",
    "merge_tracks",   "second_encoder",    "capture_file",  "video.buffers",
    "play_while_rec", "video.drop_frames", "mpeg.timecode", "scaling_quality"};

}  // namespace

std::span<const AttributeSpec> SessionAttributes() {
  static const std::vector<AttributeSpec> all = [] {
    std::vector<AttributeSpec> rows(std::begin(kSession), std::end(kSession));
    const auto capture = CaptureAttributes();
    rows.insert(rows.end(), capture.begin(), capture.end());
    return rows;
  }();
  return all;
}
std::span<const char* const> MuxerLeaveOut() { return kMuxerLeaveOut; }

}  // namespace xv
