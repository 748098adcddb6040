#include "catalogue/builtin_list.h"

#include <gmock/gmock.h>

#include <map>
#include <set>

#include "catalogue/ffmpeg_rows.h"
#include "lists/list_comparison.h"
#include "lists/selection.h"
#include "support/needed.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

class BuiltinListTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(list_->ReadXml(BuiltinList()).Ok()); }

  const XMLNodePtr list_ = CoXMLNode::Create({});
};

// It says what it is, and its default lies within its values and bounds.
void ExpectSound(const ListedAttribute& one) {
  EXPECT_FALSE(one.type.empty() || one.description.empty());
  const bool words = one.type == "option_fixed" || one.type == "bool";
  EXPECT_TRUE(!words || !one.values.empty());
  if (one.defaultValue.empty()) return;
  if (!one.values.empty() && one.type != "string") {
    // Words may hold blanks: "Sony PSP".
    const std::string all = ", " + one.values + ",";
    std::string rest = one.defaultValue;
    if (one.type == "flags") std::replace(rest.begin(), rest.end(), '+', ',');
    for (const std::string& word : one.type == "flags" ? ReadList(rest) : std::vector{rest}) {
      EXPECT_NE(all.find(", " + word + ","), std::string::npos) << one.name << "=" << word;
    }
  }
  if (one.type != "int" && one.type != "double") return;
  const auto value = static_cast<double>(ReadRate(one.defaultValue));
  const double number = one.type == "double" ? ReadDouble(one.defaultValue) : value;
  EXPECT_TRUE(one.minimum.empty() || number >= ReadDouble(one.minimum));
  EXPECT_TRUE(one.maximum.empty() || number <= ReadDouble(one.maximum));
}

void ExpectSound(CoXMLNode& list) {
  const std::set<std::string> undeclared = {"", "packets", "null", "wav_file", "dpx", "png"};
  for (const XMLNodePtr& format : test::Needed(list.FindChild("formats")).Children()) {
    SCOPED_TRACE(format->Text("name"));
    for (const ListedAttribute& one : AttributesOfFormat(*format)) ExpectSound(one);
    for (const char* kind : {"video", "audio"}) {
      std::vector<std::string> declared;
      for (const XMLNodePtr& one :
           test::Needed(list.FindChild(std::string(kind) + "_codecs")).Children()) {
        declared.push_back(one->Text("id", "(none)"));
      }
      for (const XMLNodePtr& codec : test::Needed(format->FindChild(kind)).Children()) {
        EXPECT_FALSE(codec->Text("name").empty());
        const std::string id = codec->Text("id");
        SCOPED_TRACE(id);
        EXPECT_TRUE(undeclared.count(id) == 1 || std::ranges::count(declared, id) == 1);
        for (const ListedAttribute& one : AttributesOfCodec(list, *codec, kind)) ExpectSound(one);
      }
    }
  }
}

TEST_F(BuiltinListTest, EveryListedCodecIsDeclaredAndEveryAttributeSound) {
  ExpectSound(*list_);  // as it is written
  ShowFFmpegsRows(*list_);
  ExpectSound(*list_);  // and as it is served
}

TEST_F(BuiltinListTest, EncodersAndContainersShowTheirOwnRows) {
  ShowFFmpegsRows(*list_);
  const auto row = [&](const char* format, const char* kind, const char* codec, const char* name) {
    const XMLNodePtr entry = FindListedCodec(*FindListedFormat(*list_, format), kind, codec);
    for (const ListedAttribute& one : AttributesOfCodec(*list_, *entry, kind)) {
      if (one.name == name) return one.defaultValue + " " + RangeText(one);
    }
    return std::string("none");
  };
  EXPECT_EQ(row("mov", "video", "mpeg2video", "g"), "12 ");
  EXPECT_EQ(row("mov", "video", "mpeg2video", "bf"), "0 -1.0 and more");
  EXPECT_EQ(row("mov", "video", "mpeg2video", "maxrate"), " 0.0 and more") << "follows the rate";
  EXPECT_EQ(row("mov", "video", "libx264", "g"), " ") << "the encoder decides";
  EXPECT_EQ(row("mov", "video", "libx264", "flags").substr(0, 5), "cgop ");
  EXPECT_EQ(row("mov", "video", "libx264", "lmin"), "none") << "of other encoders alone";
  EXPECT_EQ(row("mov", "video", "libx264", "coder"), " cavlc, cabac, vlc, ac");
  EXPECT_EQ(row("mov", "video", "libx264", "size"), " ") << "ours";
  EXPECT_EQ(row("mov", "video", "mjpeg", "cmp_func").substr(0, 2), " s") << "as cmp";
  EXPECT_EQ(row("mp4", "audio", "aac", "b"), " 0.0 and more");
  EXPECT_THAT(row("mov", "video", "mpeg2video", "profile"), testing::HasSubstr("422"));
  // The codec that a container takes by itself, with its own default rate.
  EXPECT_EQ(row("flv", "video", "Default format codec", "b"), "200000 ");
  EXPECT_EQ(row("mp4", "video", "Default format codec", "b"), " ") << "the encoder decides";
  EXPECT_EQ(row("mp4", "audio", "Default format codec", "b"), " ");
}

// What differs from FFmpeg on purpose: names of older versions that hosts still set, and words in
// the place of numbers.
TEST_F(BuiltinListTest, AgreesWithThisFFmpeg) {
  std::map<std::string, std::string> known = {
      {"libx264", "aq_mode b_pyramid preset tune profile level"},
      {"h264_qsv", "vcm"},
      {"libopenjpeg", "numlayers"},
      {"libvpx", "er"},
      {"aac", "stereo_mode profile"},
      {"ac3", "profile"},
      {"ac3_fixed", "profile"},
      {"eac3", "profile"},
      {"flac", "predm"},
      {"mpegts", "resend_headers max_delay pes_payload_size"},
      {"hls",
       "hls_wrap flags use_localtime use_localtime_mkdir pl_type method hls_time max_delay"}};
  for (const std::string& line : CompareWithFFmpeg(*list_)) {
    const std::size_t blank = line.find(' ');
    const std::string option = line.substr(blank + 1, line.find(':') - blank - 1);
    if (option.rfind("rtmp_", 0) == 0) continue;  // of the protocol, not of the muxer
    EXPECT_THAT(ReadList(known[line.substr(0, blank)]), testing::Contains(option)) << line;
  }
}

TEST_F(BuiltinListTest, SoundIsNarrowedToWhatTheContainerTakes) {
  ShowFFmpegsRows(*list_);
  const auto narrowed = [&](const char* id) {
    for (const XMLNodePtr& format : test::Needed(list_->FindChild("formats")).Children()) {
      if (format->Text("id") == id) {
        return format->Text("attributes_info::split_channels::values") + "; " +
               format->Text("audio::codec::attributes_info::ar::values", "any");
      }
    }
    return std::string("no such format");
  };
  EXPECT_EQ(narrowed("mxf_d10"), "0; 48000");
  EXPECT_EQ(narrowed("mxf"), "0, 1, 2, 4, 6, 8; 48000");
  EXPECT_EQ(narrowed("mov"), "0, 1, 2, 4, 6, 8; any");
}

}  // namespace
}  // namespace xv
