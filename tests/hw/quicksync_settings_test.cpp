#include "hw/quicksync/quick_settings.h"

#include <gmock/gmock.h>

#include "hw/frame_rate.h"
#include "hw/quicksync/quick_allocator.h"
#include "hw/quicksync/quick_attributes.h"
#include "hw/quicksync/quick_ladder.h"
#include "hw/stamps.h"
#include "picture/pictures.h"

namespace xv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Read {
  QuickSettings settings;
  std::vector<std::string> adjusted;
  std::vector<std::string> unused;
  const mfxInfoMFX& mfx() const { return settings.param.mfx; }
  const mfxFrameInfo& frame() const { return settings.param.mfx.FrameInfo; }
};

XV_VID_PROPS Props(int width, int height, std::uint32_t interlace = eXvI_Progressive) {
  XV_VID_PROPS vid = test::VidProps(kFccNV12, width, height, interlace);
  vid.dblRate = 29.97;
  vid.nAspectX = 16;
  vid.nAspectY = 9;
  return vid;
}

Read ReadSettings(const std::string& attributes, const XV_VID_PROPS& vid = Props(1920, 1080),
                  bool hardware = true) {
  XMLParse::XMLNodePtr node;
  EXPECT_EQ(NodeFromText("video", attributes, &node), Status(S_OK));
  AttributeReader reader(*node);
  Read read{MakeQuickSettings(vid, hardware, reader), {}, {}};
  read.adjusted = reader.Adjusted();
  reader.AddUnused(QuickAttributes(), &read.unused);
  return read;
}

TEST(QuickSettings, LevelsAreBroughtToThoseThatThereAre) {
  const std::pair<const char*, int> levels[] = {{"1.9", 13}, {"5.9", 52}, {"0.1", 11}, {"4.0", 41},
                                                {"4.2", 42}, {"9.0", 51}, {"1.0b", 9}, {"41", 0},
                                                {"4.11", 0}, {"x.1", 0},  {"", 0}};
  for (const auto& [text, level] : levels) EXPECT_EQ(QuickLevel(text), level) << text;
}

TEST(QuickSettings, DefaultsDifferByTheSession) {
  const Read read = ReadSettings("");
  EXPECT_EQ(read.mfx().TargetUsage, 1);
  EXPECT_EQ(ReadSettings("", Props(1920, 1080), false).mfx().TargetUsage, 6);
  EXPECT_EQ(ReadSettings("quality=99").mfx().TargetUsage, 1);
  EXPECT_EQ(ReadSettings("quality=-4").mfx().TargetUsage, 7);
  const mfxInfoMFX& mfx = read.mfx();
  EXPECT_THAT((std::vector{mfx.GopPicSize, mfx.GopRefDist, mfx.GopOptFlag, mfx.RateControlMethod,
                           mfx.TargetKbps, mfx.MaxKbps}),
              ElementsAre(200, 3, 0, MFX_RATECONTROL_VBR, 5000, 5000));
  EXPECT_EQ(read.settings.coding.CAVLC, MFX_CODINGOPTION_OFF);
  EXPECT_EQ(ReadSettings("CAVLC=1").settings.coding.CAVLC, MFX_CODINGOPTION_ON);
  EXPECT_EQ(ReadSettings("exact_gop=1").mfx().GopOptFlag, MFX_GOP_STRICT);
}

