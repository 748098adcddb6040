#include <gmock/gmock.h>

#include <cstdlib>

#include "support/peer_process.h"
#include "support/temporary_folder.h"

// GStreamer's own programs. Not under sanitizers: programs that are not built with them cannot load
// the plugin.
#ifndef XV_SANITIZED
namespace xv::test {
namespace {

using testing::HasSubstr;

ProgramResult RunWithPlugin(const std::vector<std::string>& command) {
  const ScopedVariable system("GST_PLUGIN_SYSTEM_PATH_1_0", GST_SYSTEM_FOLDER);
  const ScopedVariable all("GST_REGISTRY", GST_REGISTRY_FILE ".all");
  const ScopedVariable forks("GST_REGISTRY_FORK", "yes");
  return RunProgram(command);
}

ProgramResult Launch(const std::string& pipeline) {
  return RunWithPlugin({"sh", "-c", "exec gst-launch-1.0 -q " + pipeline});
}

TEST(GstLaunch, TheElementShowsItsPadsAndTheCataloguesOptions) {
  const ProgramResult run = RunWithPlugin({"gst-inspect-1.0", "xvwritersink"});
  ASSERT_EQ(run.status, 0) << run.err;
  for (const char* words :
       {"SINK template: 'audio_%u'", "SINK template: 'video'", "channels: [ 1, 32 ]",
        "(string)r210", "  location ", "  attributes ", "  format-movflags ", "  video-preset ",
        "  video-b  ", "  audio-b  ", "Bit rate in bits per second"}) {
    EXPECT_THAT(run.out, HasSubstr(words));
  }
  EXPECT_EQ(run.err, "");
}

// Properties of the catalogue reach the recording, its presets too.
TEST(GstLaunch, PropertiesChooseFormatAndCodec) {
  TemporaryFolder folder;
  const std::string path = folder / "a.bin";
  const ProgramResult run = Launch(
      "videotestsrc num-buffers=10 ! video/x-raw,width=320,height=240 ! xvwritersink format=mov "
      "video-codec=libx264 video-profile=baseline video-g=5 location=" +
      path);
  ASSERT_EQ(run.status, 0) << run.err;
  const ProgramResult probe =
      RunProgram({"ffprobe", "-v", "error", "-show_entries", "format=format_name:stream=profile",
                  "-of", "csv=p=0", path});
  EXPECT_THAT(probe.out, HasSubstr("Constrained Baseline"));
  EXPECT_THAT(probe.out, HasSubstr("mov"));
}

// The same input through the element and through our own host.
struct Peer {
  const char* source;   // of ffmpeg's pictures
  const char* encoder;  // that the input has, with options
  const char* layout;   // xvrecord's name
  const char* format;   // GStreamer's
  const char* audio;    // ffmpeg's tone
  const char* output;
  const char* attributes;
};

const Peer kPeers[] = {
    {"320x240:rate=25", "ffv1 -pix_fmt yuv422p", "UYVY", "UYVY", "sine=sample_rate=48000", "a.mkv",
     "video::codec=ffv1 audio::codec=pcm_s16le"},
    {"322x242:rate=30000/1001", "ffv1 -pix_fmt yuv422p", "YUY2", "YUY2", "sine=sample_rate=44100",
     "a.avi", "video::codec=huffyuv audio::codec=pcm_s16le"},
    {"320x240:rate=24", "ffv1 -pix_fmt yuv422p", "YVYU", "YVYU", "sine=sample_rate=32000", "a.mov",
     "video::codec=prores audio::codec=pcm_s24le"},
    {"322x182:rate=50", "ffv1 -pix_fmt yuv420p", "NV12", "NV12", "sine=sample_rate=48000", "a.ts",
     "video::codec=mpeg2video video::b=4M audio::codec=mp2"},
    {"322x242:rate=25", "ffv1 -pix_fmt yuv420p", "I420", "I420",
     "aevalsrc='sin(t*999)|0.3*sin(t*777)|0.1|0|0.2|0':c=5.1", "a.mp4",
     "video::codec=mpeg4 video::b=2M audio::codec=aac"},
    {"320x240:rate=60", "ffv1 -pix_fmt yuv420p", "YV12", "YV12", "sine=sample_rate=96000", "a.mkv",
     "video::codec=libx264 video::preset=ultrafast video::crf=0 audio::codec=flac"},
    {"1280x720:rate=25", "v210", "v210", "v210", "sine", "a.mov",
     "video::codec=v210 audio::codec=pcm_s16le"},
    {"320x240:rate=25", "ffv1 -pix_fmt bgr0", "RGB32", "BGRx", "sine", "a.mov",
     "video::codec=png audio::codec=pcm_s16be"},
    {"322x242:rate=25", "ffv1 -pix_fmt bgra", "ARGB32", "BGRA", "sine", "a.mov",
     "video::codec=qtrle audio::codec=pcm_s16le"},
    {"322x242:rate=24000/1001", "ffv1 -pix_fmt bgr0", "RGB24", "BGR", "sine", "a.mkv",
     "video::codec=ffv1 audio::codec=pcm_s16le"},
    // Fields, and pixels that are not square.
    {"720x576:rate=50,tinterlace=interleave_top,setfield=tff,setdar=16/9",
     "mpeg2video -q:v 1 -flags +ildct+ilme -top 1", "I420", "I420", "sine", "a.mov",
     "video::codec=mpeg2video video::b=20M audio::codec=pcm_s16le"},
};

// A line for each picture with its time, and one for all samples.
std::string Content(const std::string& path) {
  std::string text;
  for (const char* what : {"-map 0:v -f framemd5 -", "-map 0:a -f md5 -"}) {
    const ProgramResult run =
        RunProgram({"sh", "-c", "ffmpeg -v error -i " + path + " -copyts " + what});
    EXPECT_EQ(run.status, 0) << run.err;
    text += run.out;
  }
  return text + RunProgram({"ffprobe", "-v", "error", "-show_entries",
                            "stream=codec_name,field_order,sample_aspect_ratio,channels,"
                            "color_space",
                            "-of", "csv", path})
                    .out;
}

TEST(GstLaunch, TenPipelinesRecordWhatOurOwnHostRecords) {
  for (const Peer& peer : kPeers) {
    SCOPED_TRACE(std::string(peer.layout) + " " + peer.attributes);
    TemporaryFolder folder;
    const std::string codec = peer.encoder;
    const bool raw = codec == "v210";
    const std::string input = folder / (raw ? "in.mov" : "in.mkv");
    const ProgramResult made =
        RunProgram({"sh", "-c",
                    std::string("ffmpeg -v error -f lavfi -i testsrc2=size=") + peer.source +
                        " -f lavfi -i \"" + peer.audio + "\" -t 0.8 -c:v " + codec +
                        " -c:a pcm_s16le -bitexact " + input});
    ASSERT_EQ(made.status, 0) << made.err;
    const std::string ours = folder / ("host-" + std::string(peer.output));
    const ProgramResult recorded = RunProgram(
        {XVRECORD, "--quiet", "--input-format", peer.layout, "-a", peer.attributes, input, ours});
    ASSERT_EQ(recorded.status, 0) << recorded.err;
    const std::string theirs = folder / ("gst-" + std::string(peer.output));
    const ProgramResult launched =
        Launch("filesrc location=" + input + " ! " + (raw ? "qtdemux" : "matroskademux") +
               " name=d d.video_0 ! queue ! " +
               (raw ? "identity" : "avdec_" + codec.substr(0, codec.find(' '))) +
               " ! videoconvert chroma-mode=none ! video/x-raw,format=" + peer.format +
               " ! s.video d.audio_0 ! queue ! audioconvert ! audio/x-raw,format=S16LE"
               " ! s.audio_0 xvwritersink name=s location=" +
               theirs + " attributes=\"" + peer.attributes + "\"");
    ASSERT_EQ(launched.status, 0) << launched.err;
    EXPECT_EQ(Content(theirs), Content(ours));
  }
}

}  // namespace
}  // namespace xv::test
#endif
