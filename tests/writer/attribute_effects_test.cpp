#include <gmock/gmock.h>

#include <array>

#include "support/host_frames.h"
#include "support/media_probe.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

// What single attributes change in the recording.
namespace xv::test {
namespace {

constexpr int kWidth = 176;
constexpr int kHeight = 144;
constexpr int kFrames = 12;

// Luma of the picture's quarters: left and right above, left and right below.
using Quarters = std::array<int, 4>;
constexpr Quarters kPushed = {50, 100, 150, 200};

struct Track {
  AVMediaType type = AVMEDIA_TYPE_UNKNOWN;
  AVCodecID codec = AV_CODEC_ID_NONE;
  int id = 0;
  std::string tag;
  std::int64_t bitRate = 0;
  int sampleRate = 0;
  int width = 0;
  int height = 0;
};

struct Recording {
  HRESULT status = E_FAIL;
  std::string unused;  // options that nobody took
  std::vector<Track> tracks;
  std::string packet;  // the first of the video
  std::string keys;    // a "K" or a "-" for each picture
  Quarters quarters{};
  std::string pixelFormat;
  std::string order;  // "progressive", "top", "bottom"
  std::vector<std::uint8_t> luma;

  const Track* Of(AVMediaType type) const {
    for (const Track& track : tracks) {
      if (track.type == type) return &track;
    }
    return nullptr;
  }
};

host::Ptr<IXvFrame> QuarteredFrame(const Feed& feed, int number) {
  auto picture = std::make_shared<std::vector<std::uint8_t>>(kWidth * kHeight * 2, 128);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int quarter = (y < kHeight / 2 ? 0 : 2) + (x < kWidth / 2 ? 0 : 1);
      (*picture)[static_cast<std::size_t>((y * kWidth + x) * 2 + 1)] =
          static_cast<std::uint8_t>(kPushed[static_cast<std::size_t>(quarter)]);
    }
  }
  auto sound = std::make_shared<std::vector<std::uint8_t>>(
      static_cast<std::size_t>(1920 * 2 * feed.channels), 0);
  host::FrameBuilder builder;
  builder.Video(kFccUYVY, kWidth, kHeight, 25, picture->data(), picture->size(), picture);
  builder.Interlace(feed.interlace);
  if (feed.channels > 0) {
    builder.Audio(feed.channels, 48000, 16, sound->data(), sound->size(), sound);
  }
  return builder.Time(number * 400'000LL, (number + 1) * 400'000LL).Build();
}

void TakePicture(const AVFrame& frame, Recording* out) {
  const auto& desc = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const AVComponentDescriptor& luma = desc.comp[0];
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      out->luma.push_back(
          frame.data[luma.plane][y * frame.linesize[luma.plane] + luma.offset + x * luma.step]);
    }
  }
  // Near the corners, away from the edges between the quarters.
  for (int i = 0; i < 4; ++i) {
    const int x = i % 2 == 0 ? 8 : frame.width - 8;
    const int y = i < 2 ? 8 : frame.height - 8;
    out->quarters[static_cast<std::size_t>(i)] =
        out->luma[static_cast<std::size_t>(y * frame.width + x)];
  }
  out->pixelFormat = desc.name;
  out->order = frame.interlaced_frame == 0 ? "progressive"
               : frame.top_field_first     ? "top"
                                           : "bottom";
}

void DecodeFirst(const AVCodecParameters& par, const AVPacket& packet, Recording* out) {
  const AVCodec* codec = avcodec_find_decoder(par.codec_id);
  AVCodecContext* decoder = avcodec_alloc_context3(codec);
  AVFrame* frame = av_frame_alloc();
  avcodec_parameters_to_context(decoder, &par);
  avcodec_open2(decoder, codec, nullptr);
  avcodec_send_packet(decoder, &packet);
  avcodec_send_packet(decoder, nullptr);
  if (avcodec_receive_frame(decoder, frame) >= 0) TakePicture(*frame, out);
  av_frame_free(&frame);
  avcodec_free_context(&decoder);
}

void ReadBack(const std::string& path, Recording* out) {
  AVFormatContext* input = nullptr;
  if (avformat_open_input(&input, path.c_str(), nullptr, nullptr) < 0) return;
  avformat_find_stream_info(input, nullptr);
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    const AVCodecParameters& par = *input->streams[i]->codecpar;
    char tag[AV_FOURCC_MAX_STRING_SIZE];
    out->tracks.push_back({par.codec_type, par.codec_id, input->streams[i]->id,
                           av_fourcc_make_string(tag, par.codec_tag), par.bit_rate, par.sample_rate,
                           par.width, par.height});
  }
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(input, packet) >= 0) {
    const AVCodecParameters& par = *input->streams[packet->stream_index]->codecpar;
    if (par.codec_type == AVMEDIA_TYPE_VIDEO) {
      if (out->keys.empty()) {
        out->packet.assign(reinterpret_cast<const char*>(packet->data),
                           static_cast<std::size_t>(packet->size));
        DecodeFirst(par, *packet, out);
      }
      out->keys += (packet->flags & AV_PKT_FLAG_KEY) != 0 ? 'K' : '-';
    }
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&input);
}