TEST(QuickSettings, EachMethodReadsItsOwnNumbers) {
  const std::pair<const char*, int> methods[] = {
      {"cbr", 1},     {"vbr", 2},         {"cqp", 3},
      {"avbr", 4},    {"vbr_la", 8},      {"vbr_la_hrd", 13},
      {"quality", 9}, {"quality_la", 11}, {"quality_vbrvcm", 10},
      {"other", 2}};
  for (const auto& [word, method] : methods) {
    EXPECT_EQ(ReadSettings(std::string("rc_type=") + word).mfx().RateControlMethod, method) << word;
  }
  const Read cqp = ReadSettings("rc_type=cqp qpi=20 qpb=24 b=8M maxrate=9M");
  EXPECT_THAT((std::vector{cqp.mfx().QPI, cqp.mfx().QPP, cqp.mfx().QPB}), ElementsAre(20, 22, 24));
  EXPECT_THAT(cqp.unused, ElementsAre("b", "maxrate"));
  EXPECT_EQ(ReadSettings("rc_type=cqp qpp=23").mfx().QPP, 23);
  const Read quality = ReadSettings("rc_type=quality_la icq_quality=30 Convergence=7 ref_frames=2");
  EXPECT_THAT(
      (std::vector{quality.mfx().ICQQuality, quality.mfx().Accuracy, quality.mfx().Convergence}),
      ElementsAre(30, 100, 7));
  EXPECT_EQ(ReadSettings("rc_type=quality accuracy=50").mfx().Accuracy, 50);
  EXPECT_THAT(quality.unused, ElementsAre("ref_frames"));
}

