#include "catalogue/list_builder.h"

#include <gmock/gmock.h>

#include "catalogue/fixed_lists.h"
#include "contracts/av_handles.h"
#include "lists/selection.h"
#include "support/needed.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

TEST(ListBuilder, OptionsTellTypeDefaultBoundsAndWords) {
  const AvPtr<AVCodecContext> context(
      avcodec_alloc_context3(avcodec_find_encoder_by_name("libx264")));
  const XMLNodePtr node = CoXMLNode::Create("codec");
  BuildOptions(context->priv_data, *node, AV_OPT_FLAG_VIDEO_PARAM | AV_OPT_FLAG_ENCODING_PARAM, {});
  EXPECT_EQ(node->InfoValue("preset", "default"), "medium");
  EXPECT_EQ(node->InfoValue("preset", "type"), "string");
  EXPECT_EQ(node->InfoValue("crf", "type"), "double");
  EXPECT_EQ(node->InfoValue("crf", "min"), "-1.0");
  EXPECT_EQ(node->InfoValue("crf", "max"), std::nullopt) << "the type alone bounds it";
  EXPECT_EQ(node->InfoValue("aq-mode", "type"), "option");
  EXPECT_EQ(node->InfoValue("aq-mode", "select_from"), "aq_mode");
  EXPECT_EQ(node->InfoValues("aq-mode"), "none, variance, autovariance, autovariance-biased");
  EXPECT_EQ(test::Needed(node->FindChild("attributes_info::aq-mode::aq_mode::variance")).Value(),
            "Variance AQ (complexity mask)");
  EXPECT_FALSE(node->FindInfo("psy")) << "the schema has no word for this type";
}

TEST(ListBuilder, CodecsShareOneDescriptionOfTheirCommonOptions) {
  static constexpr const char* kNames[] = {"x264", "mpeg4", "no-such-encoder"};
  const NameList names(kNames);
  const XMLNodePtr node = CoXMLNode::Create("video");
  BuildCodecs(*node, CodecKind::kVideo, &names, {});
  const XMLNodePtr first = node->FindChild("codec");
  EXPECT_EQ(first->Text("name"), "Default format codec");
  EXPECT_EQ(first->InfoValue("b", "default"), "200000");
  EXPECT_FALSE(first->FindInfo("g")) << "its schema does not inherit";
  EXPECT_EQ(node->ChildCount(), 4u) << "default, shared options, two codecs";
  EXPECT_EQ(node->FindInfo("codec[1]::g"), node->FindInfo("g"));
  EXPECT_EQ(node->InfoValue("codec[1]::g", "default"), "12") << "mpeg4";
  EXPECT_EQ(node->InfoValue("codec[2]::g", "default"), "") << "libx264 decides";
  const XMLNodePtr audio = CoXMLNode::Create("audio");
  const NameList none;
  BuildCodecs(*audio, CodecKind::kAudio, &none, {});
  EXPECT_EQ(test::Needed(audio->FindChild("codec")).InfoValue("b", "default"), "128000");
  EXPECT_EQ(audio->ChildCount(), 1u);
}

TEST(ListBuilder, FormatsListWhatTheirContainerTakes) {
  static constexpr const char* kFormats[] = {"mp4", "no-such-muxer", "mp3", "avi"};
  const NameList names(kFormats);
  const NameList video(fixed_lists::kVideoCodecs);
  const NameList audio(fixed_lists::kAudioCodecs);
  FormatBuild build{&names, &video, &audio, {fixed_lists::kFormatOptionsLeftOut, false}, {}, {}};
  const XMLNodePtr node = CoXMLNode::Create("formats");
  BuildFormats(*node, build);
  ASSERT_EQ(node->ChildCount(), 3u) << "Auto Select, mp4, avi";
  EXPECT_EQ(test::Needed(node->ChildAt(0)).Text("name"), "Auto Select");
  EXPECT_FALSE(test::Needed(node->ChildAt(0)).FindChild("attributes_info")->Bool("inherit", true));
  const XMLNodePtr mp4 = node->ChildAt(1);
  EXPECT_EQ(mp4->Text("extensions"), "mp4");
  EXPECT_TRUE(FindListedCodec(*mp4, "video", "libx264"));
  EXPECT_FALSE(FindListedCodec(*mp4, "video", "huffyuv"));
  EXPECT_TRUE(FindListedCodec(*node->ChildAt(2), "video", "huffyuv"));
  EXPECT_FALSE(FindListedCodec(*mp4, "audio", "pcm_s16le"));
  EXPECT_EQ(test::Needed(mp4->FindChild("audio")).Text("default"), "aac");
  EXPECT_TRUE(mp4->FindInfo("movflags"));
  EXPECT_FALSE(mp4->FindInfo("write_bext"));
  EXPECT_TRUE(PresetsOf(*mp4).empty()) << "nothing on a built format is a preset";
}

}  // namespace
}  // namespace xv