class AttributeEffects : public testing::Test {
 protected:
  // Records into a file with that extension; the sound is there where it is asked for.
  Recording Of(const std::string& extension, const std::string& attributes, Feed feed = {}) {
    const std::string path = folder_ / ("a." + extension);
    host::Writer writer;
    Recording out;
    out.status = writer.Start(path, attributes);
    for (int i = 0; i < kFrames && out.status == S_OK; ++i) {
      out.status = writer.Put(QuarteredFrame(feed, i));
    }
    writer.Stop();
    out.unused = writer.Get("quality::unused_options");
    ReadBack(path, &out);
    return out;
  }
  Recording Pictures(const std::string& extension, const std::string& attributes,
                     eXvInterlace order = eXvI_Progressive) {
    return Of(extension, attributes, {.interlace = order, .channels = 0});
  }
  Quarters Raw(const std::string& attributes) {
    return Pictures("avi", "video::codec=rawvideo " + attributes).quarters;
  }

  TemporaryFolder folder_;
};

// Scaled pictures may be a code value off.
auto Near(const Quarters& wanted) {
  return testing::Pointwise(testing::Truly([](const std::tuple<int, int>& pair) {
                              return std::abs(std::get<0>(pair) - std::get<1>(pair)) <= 1;
                            }),
                            wanted);
}

TEST_F(AttributeEffects, EditsMoveTheQuarters) {
  EXPECT_EQ(Raw(""), kPushed);
  EXPECT_EQ(Raw("video::mirror=horz"), (Quarters{100, 50, 200, 150}));
  EXPECT_EQ(Raw("video::mirror=vert"), (Quarters{150, 200, 50, 100}));
  EXPECT_THAT(Raw("video::rotate=right"), Near({150, 50, 200, 100}));
  EXPECT_THAT(Raw("video::rotate=left"), Near({100, 200, 50, 150}));
  EXPECT_EQ(Raw("video::crop='88,0,0,0'"), (Quarters{100, 100, 200, 200}));
}

TEST_F(AttributeEffects, SizeAspectAndFilterOfScaling) {
  const auto scaled = [&](const std::string& more) {
    return Pictures("avi", "video::codec=rawvideo video::video_size=352x288 " + more);
  };
  const Recording plain = scaled("");
  ASSERT_NE(plain.Of(AVMEDIA_TYPE_VIDEO), nullptr);
  EXPECT_EQ(plain.Of(AVMEDIA_TYPE_VIDEO)->width, 352);
  EXPECT_EQ(plain.Of(AVMEDIA_TYPE_VIDEO)->height, 288);
  const auto nearest = scaled("video::scaling_quality=0").luma;
  EXPECT_EQ(scaled("scaling_quality=0 video::scaling_quality=2").luma, nearest)
      << "the session's wins";
  EXPECT_NE(nearest, plain.luma);
  EXPECT_NE(scaled("video::scaling_siting=centred").luma, plain.luma);
  const std::string tall = "video::size=176x288 video::ar_type=";
  EXPECT_EQ(Raw(tall + "ignore-ar"), kPushed);
  EXPECT_EQ(Raw(tall + "letter-box"), (Quarters{16, 16, 16, 16}));
}

TEST_F(AttributeEffects, FieldOrderAndSampling) {
  const std::string mpeg2 = "video::codec=mpeg2video ";
  EXPECT_EQ(Pictures("mov", mpeg2).order, "progressive");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::top=0").order, "bottom");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::top=1").order, "top");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::interlace=false", eXvI_TopFirst).order, "progressive");
  EXPECT_EQ(Pictures("mov", mpeg2, eXvI_TopFirst).order, "top");
  EXPECT_EQ(Pictures("mov", mpeg2).pixelFormat, "yuv420p");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::V422=true").pixelFormat, "yuv422p");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::use_vpp=true").pixelFormat, "yuv422p");
}

// What the bits of an MPEG-2 picture say.
TEST_F(AttributeEffects, CodingOfPictures) {
  const Recording mpeg2 =
      Pictures("ts",
               "video::codec=mpeg2video video::bitrate=3M video::gop_size=5 video::dc=10 "
               "video::gop_timecode=01:02:03:04");
  EXPECT_EQ(mpeg2.keys.substr(0, 11), "K----K----K");
  // The 32 bits that stand so many bytes behind the first of these start codes.
  const auto behind = [&](char code, std::size_t bytes) {
    const std::size_t at = mpeg2.packet.find(std::string("\0\0\1", 3) + code);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 4 && at != std::string::npos; ++i) {
      bits = bits << 8 | static_cast<std::uint8_t>(mpeg2.packet.at(at + 4 + bytes + i));
    }
    return bits;
  };
  EXPECT_EQ((behind('\xB3', 4) >> 14) * 400, 3'000'000u);
  // Drop flag, hours, minutes, marker, seconds, pictures.
  EXPECT_EQ(behind('\xB8', 0) >> 7, 1u << 19 | 2u << 13 | 1u << 12 | 3u << 6 | 4);
  // The coding extension of the picture stands behind its header.
  const std::string picture =
      mpeg2.packet.substr(mpeg2.packet.find(std::string("\0\0\1\0", 4)) + 4);
  const std::size_t extension = picture.find(std::string("\0\0\1\xB5", 4));
  ASSERT_NE(extension, std::string::npos);
  EXPECT_EQ(static_cast<std::uint8_t>(picture.at(extension + 6)) >> 2 & 3, 10 - 8);

  const Recording h264 =
      Pictures("ts", "video::codec=libx264 video::preset=ultrafast video::slices=4");
  int slices = 0;
  for (std::size_t at = 0;
       (at = h264.packet.find(std::string("\0\0\1", 3), at)) != std::string::npos; at += 3) {
    slices += (h264.packet.at(at + 3) & 31) == 5;
  }
  EXPECT_EQ(slices, 4);
}

