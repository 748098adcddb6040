#include <gmock/gmock.h>

#include "lists/selection.h"
#include "support/media_probe.h"
#include "support/peer_process.h"
#include "xvrecord/catalogue_view.h"
#include "xvrecord/input.h"
#include "xvwriter/list.hpp"

namespace xv::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using XMLParse::XMLNodePtr;
using xvrecord::PresetText;

const std::string kProgram = XVRECORD;

// A small list: a format with presets that need quotes, a codec with a schema, one that is missing.
XMLParse::XMLNodePtr SmallList() {
  return xvrecord::ParseList(R"(<supported_list><formats>
    <format name='Auto Select'><video><codec id='mpeg4' name='MPEG-4' b='5M'/></video></format>
    <format id='mov' name='Movie' extensions='mov,qt' split_channels='1' note="it's two">
      <attributes_info><movflags type='string' default=''>Flags</movflags></attributes_info>
      <video><codec name='Default'/><codec id='dnxhd' name='DNxHD 120' b='120M' size='1280x720P'/></video>
      <audio><codec id='aac' name='AAC' b='128000'/></audio></format>
    <format id='flv' name='Stream' protocol='rtmp://'/></formats>
    <video_codecs><codec id='dnxhd'><attributes_info>
      <g type='int' default='12' min='1' max='60'>Distance of key frames</g></attributes_info></codec>
    </video_codecs>
    <unavailable><codec id='n264'>no driver</codec><codec id='dvvideo' format='flv'>not there</codec>
    <format id='x' name='Xtra'>no component</format></unavailable>
    </supported_list>)");
}

TEST(CatalogueView, PresetsBecomeTheTextOfASession) {
  const auto list = SmallList();
  EXPECT_EQ(
      PresetText(*list, "mov", "dnxhd 120", "AAC"),
      " format='mov' split_channels='1' note=\"it's two\" video::codec='dnxhd' video::b='120M' "
      "video::size='1280x720P' audio::codec='aac' audio::b='128000'");
  EXPECT_EQ(PresetText(*list, "", "mpeg4", ""), " video::codec='mpeg4' video::b='5M'");
  EXPECT_EQ(PresetText(*list, "Stream", "", ""), " format='flv'");
  EXPECT_EQ(PresetText(*list, "", "", ""), "");
  EXPECT_THROW(PresetText(*list, "avi", "", ""), xvrecord::InputError);
  EXPECT_THROW(PresetText(*list, "mov", "mpeg4", ""), xvrecord::InputError);
  EXPECT_THROW(PresetText(*list, "mov", "", "dnxhd"), xvrecord::InputError);
}

TEST(CatalogueView, TablesNameWhatAPersonMayChoose) {
  const auto list = SmallList();
  EXPECT_EQ(xvrecord::FormatsTable(*list),
            "FORMAT  NAME         WRITTEN AS\n"
            "-       Auto Select\n"
            "mov     Movie        mov,qt\n"
            "flv     Stream       rtmp://\n"
            "\nNot on this machine:\n  Xtra: no component\n");
  EXPECT_EQ(xvrecord::CodecsTable(*list, "MOV"),
            "KIND   CODEC  NAME       PRESETS\n"
            "video  -      Default\n"
            "video  dnxhd  DNxHD 120  b='120M' size='1280x720P'\n"
            "audio  aac    AAC        b='128000'\n"
            "\nNot on this machine:\n  n264: no driver\n");
  EXPECT_EQ(xvrecord::OptionsTable(*list, "mov", "dnxhd"),
            "NAME  TYPE  DEFAULT  VALUES   DESCRIPTION\n"
            "g     int   12       1 to 60  Distance of key frames\n");
  EXPECT_THAT(xvrecord::OptionsTable(*list, "mov", ""), HasSubstr("movflags"));
  EXPECT_THROW(xvrecord::OptionsTable(*list, "mov", "mpeg4"), xvrecord::InputError);
}

