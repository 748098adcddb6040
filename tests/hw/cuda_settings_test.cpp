#include "hw/cuda/cuda_settings.h"

#include <gmock/gmock.h>

#include <map>

#include "hw/cuda/cuda_attributes.h"
#include "hw/cuda/cuda_headers.h"
#include "picture/pictures.h"

namespace xv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Pair;
using Numbers = std::array<std::int32_t, 3>;

XV_VID_PROPS Picture(int width = 1280, int height = 720, double rate = 25) {
  XV_VID_PROPS vid = test::VidProps(kFccUYVY, width, height);
  vid.dblRate = rate;
  return vid;
}

struct Told {
  std::vector<std::int32_t> order;
  std::map<std::int32_t, std::int64_t> first;  // a rate, or the first number
  std::map<std::int32_t, Numbers> numbers;
  HwOpenReport report;
};

Told Settings(const std::string& attributes, const XV_VID_PROPS& vid = Picture()) {
  const XMLParse::XMLNodePtr session = XMLParse::CoXMLNode::Create({});
  session->MergeText(attributes, XMLParse::MergeMode::kReplace);
  const XMLParse::XMLNodePtr node = session->Child("video", true);
  Told told;
  for (const CudaSetting& setting : CudaSettings(CudaProperties(vid), *node, &told.report)) {
    told.order.push_back(setting.id);
    const auto* numbers = std::get_if<Numbers>(&setting.value);
    told.first[setting.id] = numbers ? (*numbers)[0] : std::get<std::int64_t>(setting.value);
    if (numbers) told.numbers[setting.id] = *numbers;
  }
  return told;
}

TEST(CudaSettings, DefaultsInTheOrderOfTheTable) {
  const Told told = Settings("");
  EXPECT_THAT(told.order, ElementsAre(21, 1, 3, 5, 4, 6, 15, 7, 14, 34, 36, 19, 13));
  EXPECT_THAT(told.first,
              ElementsAre(Pair(1, 1280), Pair(3, 0), Pair(4, 16), Pair(5, 32), Pair(6, 1),
                          Pair(7, 1), Pair(13, 25), Pair(14, 1), Pair(15, 77 | 0xFF00), Pair(19, 0),
                          Pair(21, 1280), Pair(34, 0), Pair(36, 0)));
  EXPECT_THAT(told.report.unused, IsEmpty());
  EXPECT_THAT(told.report.adjusted, IsEmpty());
}

TEST(CudaSettings, AttributesBecomeParameters) {
  const std::vector<std::pair<std::string, std::pair<int, std::int64_t>>> rows = {
      {"video::g=15", {5, 15}},
      {"video::g=0", {5, 32}},
      {"video::bf=40 video::g=15", {4, 14}},
      {"video::bf=0", {4, 1}},
      {"video::g=1", {4, 1}},
      {"video::dynamic_gop=false", {6, 0}},
      {"video::profile=Baseline", {15, 66 | 0xFF00}},
      {"video::profile=High video::level=4.1", {15, 100 | 41 << 8}},
      {"video::level=1.0b", {15, 77 | 0xFF00}},
      {"video::level=4x1", {15, 77 | 0xFF00}},
      {"video::rc_type=cqp", {7, 0}},
      {"video::rc_type=cbr", {7, 2}},
      {"video::rc_type=fast", {7, 1}},
      {"video::rc_type=cqp video::qp_level_i=20", {10, 20}},
      {"video::rc_type=cqp", {11, 28}},
      {"video::rc_type=vbr_minq video::qp_level_p=21", {11, 21}},
      {"video::rc_type=cqp video::qp_level_b=22", {12, 22}},
      {"video::deblock=false", {14, 0}},
      {"video::disable_cabac=true", {34, 1}},
      {"video::disable_sps_pps=true", {36, 1}},
      {"video::deinterlace=true", {19, 1}},
      {"video::b=4M", {8, 4000000}},
      {"video::b=4M", {9, 8000000}},
      {"video::b=4M video::maxrate=1M", {9, 8000000}},
      {"video::b=4M video::maxrate=5M", {9, 5000000}},
      {"video::maxrate=5M", {9, 5000000}}};
  for (const auto& [attributes, sent] : rows) {
    const Told told = Settings(attributes);
    EXPECT_THAT(told.first, IsSupersetOf({Pair(sent.first, sent.second)})) << attributes;
    EXPECT_EQ(told.first.count(10), told.first.at(7) % 3 == 0 ? 1u : 0u) << attributes;
  }
  EXPECT_EQ(Settings("video::maxrate=5M").first.count(8), 0u);
}