TEST_F(AttributeEffects, NumbersAndTagsOfStreams) {
  // A codec's number wins over a name that is no encoder of FFmpeg's.
  const Recording ids =
      Of("ts",
         "video::codec=n264 video::codec_id=" + std::to_string(AV_CODEC_ID_MPEG2VIDEO) +
             " audio::codec_id=" + std::to_string(AV_CODEC_ID_AC3) +
             " split_channels=2 video::streamid=300 audio::streamid=400 audio::streamid.1=500",
         {.channels = 4});
  ASSERT_EQ(ids.tracks.size(), 3u) << host::Describe(ids.status);
  EXPECT_EQ(ids.tracks[0].codec, AV_CODEC_ID_MPEG2VIDEO);
  EXPECT_EQ(ids.tracks[1].codec, AV_CODEC_ID_AC3);
  EXPECT_EQ(ids.tracks[0].id, 300);
  EXPECT_EQ(ids.tracks[1].id, 400);
  EXPECT_EQ(ids.tracks[2].id, 500);
  EXPECT_EQ(Pictures("avi", "video::codec=mpeg4 video::vtag=DX50").tracks.at(0).tag, "DX50");
  EXPECT_EQ(Pictures("avi", "video::codec=mpeg4 video::tag=ABCD").tracks.at(0).tag, "ABCD");
  const Recording sound = Of(
      "mpg", "video::enabled=false audio::codec=mp2 audio::bitrate=96k audio::sample_rate=44100");
  ASSERT_EQ(sound.tracks.size(), 1u);
  EXPECT_EQ(sound.tracks[0].bitRate, 96000);
  EXPECT_EQ(sound.tracks[0].sampleRate, 44100);
}

TEST_F(AttributeEffects, FilesBesideTheRecording) {
  EXPECT_EQ(Of("mov", "video::codec=mpeg4 audio::wav_path=" + folder_ / "b.wav" +
                          " capture_file=" + folder_ / "c.mkv")
                .status,
            S_OK);
  EXPECT_EQ(Of("mov", "video::codec=mpeg4 audio::wav_path=" + folder_ / "no.wav" +
                          " wav_path=" + folder_ / "d.wav")
                .status,
            S_OK);
  for (const char* name : {"b.wav", "d.wav"}) {
    const ProbedFile wav = Probe(folder_ / name);
    ASSERT_NE(wav.Audio(), nullptr) << name;
    EXPECT_EQ(wav.Audio()->samples, kFrames * 1920) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ / "no.wav")) << "the session's path wins";
  const ProbedFile second = Probe(folder_ / "c.mkv");
  ASSERT_NE(second.Video(), nullptr);
  EXPECT_EQ(second.Video()->frames, kFrames);

  host::Writer writer;
  ASSERT_EQ(writer.Start(folder_ / "e.mov", "video::codec=mpeg4 anc_capture=true anc_path=" +
                                                folder_ / "f.anc" + " anc_capture.tags=Mine"),
            S_OK);
  const auto frame = QuarteredFrame({.channels = 0}, 0);
  host::AddExtra(frame, "Mine", "bytes", 5);
  ASSERT_EQ(writer.Put(frame), S_OK);
  writer.Stop();
  EXPECT_THAT(folder_.Read("f.anc"), testing::HasSubstr("bytes"));
}

// Kept for lists that have them: they change nothing and are no unknown options either.
TEST_F(AttributeEffects, KeptNamesDoNothing) {
  const Recording plain = Pictures("avi", "video::codec=mpeg4");
  const Recording kept =
      Pictures("avi", "video::codec=mpeg4 mpeg.timecode=1 protocol=udp video::video_format=PAL");
  EXPECT_EQ(kept.status, S_OK);
  EXPECT_EQ(kept.unused, "");
  EXPECT_EQ(kept.packet, plain.packet);
}

TEST_F(AttributeEffects, ComponentPathIsAskedForByAttribute) {
  EXPECT_EQ(Pictures("avi", "xfcodecs=true").status, E_NOTIMPL);
  host::Writer writer;
  writer.Set("xfcodecs.enabled", "true");
  ASSERT_EQ(writer.Start(folder_ / "a.avi", ""), S_OK);
  EXPECT_EQ(writer.Put(QuarteredFrame({}, 0)), E_NOTIMPL);
}

}  // namespace
}  // namespace xv::test
