#include <gmock/gmock.h>

#include "support/temporary_folder.h"
#include "sweep/textured_pictures.h"

// Options that FFmpeg has renamed do under both names what they are for.
namespace xv::test {
namespace {

struct Renamed {
  const char* target;
  const char* codec;
  const char* former;
  const char* present;
};

const Renamed kRenamed[] = {
    {"a.mkv", "video::codec=libx264 audio::codec=null ", "video::aq_mode=autovariance",
     "video::aq-mode=autovariance"},
    {"a.mkv", "video::codec=libx264 audio::codec=null ", "video::b_pyramid=none",
     "video::b-pyramid=none"},
    {"a.mkv", "video::codec=mpeg4 audio::codec=null ", "video::cmp_func=zero", "video::cmp=zero"},
    {"a.mkv", "video::codec=libvpx audio::codec=null video::b=2M ", "video::er=default",
     "video::error-resilient=default"},
    {"a.mka", "video::codec=null audio::codec=flac ", "audio::predm=search",
     "audio::prediction_order_method=search"},
    {"a.ts", "video::codec=mpeg2video ", "resend_headers=1", "mpegts_flags=resend_headers"},
    {"a.m3u8", "video::codec=mpeg2video ", "flags=round_durations", "hls_flags=round_durations"},
    {"a.m3u8", "video::codec=mpeg2video ", "pl_type=vod", "hls_playlist_type=vod"},
};

// The file as bytes; of H.264 the settings that the encoder writes into the stream, since libx264's
// pictures are not always the same from run to run.
std::string BytesOf(const Renamed& one, const std::string& attributes) {
  const TemporaryFolder folder;
  host::Writer writer;
  const Feed feed{.width = 160, .height = 128};
  EXPECT_EQ(writer.Start(folder / one.target, "fflags=+bitexact " + attributes), S_OK);
  const TexturedPictures pictures(feed);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(writer.Put(pictures.Frame(i)), S_OK);
  EXPECT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(writer.Get("quality::unused_options"), "") << attributes;
  const std::string bytes = folder.Read(one.target);
  const std::size_t settings = bytes.find("x264 - core");
  return settings == bytes.npos ? bytes
                                : bytes.substr(settings, bytes.find('\0', settings) - settings);
}

TEST(FormerNames, DoWhatThePresentOnesDo) {
  for (const Renamed& one : kRenamed) {
    SCOPED_TRACE(one.former);
    const std::string present = BytesOf(one, std::string(one.codec) + one.present);
    EXPECT_TRUE(BytesOf(one, std::string(one.codec) + one.former) == present);
    // The tables are written ahead of the first packet as it is.
    const bool same = BytesOf(one, one.codec) == present;
    EXPECT_EQ(same, std::string_view(one.former) == "resend_headers=1");
  }
}

}  // namespace
}  // namespace xv::test
