#include "catalogue/pruner.h"

#include <gmock/gmock.h>

#include "catalogue/builtin_list.h"
#include "catalogue/refused_cells.h"
#include "lists/selection.h"
#include "support/needed.h"

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

HardwareReport AllWorks() {
  HardwareReport report;
  report.nvencH264 = report.nvencLossless = report.nvencHevc = report.nvencFFmpeg = report.cuda =
      "";
  report.quickSync = {true, true, 1, 35, 0x402, ""};
  return report;
}

class PrunerTest : public ::testing::Test {
 protected:
  void Load(std::string_view xml) { ASSERT_TRUE(list_->ReadXml(xml).Ok()); }
  bool Offers(const char* format, const char* codec, const char* kind = "video") {
    const XMLNodePtr node = FindListedFormat(*list_, format);
    return node && FindListedCodec(*node, kind, codec);
  }
  // The reason of a codec (or format) in "unavailable", "" when it is not there.
  std::string Reason(const std::string& id, const std::string& format = "",
                     const char* kind = "codec") {
    const XMLNodePtr node = list_->FindChild("unavailable");
    if (!node) return {};
    for (const XMLNodePtr& one : node->Children()) {
      if (one->Name() != kind) continue;
      if (one->Text("id") == id && one->Text("format") == format) return one->Value();
    }
    return {};
  }

  const XMLNodePtr list_ = CoXMLNode::Create({});
};

TEST_F(PrunerTest, WithoutHardwareItsCodecsGoAndSayWhy) {
  Load(BuiltinList());
  HardwareReport report;
  report.nvencH264 = report.nvencFFmpeg = "NVIDIA driver not found";
  Pruner(report).Run(*list_);
  for (const char* gone :
       {"n264", "l264", "n265", "h264_nvenc", "c264", "q264sw", "q264hw", "h264_qsv", "vc1"}) {
    EXPECT_FALSE(Offers("Auto Select", gone)) << gone;
    EXPECT_FALSE(Offers("matroska", gone)) << gone;
  }
  EXPECT_EQ(Reason("n264"), "NVIDIA driver not found");
  EXPECT_EQ(Reason("h264_nvenc"), "NVIDIA driver not found");
  EXPECT_NE(Reason("vc1"), "");
  EXPECT_TRUE(Offers("matroska", "libx264"));
  EXPECT_TRUE(Offers("mp3", "null")) << "No Video is a child that stays";
  EXPECT_EQ(test::Needed(list_->ChildAt(list_->ChildCount() - 1)).Name(), "unavailable");
  EXPECT_TRUE(Offers("ismv", "null")) << "sound alone can still be written";
  // What components write is always there.
  EXPECT_TRUE(Offers("mpeg_nablet", "mpeg2video"));
  EXPECT_TRUE(Offers("mpeg_nablet_udp", "mpeg2video"));
  EXPECT_TRUE(Offers("mp4", "packets"));
}

TEST_F(PrunerTest, WithHardwareItsCodecsStayAndTellTheirSession) {
  Load(BuiltinList());
  Pruner(AllWorks()).Run(*list_);
  for (const char* there : {"n264", "n265", "c264", "q264sw", "q264hw", "h264_qsv"}) {
    EXPECT_TRUE(Offers("mp4", there)) << there;
  }
  EXPECT_TRUE(Offers("avi", "l264"));
  EXPECT_FALSE(Offers("flv", "n265")) << "the container refuses HEVC";
  EXPECT_NE(Reason("n265", "flv"), "");
  std::map<std::string, std::string> implementations;
  for (const XMLNodePtr& codec : test::Needed(list_->FindChild("video_codecs")).Children()) {
    if (!codec->Has("qs_impl")) continue;
    implementations[codec->Text("id")] = codec->Text("qs_impl") + " " + codec->Text("qs_version");
    EXPECT_EQ(codec->InfoValue("qs_version", "type"), "read-only");
    EXPECT_EQ(codec->InfoValue("qs_impl", ""), "Intel QuickSync Implementation");
  }
  EXPECT_EQ(implementations,
            (std::map<std::string, std::string>{{"q264", "MFX_IMPL_HARDWARE(0402) 1.35"},
                                                {"q264hw", "MFX_IMPL_HARDWARE(0402) 1.35"},
                                                {"q264sw", "MFX_IMPL_SOFTWARE 1.35"}}));
  // Cells go where the container refuses.
  EXPECT_FALSE(Offers("wav", "pcm_s24daud", "audio"));
  EXPECT_TRUE(Offers("Auto Select", "pcm_s24daud", "audio"));
  EXPECT_FALSE(Offers("mov", "libvpx"));
  EXPECT_TRUE(Offers("webm", "libvpx"));
  EXPECT_FALSE(Offers("flv", "pcm_s16le", "audio"));
  EXPECT_TRUE(Offers("mov", "pcm_s16le", "audio"));
  EXPECT_NE(Reason("libvpx", "mov"), "");
  EXPECT_EQ(RefusedCell("mpeg_nablet", "n264"), "") << "not FFmpeg's to refuse";
  EXPECT_EQ(RefusedCell("mp4", "null"), "");
  EXPECT_NE(RefusedCell("mp4", "pcm_s16le"), "");
  EXPECT_NE(RefusedCell("rtsp", "ac3"), "") << "asked, the muxer says that it does not know";
  HardwareReport software = AllWorks();
  software.quickSync.hardware = false;
  Pruner(software).Run(*list_);
  EXPECT_TRUE(Offers("mp4", "q264sw"));
  EXPECT_FALSE(Offers("mp4", "q264hw") || Offers("mp4", "h264_qsv"));
}

TEST_F(PrunerTest, FormatsWithoutACodecGoAndReasonsStay) {
  Load(
      "<supported_list><formats><format id=a><video><codec id=n264/><codec id=vc1/></video>"
      "</format><format id=mp4><video><attributes_info/><codec id=vc1/></video></format>"
      "<format id=b><video><codec name=x/></video></format></formats>"
      "<unavailable><codec id=old>stale</codec></unavailable><video_codecs><codec id=dvvideo>"
      "<attributes_info><dv_format values='dvsd, dv25, dv50'/></attributes_info></codec>"
      "</video_codecs></supported_list>");
  Pruner pruner{HardwareReport()};
  pruner.Run(*list_);
  EXPECT_EQ(test::Needed(list_->FindChild("formats")).WriteXml(),
            "<formats><format id='b'><video><codec name='x'/></video></format></formats>");
  EXPECT_EQ(list_->Text("video_codecs::codec::attributes_info::dv_format::values"), "dvsd, dv25");
  EXPECT_EQ(Reason("old"), "");
  EXPECT_EQ(Reason("a", "", "format"), "none of its video codecs is available");
  const std::string first = list_->WriteXml();
  pruner.Run(*list_);
  EXPECT_EQ(list_->WriteXml(), first) << "what is gone is still explained";
  pruner.Forget();
  pruner.Run(*list_);
  EXPECT_FALSE(list_->FindChild("unavailable"));
}

}  // namespace
}  // namespace xv