TEST(QuickSettings, RatesBeyondSixteenBitsTakeAMultiplier) {
  const Read small = ReadSettings("b=8M maxrate=10M InitialDelay=500k bufsize=3M ref_frames=4");
  EXPECT_EQ(small.mfx().BRCParamMultiplier, 0);
  EXPECT_EQ(small.mfx().InitialDelayInKB, 500);
  EXPECT_EQ(small.mfx().BufferSizeInKB, 3000);
  EXPECT_EQ(ReadSettings("bufsize=3M BufferSize=2M").mfx().BufferSizeInKB, 2000);
  const Read large = ReadSettings("b=100M maxrate=150M BufferSize=30M");
  EXPECT_EQ(large.mfx().BRCParamMultiplier, 3);
  EXPECT_NEAR(Multiplied(large.settings.param, large.mfx().TargetKbps), 100'000, 3);
  EXPECT_NEAR(Multiplied(large.settings.param, large.mfx().MaxKbps), 150'000, 3);
  EXPECT_NEAR(Multiplied(large.settings.param, large.mfx().BufferSizeInKB), 30'000, 3);
}

TEST(QuickSettings, RasterAndFieldsFollowTheSourceOrTheWord) {
  const auto raster = [](const std::string& text, std::uint32_t source) {
    const Read read = ReadSettings(text, Props(1910, -1080, source));
    return std::array<int, 3>{read.frame().PicStruct, read.frame().Width, read.frame().Height};
  };
  EXPECT_THAT(raster("", eXvI_Progressive), ElementsAre(1, 1920, 1088));
  EXPECT_THAT(raster("", eXvI_TopFirst), ElementsAre(2, 1920, 1088));
  EXPECT_THAT(raster("interlace=progressive", eXvI_BottomFirst), ElementsAre(1, 1920, 1088));
  EXPECT_THAT(raster("interlace=bottom", eXvI_Progressive), ElementsAre(4, 1920, 1088));
  EXPECT_THAT(raster("interlace=top profile=\"Progressive High\"", eXvI_TopFirst),
              ElementsAre(1, 1920, 1088));
  EXPECT_EQ(ReadSettings("", Props(720, 528)).frame().Height, 528);
  EXPECT_EQ(ReadSettings("interlace=top", Props(720, 528)).frame().Height, 544);
  const mfxFrameInfo frame = ReadSettings("", Props(1910, -1080)).frame();
  EXPECT_TRUE(frame.CropW == 1910 && frame.CropH == 1080);
  EXPECT_TRUE(frame.FrameRateExtN == 30000 && frame.FrameRateExtD == 1001);
}

TEST(QuickSettings, AspectIsThePixelsInLowestTerms) {
  const auto aspect = [](int x, int y, int width, int height) {
    XV_VID_PROPS vid = Props(width, height);
    vid.nAspectX = static_cast<std::int16_t>(x);
    vid.nAspectY = static_cast<std::int16_t>(y);
    const PixelAspect pixel = PixelAspectOf(vid);
    return std::pair<int, int>(pixel.across, pixel.down);
  };
  EXPECT_EQ(aspect(16, 9, 1920, 1080), std::pair(1, 1));
  EXPECT_EQ(aspect(16, 9, 720, -576), std::pair(64, 45));
  EXPECT_EQ(aspect(0, 9, 720, 576), std::pair(0, 0));
  EXPECT_EQ(aspect(32003, 9, 720, 576), std::pair(0, 0));
}

TEST(QuickSettings, MemoryOfTheDeviceIsForHardware) {
  EXPECT_EQ(ReadSettings("").settings.param.IOPattern, MFX_IOPATTERN_IN_SYSTEM_MEMORY);
  EXPECT_TRUE(ReadSettings("gpu_memory=1").settings.gpuMemory);
  const Read software = ReadSettings("gpu_memory=1", Props(720, 576), false);
  EXPECT_FALSE(software.settings.gpuMemory);
  EXPECT_THAT(software.adjusted,
              ElementsAre("gpu_memory=1 (the software runtime has no such memory)"));
}

TEST(QuickSettings, CorrectionsOfTheEncoderAreNamed) {
  XMLParse::XMLNodePtr node;
  ASSERT_EQ(NodeFromText("video", "b=200M bf=7 level=3.1", &node), Status(S_OK));
  AttributeReader reader(*node);
  const mfxVideoParam asked = MakeQuickSettings(Props(1920, 1080), true, reader).param;
  mfxVideoParam got = asked;
  NameCorrections(asked, got, reader);
  EXPECT_THAT(reader.Adjusted(), IsEmpty());
  got.mfx.GopRefDist = 4;
  got.mfx.CodecLevel = 41;
  got.mfx.BRCParamMultiplier = 1;
  got.mfx.TargetKbps = got.mfx.MaxKbps = 62500;
  NameCorrections(asked, got, reader);
  EXPECT_THAT(reader.Adjusted(),
              ElementsAre("level=3.1 (the encoder uses 4.1)", "bf=7 (the encoder uses 3 in a row)",
                          "b=200M (the encoder uses 62500 kbit/s)"));
}

TEST(QuickStamps, GoThroughThreeClocksAndBack) {
  const AVRational ntsc{1001, 30000};
  EXPECT_EQ(ToHundredNanoseconds(1, ntsc), 333667);
  EXPECT_EQ(ToHundredNanoseconds(-1, ntsc), -333667);
  EXPECT_EQ(ToHundredNanoseconds(5, {0, 1}), 50);
  EXPECT_EQ(ToClock90(333667), 3003u);
  for (const AVRational base :
       {ntsc, AVRational{1, 25}, AVRational{1, 90000}, AVRational{1, 1000}}) {
    for (const std::int64_t pts : {0, 1, 2, 1799, 10'000'001}) {
      const auto clock = ToClock90(ToHundredNanoseconds(pts, base));
      EXPECT_EQ(FromHundredNanoseconds(FromClock90(clock), base), pts);
    }
  }
  EXPECT_EQ(ToClock90(ToHundredNanoseconds(AV_NOPTS_VALUE, ntsc)), kUnknownClock);
  EXPECT_EQ(FromHundredNanoseconds(FromClock90(kUnknownClock), ntsc), AV_NOPTS_VALUE);
}

TEST(QuickStamps, DecodingRunsAheadAsTheRuntimeTells) {
  const AVRational picture{1, 25};
  for (const std::uint64_t untold : {std::uint64_t{0}, kUnknownClock, kUnknownClock - 1}) {
    EXPECT_EQ(DecodingLead(36000, untold, picture), 1);
  }
  EXPECT_EQ(DecodingLead(0, static_cast<std::uint64_t>(-7200), picture), 2);
  EXPECT_EQ(DecodingLead(36000, 36000 - 3600, picture), 1);
  EXPECT_EQ(DecodingLead(36000, 36000, picture), 0);
}

TEST(QuickLadder, PutsTheChoiceAheadOfAllOthers) {
  const std::vector<mfxIMPL> listed{0x404, 0x402, 0x405, 0x406, 0x407, 4, 2, 5, 6, 7, 3, 1};
  EXPECT_EQ(ImplementationOrder(-2), listed);
  for (const auto& [choice, first] : {std::pair(0, 0x402), {3, 0x407}, {-1, 1}}) {
    const std::vector<mfxIMPL> order = ImplementationOrder(choice);
    EXPECT_EQ(order.front(), first);
    EXPECT_EQ(std::vector(order.begin() + 1, order.end()), listed);
  }
}

TEST(QuickAllocator, SharesASetOfADecoderAndFreesItOnce) {
  const auto allocator = MakeRef<XvQSAllocatorSW>();
  mfxFrameAllocator& record = *allocator->Record();
  mfxFrameAllocRequest request{};
  request.AllocId = 7;
  request.Type = MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_FROM_DECODE;
  request.NumFrameMin = request.NumFrameSuggested = 2;
  request.Info.FourCC = MFX_FOURCC_NV12;
  request.Info.Width = 32;
  request.Info.Height = 16;
  mfxFrameAllocResponse first{}, second{}, encoders{};
  ASSERT_EQ(record.Alloc(record.pthis, &request, &first), MFX_ERR_NONE);
  ASSERT_EQ(record.Alloc(record.pthis, &request, &second), MFX_ERR_NONE);
  EXPECT_EQ(first.mids, second.mids);
  request.Type = MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_FROM_ENCODE;
  ASSERT_EQ(record.Alloc(record.pthis, &request, &encoders), MFX_ERR_NONE);
  EXPECT_NE(encoders.mids, first.mids);

  EXPECT_EQ(record.Free(record.pthis, &first), MFX_ERR_NONE);
  mfxFrameData data{};
  ASSERT_EQ(record.Lock(record.pthis, second.mids[1], &data), MFX_ERR_NONE);
  EXPECT_EQ(data.Y, second.mids[1]);
  EXPECT_EQ(data.UV, data.Y + 32 * 16);
  EXPECT_EQ(data.Pitch, 32);
  const mfxMemId gone = second.mids[1];
  mfxFrameAllocResponse copy = second;
  EXPECT_EQ(record.Free(record.pthis, &second), MFX_ERR_NONE);
  EXPECT_EQ(record.Free(record.pthis, &copy), MFX_ERR_INVALID_HANDLE);
  EXPECT_EQ(record.Lock(record.pthis, gone, &data), MFX_ERR_INVALID_HANDLE);
  request.Info.FourCC = MFX_FOURCC_P010;
  EXPECT_EQ(record.Alloc(record.pthis, &request, &second), MFX_ERR_UNSUPPORTED);
}

TEST(QuickAllocator, MemoryIsTheIdentifierElseThePlane) {
  mfxU8 byte = 0;
  mfxU8* memory = nullptr;
  mfxFrameData data{};
  EXPECT_EQ(XvQSAllocatorSW::Memory(&byte, nullptr, &memory), MFX_ERR_NULL_PTR);
  EXPECT_EQ(XvQSAllocatorSW::Memory(nullptr, &data, nullptr), MFX_ERR_NONE);
  EXPECT_EQ(XvQSAllocatorSW::Memory(nullptr, &data, &memory), MFX_ERR_UNDEFINED_BEHAVIOR);
  data.Y = &byte;
  EXPECT_EQ(XvQSAllocatorSW::Memory(nullptr, &data, &memory), MFX_ERR_NONE);
  EXPECT_EQ(memory, &byte);
}

}  // namespace
}  // namespace xv
