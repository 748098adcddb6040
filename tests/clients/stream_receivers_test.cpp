#include <csignal>
#include <sstream>

#include "clients/received_media.h"
#include "support/peer_process.h"

// Streams as the programs at the other end see them.
namespace xv::test {
namespace {

constexpr double kPatience = 15;  // seconds that a peer may take for anything

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what)) {
    text.replace(at, what.size(), with);
  }
  return text;
}

struct Client {
  const char* name;
  Transport transport;
  const char* receiver;  // ffmpeg's words for its input; "PORT" stands for the port
  const char* recorded;  // the file that it copies the packets into
  const char* url;       // where the writer sends
  const char* attributes;
  const char* codecs;
};

void PrintTo(const Client& client, std::ostream* out) { *out << client.name; }

constexpr char kMpegCodecs[] = "video::codec=mpeg2video video::g=10 audio::codec=mp2";
constexpr char kRtspServer[] =
    "-rtsp_flags listen -listen_timeout 15 -i rtsp://127.0.0.1:PORT/live";

const Client kClients[] = {
    {"UdpTransportStream", Transport::kUdp,
     "-i udp://127.0.0.1:PORT?timeout=2000000&fifo_size=9999", "out.ts",
     "udp://127.0.0.1:PORT?pkt_size=1316", "format=mpegts", kLiveCodecs},
    {"UdpOfTheComponentPath", Transport::kUdp,
     "-i udp://127.0.0.1:PORT?timeout=2000000&fifo_size=9999", "out.ts",
     "udp://127.0.0.1:PORT?pkt_size=1316", "format=mpeg_nablet_udp muxer_profile=ATSC",
     kLiveCodecs},
    {"TcpTransportStream", Transport::kTcp, "-i tcp://127.0.0.1:PORT?listen=1", "out.ts",
     "tcp://127.0.0.1:PORT", "format=mpegts", kMpegCodecs},
    {"RtspOverTcp", Transport::kTcp, kRtspServer, "out.mp4", "rtsp://127.0.0.1:PORT/live",
     "format=rtsp rtsp_transport=tcp", kLiveCodecs},
    {"RtspOverUdp", Transport::kTcp, kRtspServer, "out.mp4", "rtsp://127.0.0.1:PORT/live",
     "format=rtsp rtsp_transport=udp", kLiveCodecs},
    {"RtmpListener", Transport::kTcp, "-listen 1 -f flv -i rtmp://127.0.0.1:PORT/live/a", "out.flv",
     "rtmp://127.0.0.1:PORT/live/a", "format=flv", kLiveCodecs},
    {"SmoothStreamingByPost", Transport::kTcp, "-listen 1 -i http://127.0.0.1:PORT/a.ismv",
     "out.mp4", "http://127.0.0.1:PORT/a.ismv", "format=ismv movflags=isml+frag_keyframe",
     kLiveCodecs},
    // "method" is an option of the protocol, not of the muxer.
    {"SmoothStreamingByPut", Transport::kTcp,
     "-listen 1 -method PUT -i http://127.0.0.1:PORT/a.ismv", "out.mp4",
     "http://127.0.0.1:PORT/a.ismv", "format=ismv method=PUT movflags=isml+frag_keyframe",
     kLiveCodecs},
};

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// ffmpeg as a receiver that copies every packet into a file.
std::vector<std::string> ReceiverCommand(const std::string& input, const std::string& output) {
  auto command = Words("ffmpeg -nostdin -v error " + input + " -map 0 -c copy -y");
  command.push_back(output);
  return command;
}

class StreamReceiver : public testing::TestWithParam<Client> {};

TEST_P(StreamReceiver, GetsEveryPictureAndTheSound) {
  const Client& client = GetParam();
  TemporaryFolder folder;
  const int port = FreePort(client.transport);
  const auto placed = [&](const char* text) {
    return Replaced(text, "PORT", std::to_string(port));
  };
  const std::string received = folder / client.recorded;
  PeerProcess receiver(ReceiverCommand(placed(client.receiver), received), folder / "log");
  ASSERT_TRUE(WaitUntilBound(client.transport, port, kPatience)) << folder.Read("log");
  host::Writer writer;
  ASSERT_EQ(writer.Start(placed(client.url),
                         std::string("video.buffers=0 ") + client.attributes + " " + client.codecs),
            S_OK);
  const bool datagrams = client.transport == Transport::kUdp;
  ASSERT_EQ(PushPaced(writer, LiveFeed(), kFrames, 0, datagrams ? port : 0), S_OK)
      << writer.LastError();
  EXPECT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(writer.LastError(), "");
  EXPECT_EQ(writer.Get("quality::unused_options"), "");
  ASSERT_TRUE(receiver.WaitForEnd(kPatience)) << folder.Read("log");
  const bool mpeg = client.codecs == kMpegCodecs;
  ExpectAll(Probe(received), mpeg ? "mpeg2video" : "h264", mpeg ? "mp2" : "aac");
}

INSTANTIATE_TEST_SUITE_P(Clients, StreamReceiver, testing::ValuesIn(kClients),
                         [](const auto& client) { return std::string(client.param.name); });