TEST(CatalogueView, WhatIsNoListIsRefused) {
  for (const char* text : {"", "no list", "<supported_list/>"}) {
    EXPECT_THROW(xvrecord::ParseList(text), xvrecord::InputError) << text;
  }
}

// Both walks, over nodes and over properties, find the same options in the same order.
TEST(CatalogueView, HostsFindTheOptionsThatTheCommandPrints) {
  const host::Writer writer;
  const XMLNodePtr tree = xvrecord::ParseList(writer.Get("supported_list"));
  const host::ServedList list(writer);
  std::size_t compared = 0;
  for (const host::ListEntry& format : list.Entries("formats::format")) {
    for (const char* kind : {"video", "audio"}) {
      for (const host::ListEntry& codec : list.Entries(format.path + "::" + kind + "::codec")) {
        const XMLNodePtr node = tree->FindChild(codec.path);
        ASSERT_TRUE(node) << codec.path;
        const auto expected = AttributesOfCodec(*tree, *node, kind);
        const auto found = host::CodecOptions(list, codec, kind);
        ASSERT_EQ(found.size(), expected.size()) << codec.path;
        for (std::size_t i = 0; i < found.size(); ++i) {
          const ListedAttribute& one = expected[i];
          ASSERT_THAT(
              (std::vector{found[i].name, found[i].type, found[i].defaultValue, found[i].values,
                           found[i].minimum, found[i].maximum, found[i].description}),
              testing::ElementsAre(one.name, one.type, one.defaultValue, one.values, one.minimum,
                                   one.maximum, one.description))
              << codec.path;
          ++compared;
        }
      }
    }
  }
  EXPECT_GT(compared, 1000u);
}

TEST(CatalogueView, CommandPrintsTheServedList) {
  const auto xml = RunProgram({kProgram, "--list"});
  ASSERT_EQ(xml.status, 0) << xml.err;
  EXPECT_THAT(xml.out, testing::StartsWith("<?xml version='1.0'?><supported_list>"));
  EXPECT_THAT(RunProgram({kProgram, "--formats"}).out,
              AllOf(HasSubstr("matroska"), HasSubstr("mxf_d10")));
  EXPECT_THAT(RunProgram({kProgram, "--codecs", "mp4"}).out,
              AllOf(HasSubstr("libx264"), HasSubstr("aac")));
  const auto options = RunProgram({kProgram, "--options", "mp4", "libx264"});
  EXPECT_THAT(options.out, AllOf(HasSubstr("preset"), HasSubstr("crf")));
  EXPECT_EQ(RunProgram({kProgram, "--options", "mp4", "libx264", "--formats"}).status, 0);
  const auto unknown = RunProgram({kProgram, "--codecs", "nothing"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_THAT(unknown.err, HasSubstr("\"nothing\""));
}

TEST(CatalogueView, RecordingTakesThePresetsAndAttributesWin) {
  TemporaryFolder folder;
  const auto record = [&](std::vector<std::string> command) {
    command.insert(command.begin(), {kProgram, "-y", "--quiet"});
    command.insert(command.end(), {"test:size=1280x720,seconds=0.4", folder / "out.mov"});
    const ProgramResult run = RunProgram(command);
    EXPECT_EQ(run.status, 0) << run.err;
    return Probe(folder / "out.mov");
  };
  const ProbedFile file = record(
      {"--format", "mov_dnxhd", "--codec", "DNxHD 120 Mbit/s 720p", "--audio-codec", "pcm_s24le"});
  EXPECT_EQ(file.Pictures().codec, "dnxhd");
  EXPECT_EQ(file.Sound().codec, "pcm_s24le");
  EXPECT_EQ(record({"--codec", "mpeg2video", "-a", "video::codec=mpeg4"}).Pictures().codec,
            "mpeg4");
}

}  // namespace
}  // namespace xv::test