TEST(CudaSettings, WhatIsNotReadAndWhatIsChangedHasAName) {
  EXPECT_THAT(Settings("video::qp_level_i=20 video::nal_type=1 video::g=9").report.unused,
              ElementsAre("qp_level_i", "nal_type"));
  EXPECT_THAT(Settings("video::preset=BD video::b=5M video::g=9 video::profile=High").report.unused,
              ElementsAre("g", "profile"));
  EXPECT_THAT(
      Settings("video::bf=40 video::g=15 video::b=4M video::maxrate=1M").report.adjusted,
      ElementsAre("bf=40 (1 to g - 1: 14 is used)", "maxrate=1M (below b: 8000000 is used)"));
  EXPECT_FALSE(IsValidValue(kCudaLevel, "1.0b"));
  EXPECT_TRUE(IsValidValue(kCudaLevel, "4.1"));
}

TEST(CudaSettings, PresetSetsSizeAndAspectAlone) {
  const std::vector<std::pair<std::string, std::pair<Numbers, Numbers>>> rows = {
      {"\"Sony PSP\"", {{320, 240}, {1, 1, 1}}}, {"iPod", {{320, 240}, {1, 1, 1}}},
      {"avchd", {{1920, 1080}, {1, 1, 1}}},      {"BD", {{1920, 1080}, {1, 1, 1}}},
      {"\"HDV 1440\"", {{1440, 1080}, {16, 9}}}, {"\"Zune HD\"", {{720, 480}, {1, 1, 1}}}};
  for (const auto& [preset, sizes] : rows) {
    const Told told = Settings("video::b=1M video::g=5 video::preset=" + preset);
    EXPECT_THAT(told.order, ElementsAre(21, 1, 2, 13, 8, 9)) << preset;
    EXPECT_EQ(told.numbers.at(1), sizes.first) << preset;
    EXPECT_EQ(told.numbers.at(2), sizes.second) << preset;
  }
}

TEST(CudaSettings, PicturesTellSizesFieldsAndRate) {
  XV_VID_PROPS vid = Picture(720, -486, 29.97);
  vid.eInterlace = eXvI_BottomFirst;
  vid.nAspectX = 4;
  vid.nAspectY = 3;
  const Told told = Settings("", vid);
  EXPECT_EQ(told.numbers.at(21), (Numbers{720, 486}));
  EXPECT_EQ(told.numbers.at(1), (Numbers{720, 480}));
  EXPECT_EQ(told.numbers.at(2), (Numbers{4, 3, 0}));
  EXPECT_EQ(told.numbers.at(3)[0], 2);
  EXPECT_EQ(told.numbers.at(13), (Numbers{29970, 1000}));
  EXPECT_THAT(Settings("", Picture(720, 576, 0)).order, ::testing::Not(::testing::Contains(13)));
  vid.nHeight = 1085;
  EXPECT_EQ(CudaHeight(CudaProperties(vid)), 1080);
  vid.nHeight = 1084;
  EXPECT_EQ(CudaHeight(CudaProperties(vid)), 1084);
  EXPECT_EQ(CudaHeight(Picture(720, 486)), 486);
}

TEST(CudaHeaders, LengthsCountIn255s) {
  std::vector<std::uint8_t> raw = {1, 0};  // 255 bytes
  raw.insert(raw.end(), 255, 0x67);
  raw.insert(raw.end(), {0, 2, 0x68, 0x69});
  std::vector<std::uint8_t> out(1024, 0);
  std::size_t size = out.size();
  ASSERT_EQ(CudaHeadersToAnnexB(raw, out.data(), &size), S_OK);
  ASSERT_EQ(size, 8u + 257);
  std::vector<std::uint8_t> expected = {0, 0, 0, 1};
  expected.insert(expected.end(), 255, 0x67);
  expected.insert(expected.end(), {0, 0, 0, 1, 0x68, 0x69});
  out.resize(size);
  EXPECT_EQ(out, expected);
  size = 200;
  EXPECT_EQ(CudaHeadersToAnnexB(raw, out.data(), &size), E_FAIL);
  EXPECT_EQ(size, 0u);
  raw.pop_back();
  size = 1024;
  EXPECT_EQ(CudaHeadersToAnnexB(raw, out.data(), &size), E_FAIL);
}

}  // namespace
}  // namespace xv