// RTP has no packets for AC-3: the header is refused when the server has already agreed.
TEST(StreamServer, CodecThatTheProtocolRefusesIsAFailure) {
  TemporaryFolder folder;
  const int port = FreePort(Transport::kTcp);
  const std::string url = "rtsp://127.0.0.1:" + std::to_string(port) + "/live";
  PeerProcess receiver(
      ReceiverCommand("-rtsp_flags listen -listen_timeout 15 -i " + url, folder / "out.mkv"),
      folder / "log");
  ASSERT_TRUE(WaitUntilBound(Transport::kTcp, port, kPatience));
  host::Writer writer;
  ASSERT_EQ(writer.Start(url, "format=rtsp video::codec=mpeg4 audio::codec=ac3"), S_OK);
  EXPECT_LT(PushPaced(writer, LiveFeed(), kFrames), 0);
  EXPECT_LT(writer.Stop(), 0);
  EXPECT_THAT(writer.LastError(), testing::HasSubstr(url));
}

constexpr char kRtmpServer[] = R"(
load_module /usr/lib/nginx/modules/ngx_rtmp_module.so;
daemon off; master_process off; pid FOLDER/nginx.pid; error_log FOLDER/log info;
events {}
rtmp { server { listen 127.0.0.1:PORT; application live {
  live on; record all; record_path FOLDER; record_suffix .flv;
  allow publish 127.0.0.1; deny publish all; } } }
)";

TEST(StreamServer, TakesWhatIsPublished) {
  if (!std::filesystem::exists("/usr/lib/nginx/modules/ngx_rtmp_module.so")) {
    GTEST_SKIP() << "nginx has no rtmp module here; scripts/packages-test.txt names it";
  }
  TemporaryFolder folder;
  const int port = FreePort(Transport::kTcp);
  const std::string config =
      Replaced(Replaced(kRtmpServer, "PORT", std::to_string(port)), "FOLDER", folder.path());
  folder.Write("nginx.conf", config);
  PeerProcess server(
      {"/usr/sbin/nginx", "-p", folder.path(), "-c", folder / "nginx.conf", "-e", folder / "log"},
      folder / "words");
  ASSERT_TRUE(WaitUntilBound(Transport::kTcp, port, kPatience)) << folder.Read("log");
  host::Writer writer;
  const std::string url = "rtmp://127.0.0.1:" + std::to_string(port) + "/live/test";
  ASSERT_EQ(writer.Start(url, std::string("format=flv ") + kLiveCodecs), S_OK);
  ASSERT_EQ(PushPaced(writer, LiveFeed(), kFrames), S_OK) << writer.LastError();
  EXPECT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(writer.LastError(), "");
  // The server writes on after its client has gone.
  (void)Eventually(5, [&] {
    const ProbedFile file = Probe(folder / "test.flv");
    return file.Count(AVMEDIA_TYPE_VIDEO) > 0 && file.Pictures().frames == kFrames;
  });
  server.Send(SIGTERM);
  EXPECT_TRUE(server.WaitForEnd(kPatience));
  ExpectAll(Probe(folder / "test.flv"), "h264", "aac");
}

// A receiver needs the session's description first, which is there with the first frame.
void ReceiveByDescription(const std::string& codecs, ProbedFile* received) {
  TemporaryFolder folder;
  const int port = FreePort(Transport::kUdp);
  const std::string sdp = folder / "session.sdp";
  host::Writer writer;
  ASSERT_EQ(writer.Start("rtp://127.0.0.1:" + std::to_string(port),
                         "format=rtp rtpflags=send_bye video.buffers=0 sdp=" + sdp + " " + codecs),
            S_OK);
  ASSERT_EQ(writer.Put(MakeFrame(LiveFeed(), 0)), S_OK);
  ASSERT_TRUE(std::filesystem::exists(sdp));
  PeerProcess receiver(
      ReceiverCommand("-protocol_whitelist file,rtp,udp -i " + sdp, folder / "out.mkv"),
      folder / "log");
  ASSERT_TRUE(WaitUntilBound(Transport::kUdp, port, kPatience)) << folder.Read("log");
  ASSERT_EQ(PushPaced(writer, LiveFeed(), kFrames - 1, 1, port), S_OK);
  // The goodbye comes by another port, ahead of what has not been read.
  ASSERT_TRUE(Eventually(kPatience, [&] { return UnreadBytes(port) == 0; }));
  EXPECT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(writer.LastError(), "");
  ASSERT_TRUE(receiver.WaitForEnd(kPatience)) << folder.Read("log");
  *received = Probe(folder / "out.mkv");
}

TEST(RtpReceiver, PlaysWhatTheSessionDescriptionTells) {
  ProbedFile file;
  // Whoever comes late misses some pictures and waits for the next key picture.
  ReceiveByDescription(std::string(kLiveCodecs) + "video::g=1 audio::enabled=false", &file);
  EXPECT_EQ(file.Count(AVMEDIA_TYPE_AUDIO), 0);
  // Without a gap to the last one.
  const auto missed = kFrames - static_cast<int>(file.Pictures().frames);
  EXPECT_LE(missed, 5);
  ExpectPictures(file.Pictures(), "h264", missed);
  ReceiveByDescription("video::enabled=false audio::codec=aac", &file);
  EXPECT_EQ(file.Count(AVMEDIA_TYPE_VIDEO), 0);
  ExpectSound(file.Sound(), "aac");
}

}  // namespace
}  // namespace xv::test
