#include "component/trace_text.h"

#include <gtest/gtest.h>

#include <limits>

#include "xvwriter/packets.hpp"

namespace xv {
namespace {

std::string Time(std::int64_t stamp) {
  char text[kTraceText];
  return FormatTime(stamp, text);
}

TEST(TraceText, TimesKeepTheirSignAndTheirRest) {
  EXPECT_EQ(Time(0), "0.000");
  EXPECT_EQ(Time(-5'000'000), "-0.500");
  EXPECT_EQ(Time(-5'000'003), "-0.500'0003");
  EXPECT_EQ(Time(10'000'001), "1.000'0001");
  EXPECT_EQ(Time(-12'345'678), "-1.234'5678");
  EXPECT_EQ(Time(12'345'678'901 * 10'000'000 + 5'000'000), "12345678901.500");
  EXPECT_EQ(Time(std::numeric_limits<std::int64_t>::max()), Time(kNoTime));
  EXPECT_EQ(FormatTime(0, nullptr), nullptr);
}

TEST(TraceText, StreamsSayTheirKind) {
  char text[kTraceText];
  EXPECT_STREQ(FormatStreamInfo(nullptr, text), "XV_STREAM_INFO(NULL)");
  XV_STREAM_INFO info = host::PacketStream(eXfMT_Video, "h264").info;
  info.cbExtra = 40;
  info.nTimeBaseNum = 1;
  info.nTimeBaseDen = 25;
  info.nBits = 24;
  info.nBitrate = 5'000'000;
  info.nWidth = 1920;
  info.nHeight = 1080;
  info.dblRate = 30000.0 / 1001;
  info.nAspectX = 16;
  info.nAspectY = 9;
  const std::string head = "tag:h264 cbExt:40 time_base:1/25 bits:24 bitrate:5000000";
  EXPECT_EQ(FormatStreamInfo(&info, text), "Video " + head + " 1920x1080@29.970 (16:9)");
  info.eType = eXfMT_Audio;
  info.nSamplesPerSec = 48000;
  info.nChannels = 2;
  info.nBlock = 4;
  EXPECT_EQ(FormatStreamInfo(&info, text), "Audio " + head + " 2ch 48000Hz block:4");
  info.eType = static_cast<eXfMediaType>(9);
  EXPECT_EQ(FormatStreamInfo(&info, text), "###Err###(eXfMediaType) " + head);
  // A text without an end, and one that does not fit.
  std::fill(std::begin(info.tag), std::end(info.tag), u'\u20ac');
  EXPECT_LT(std::string(FormatStreamInfo(&info, text)).size(), kTraceText);
}

TEST(TraceText, PacketsShowStampsAndStream) {
  char text[kTraceText];
  EXPECT_STREQ(FormatPacket(nullptr, text, true), "IXfPacket=NULL");
  const auto stream = std::make_shared<host::PacketStream>(eXfMT_Data, "klv");
  host::EncodedData data;
  data.data = "abc";
  data.bytes = 3;
  data.pts = 10'000'001;
  data.duration = 400'000;
  data.key = true;
  const auto packet = MakePacket(stream, data);
  XV_PACKET_TIME time{};
  (void)packet->PacketTimeGet(&time);
  time.nStream = 1;
  time.nIndex = 7;
  time.nOrder = 8;
  time.nPosition = 5'000'000'000;
  (void)packet->PacketTimeSet(&time);
  const std::string head =
      "Stm:1 Seg:0.000 Pts:1.000'0001(10000001) Dts:-1 Dur:0.040(400000) Size:3 Flags:0010 Idx:7 "
      "Order:8 Key:0 Pos:5000000000 ";
  EXPECT_EQ(FormatPacket(packet.get(), text, false), head + "[]");
  EXPECT_EQ(FormatPacket(packet.get(), text, true),
            head + "[Data tag:klv cbExt:0 time_base:0/0 bits:0 bitrate:0]");
}

TEST(TraceText, PropertiesOfPicturesAndSound) {
  char text[kTraceText];
  XV_VID_PROPS vid{};
  EXPECT_STREQ(FormatVideoProps(&vid, text), "");
  vid = {0, kFccHDYC, 1920, 1080, 3840, eXvI_TopFirst, 16, 9, 0, 25, eXvAF_LetterBox};
  EXPECT_STREQ(FormatVideoProps(&vid, text), "1920(3840)x1080(HDYC)@25.000iT (16:9L)");
  vid.eInterlace = 77;
  vid.nAspectY = 0;
  EXPECT_STREQ(FormatVideoProps(&vid, text), "1920(3840)x1080(HDYC)@25.000ER");
  vid.eVideoFormat = eXvVF_Disabled;
  EXPECT_STREQ(FormatVideoProps(&vid, text), "disabled");
  XV_AUD_PROPS aud{2, 48000, 16, 0xAAAAAAAA};
  EXPECT_STREQ(FormatAudioProps(&aud, text), "48000,2,16i:10101010101010101010101010101010");
  aud = {6, 44100, -32, 0};
  EXPECT_STREQ(FormatAudioProps(&aud, text), "44100,6,32f:0");
  aud.nChannels = -1;
  EXPECT_STREQ(FormatAudioProps(&aud, text), "disabled");
  EXPECT_STREQ(FormatAudioProps(nullptr, text), "");
}

}  // namespace
}  // namespace xv
