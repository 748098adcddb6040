#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>

#include "support/fixtures.h"
#include "support/host_frames.h"
#include "support/media_probe.h"
#include "support/peer_process.h"
#include "support/temporary_folder.h"

// What single containers ask of a recording.
namespace xv::test {
namespace {

using Containers = WithFolder;
using D10 = WithWriter;
using Dv = WithFolder;

// The sound of `sounding` frames of 87.
ProbedFile RecordShortSound(const std::string& target, const std::string& attributes,
                            const std::string& read, int sounding) {
  TemporaryFolder folder;
  host::Writer writer;
  EXPECT_EQ(writer.Start(folder / target, attributes + " second_encoder=" + (folder / "b.mxf")),
            S_OK);
  const Feed silent{.channels = 0};
  EXPECT_EQ(PushFrames(writer, Feed(), std::max(sounding, 1)), S_OK);
  EXPECT_EQ(PushFrames(writer, silent, 87 - std::max(sounding, 1), std::max(sounding, 1)), S_OK);
  EXPECT_EQ(writer.Stop(), S_OK);
  return Probe(folder / read);
}

TEST_F(Containers, PicturesBehindTheEndOfTheSoundStay) {
  const std::string mpeg = "video::codec=mpeg2video audio::codec=pcm_s16le";
  for (const auto& [target, attributes, read] : {std::tuple{"a.mxf", mpeg, "a.mxf"},
                                                 {"a.dv", std::string(), "a.dv"},
                                                 {"a.mov", mpeg, "b.mxf"}}) {
    for (const int sounding : {84, 1}) {
      const ProbedFile file = RecordShortSound(target, attributes, read, sounding);
      EXPECT_EQ(file.Pictures().frames, 87) << target << ' ' << read << sounding;
      EXPECT_NEAR(file.Sound().seconds, 3.48, 0.02) << target << ' ' << read << sounding;
    }
  }
}

TEST_F(Containers, FileOfDvIsWhatPlayersKnow) {
  for (const auto& [target, layout, height, order, attributes, sampling] :
       {std::tuple{"a.dv", kFccUYVY, 576, eXvI_TopFirst, "", "yuv420p"},
        {"a.dv", kFccI420, 576, eXvI_BottomFirst, "", "yuv420p"},
        {"a.dv", kFccUYVY, 480, eXvI_BottomFirst, "", "yuv411p"},
        {"a.dv", kFccUYVY, 576, eXvI_TopFirst, "video::dv_format=dv50", "yuv422p"},
        {"a.mov", kFccUYVY, 480, eXvI_BottomFirst, "video::codec=dvvideo", "yuv422p"}}) {
    const double rate = height == 480 ? 30000.0 / 1001 : 25;
    const Feed feed{.layout = layout, .height = height, .rate = rate, .interlace = order};
    ASSERT_EQ(Record(folder_ / target, attributes, feed, 5), S_OK);
    const ProbedFile file = Probe(folder_ / target);
    EXPECT_EQ(file.Pictures().pixelFormat, sampling) << target << attributes;
    EXPECT_TRUE(file.Pictures().interlaced);
    EXPECT_EQ(file.Pictures().topFirst, order == eXvI_TopFirst) << target << attributes;
  }
}

// Where a packet has one stamp, readers would show pictures two frames apart: B pictures are for
// those who ask.
TEST_F(Containers, SoundStandsAtItsPictures) {
  for (const auto& [file, attributes, reorders] : {std::tuple{"a.asf", "", false},
                                                   {"a.avi", "", false},
                                                   {"a.avi", "video::bf=-1", false},
                                                   {"a.ismv", "", false},
                                                   {"a.avi", "video::bf=2", true},
                                                   {"a.mp4", "", true},
                                                   {"a.mkv", "", true},
                                                   {"a.ts", "", true},
                                                   {"a.mp4",
                                                    "second_encoder=/dev/null "
                                                    "second_encoder::format=avi",
                                                    false}}) {
    const std::string text = std::string(
                                 "video::codec=libx264 video::preset=veryfast "
                                 "video::b_strategy=0 audio::codec=aac ") +
                             attributes;
    ASSERT_EQ(Record(folder_ / file, text, {.width = 96, .height = 64}, 40), S_OK) << text;
    const ProbedFile probed = Probe(folder_ / file);
    const ProbedStream& video = probed.Pictures();
    EXPECT_EQ(video.pictureTypes.find('B') != std::string::npos, reorders) << file << attributes;
    if (reorders) continue;
    EXPECT_NEAR(video.start, probed.Sound().start, 0.0215) << file << attributes;
  }
}

TEST_F(Containers, FirstTrackOfAKindIsTheDefault) {
  const Feed feed{.width = 96, .height = 64, .channels = 4};
  ASSERT_EQ(
      Record(folder_ / "a.mkv", "video::codec=mpeg4 audio::codec=mp2 split_channels=2", feed, 10),
      S_OK);
  const auto read = RunProgram({"ffprobe", "-v", "error", "-of", "csv=p=0", "-show_entries",
                                "stream_disposition=default", folder_ / "a.mkv"});
  EXPECT_EQ(read.out, "1\n1\n0\n");
}

// DV, D-10 and the sound of tape-like containers: rasters and rates that leave no choice.
std::set<std::size_t> PacketSizes(const ProbedStream& stream) {
  std::set<std::size_t> sizes;
  for (const ProbedPacket& packet : stream.packets) sizes.insert(packet.bytes.size());
  return sizes;
}

// Also where the container's rate leaves pictures out.
ProbedFile RecordAll(const std::string& path, const std::string& attributes, const Feed& feed,
                     int count) {
  host::Writer writer;
  EXPECT_EQ(writer.Start(path, attributes), S_OK);
  for (int i = 0; i < count; ++i) EXPECT_GE(writer.Put(MakeFrame(feed, i)), S_OK) << i;
  EXPECT_GE(writer.Stop(), S_OK);
  return Probe(path);
}

TEST_F(D10, HasItsRasterRateAndPacketSizeFromAnyInput) {
  struct Case {
    Feed feed;
    const char* rate;
    int height;
    std::size_t bytes;
    int frames;  // of 24 pictures
  };
  for (const Case& one :
       {Case{{.width = 720, .height = 576, .rate = 25}, "30M", 608, 150'000, 24},
        {{.width = 1920, .height = 1080, .rate = 24}, "50M", 608, 250'000, 25},
        {{.width = 1280, .height = 720, .rate = 50}, "40M", 608, 200'000, 12},
        {{.width = 640, .height = 480, .rate = 30000.0 / 1001}, "40M", 512, 166'833, 24},
        {{.layout = kFccI420, .width = 720, .height = 480, .rate = 60000.0 / 1001},
         "50M",
         512,
         208'541,
         12}}) {
    const std::string attributes = std::string("format=mxf_d10 video::b=") + one.rate;
    const std::string path = folder_ / (std::to_string(one.bytes) + ".mxf");
    const ProbedFile file = RecordAll(path, attributes, one.feed, 24);
    const ProbedStream& pictures = file.Pictures();
    EXPECT_EQ(pictures.codec + " " + pictures.pixelFormat, "mpeg2video yuv422p");
    EXPECT_EQ(pictures.width, 720);
    EXPECT_EQ(pictures.height, one.height) << one.feed.rate;
    EXPECT_TRUE(pictures.interlaced && pictures.topFirst) << one.feed.rate;
    EXPECT_NEAR(static_cast<double>(pictures.frames), one.frames, 1) << one.feed.rate;
    EXPECT_EQ(PacketSizes(pictures), std::set<std::size_t>{one.bytes}) << one.feed.rate;
    EXPECT_EQ(pictures.errors, 0);
    EXPECT_NEAR(file.Sound().seconds, 24 / one.feed.rate, 0.05);
  }
}

// The picture begins behind the 32 lines of the interval; one with the bottom field first, a line
// earlier, so that its lines stay in their fields.
TEST_F(D10, KeepsTheLinesOfThePictureInTheirFields) {
  for (const auto& [order, row] : {std::pair{eXvI_TopFirst, 32}, {eXvI_BottomFirst, 31}}) {
    const Feed feed{.width = 720, .height = 480, .rate = 30000.0 / 1001, .interlace = order};
    const auto bytes = DrawPicture(feed, [](int plane, int, int y) {
      return plane > 0 ? 128 : y == 0 ? 220 : 90;
    });
    const ProbedStream pictures = RecordPicture(
        "a.mov", "video::codec=mpeg2video video::d10=true video::aspect=16:9", feed, bytes);
    EXPECT_EQ(av_cmp_q(pictures.sampleAspect, {16 * 512, 9 * 720}), 0);
    EXPECT_EQ(pictures.tag, FourCC("mx5n"));
    const auto luma = [&](int y) { return pictures.first.at(0).At(360, y); };
    EXPECT_NEAR(luma(row - 1), 16, 12) << order;
    EXPECT_NEAR(luma(row), 220, 12) << order;
    EXPECT_NEAR(luma(row + 1), 90, 12) << order;
    EXPECT_NEAR(luma(row + 479), 90, 12) << order;
  }
}

TEST_F(D10, RefusesWhatItDoesNotHaveWithWords) {
  EXPECT_EQ(Record(writer_, folder_ / "a.mxf", "format=mxf_d10 video::b=31M", {}, 2), E_INVALIDARG);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("30, 40 or 50 Mbit/s, not 31000000"));
}

TEST_F(Dv, RunsAtItsOwnRate) {
  const ProbedFile film = RecordAll(folder_ / "a.dv", "", {.rate = 24}, 48);
  EXPECT_EQ(film.Pictures().frames, 50) << "a repeat each second";
  EXPECT_NEAR(film.Sound().seconds, 2, 0.05);
  const std::string sd = "video::codec=dvvideo video::dv_format=dvsd";
  const ProbedFile fast = RecordAll(folder_ / "a.mov", sd, {.rate = 50}, 50);
  EXPECT_EQ(fast.Pictures().height, 576);
  EXPECT_NEAR(static_cast<double>(fast.Pictures().frames), 25, 1);
}

TEST(ContainerSound, TakesTheRateThatTheContainerHas) {
  for (const auto& [name, codecs, rate] :
       {std::tuple{"a.mxf", "video::codec=mpeg2video", 48000},
        {"a.flv", "video::codec=flv audio::codec=libmp3lame", 44100}}) {
    for (const int given : {32000, 96000}) {
      const Feed feed{.sampleRate = given};
      const ProbedFile file = RecordAndProbe(name, codecs, feed, 25);
      EXPECT_EQ(file.Sound().sampleRate, rate) << name << " of " << given;
      EXPECT_NEAR(file.Sound().seconds, 1, 0.06) << name << " of " << given;
    }
  }
}

// The clock of a transport stream, read from its packets.
constexpr double kTicks = 90;  // of the clock in a millisecond

std::int64_t TimeStamp(const std::uint8_t* at) {
  return std::int64_t{at[0] >> 1 & 7} << 30 | at[1] << 22 | (at[2] >> 1) << 15 | at[3] << 7 |
         at[4] >> 1;
}

// The least and the greatest distance of a packet's decoding time behind the clock before it.
struct Lead {
  double least = 1e9;
  double most = -1e9;
  int packets = 0;
};

// In milliseconds, of each elementary stream by its PID.
std::map<int, Lead> LeadsOf(const std::string& bytes) {
  std::map<int, Lead> leads;
  std::int64_t clock = -1;
  for (std::size_t at = 0; at + 188 <= bytes.size(); at += 188) {
    const auto* packet = reinterpret_cast<const std::uint8_t*>(bytes.data() + at);
    const bool adapted = (packet[3] & 0x20) != 0;
    if (adapted && packet[4] > 0 && (packet[5] & 0x10) != 0) {
      const std::uint8_t* base = packet + 6;
      clock =
          std::int64_t{base[0]} << 25 | base[1] << 17 | base[2] << 9 | base[3] << 1 | base[4] >> 7;
    }
    const std::uint8_t* pes = packet + 4 + (adapted ? 1 + packet[4] : 0);
    if (clock < 0 || (packet[1] & 0x40) == 0 || pes > packet + 168) continue;
    if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1 || (pes[7] & 0x80) == 0) continue;
    const bool decoding = (pes[7] & 0x40) != 0;
    Lead& lead = leads[(packet[1] & 0x1F) << 8 | packet[2]];
    const double ahead = static_cast<double>(TimeStamp(pes + (decoding ? 14 : 9)) - clock) / kTicks;
    lead.least = std::min(lead.least, ahead);
    lead.most = std::max(lead.most, ahead);
    ++lead.packets;
  }
  return leads;
}

TEST(TransportStream, PacketsComeAheadOfTheirTime) {
  // Where it is written, what the clock is read from, and the lead in milliseconds.
  for (const auto& [target, read, more, wanted] :
       {std::tuple{"a.ts", "a.ts", "second_encoder=", 700},
        {"a.ts", "a.ts", "muxrate=8M second_encoder=", 700},
        {"a.ts", "a.ts", "max_delay=200000 second_encoder=", 200},
        {"a.mov", "b.ts", "second_encoder=", 700},
        {"a.mov", "b.ts", "second_encoder::max_delay=300000 second_encoder=", 300},
        {"a.m3u8", "a0.ts", "format=hls second_encoder=", 700}}) {
    SCOPED_TRACE(std::string(target) + ' ' + more);
    TemporaryFolder folder;
    host::Writer writer;
    const std::string attributes =
        "video::codec=mpeg2video video::b=4M audio::codec=mp2 second_encoder::format=mpegts ";
    ASSERT_EQ(Record(writer, folder / target, attributes + more + (folder / "b.ts"), Feed(), 50),
              S_OK);
    EXPECT_EQ(writer.Get("quality::unused_options"), "");
    const auto leads = LeadsOf(folder.Read(read));
    ASSERT_EQ(leads.size(), 2U);
    for (const auto& [pid, lead] : leads) {
      EXPECT_GT(lead.packets, 40) << pid;
      EXPECT_GT(lead.least, wanted - 60) << pid;
      EXPECT_LT(lead.most, wanted + 120) << pid;
    }
  }
}

}  // namespace
}  // namespace xv::test
