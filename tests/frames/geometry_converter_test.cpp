#include "frames/geometry_converter.h"

#include <gmock/gmock.h>

#include "frames/frames.h"
#include "picture/geometry.h"
#include "picture/pictures.h"
#include "picture/rotate.h"
#include "picture/weave.h"

namespace xv {
namespace {

using test::Filled;
using test::FrameOf;
using test::Picture;
using ::testing::ElementsAre;
using XMLParse::CoXMLNode;

// A converted frame as a picture.
struct Result {
  Status status;
  FrameContents contents;
  Ref<IXvFrame> frame;

  const XV_VID_PROPS& vid() const { return contents.props.vid; }
  const std::uint8_t* Row(int y) const {
    const ImageView view = MakeImageView(vid(), contents.video);
    return view.data[0] + y * view.step[0];
  }
};

Result Convert(const Picture& source, const XV_VID_PROPS* target, const char* attributes,
               int field = -1) {
  const auto node = CoXMLNode::Create("props");
  node->MergeText(attributes, XMLParse::MergeMode::kReplace);
  const Ref<XvConverterRC2> converter = MakeRef<XvConverterRC2>();
  Result result;
  const Ref<IXvFrame> frame = FrameOf(source, 12345);
  result.status =
      converter->Convert(frame.get(), nullptr, target, field, &result.frame, node.get());
  if (result.status.Ok()) result.status = ReadContents(result.frame.get(), &result.contents);
  return result;
}

// Of packed 4:2:2.
int LumaAt(const Result& result, int x, int y) {
  return result.Row(y)[result.vid().fccColor == kFccUYVY ? 2 * x + 1 : 2 * x];
}

TEST(Converter, CropListsMeanTheirSides) {
  Picture source(kFccUYVY, 64, 48);
  source.Randomise(1);
  for (const auto& [text, width, height, left, top] : {std::tuple{"crop=4", 56, 40, 4, 4},
                                                       {"crop='10,20'", 44, 8, 10, 20},
                                                       {"crop='2;6;8'", 60, 34, 2, 6},
                                                       {"crop='2,4,6,8,99'", 56, 36, 2, 4}}) {
    const Result result = Convert(source, nullptr, text);
    ASSERT_EQ(result.status, S_OK) << text;
    EXPECT_TRUE(result.vid().nWidth == width && result.vid().nHeight == height) << text;
    for (int y = 0; y < height; ++y) {
      ASSERT_TRUE(
          std::equal(result.Row(y), result.Row(y) + width * 2, source.Row(y + top) + left * 2));
    }
  }
  EXPECT_EQ(Convert(source, nullptr, "crop=' , '").status, E_INVALIDARG);
  EXPECT_EQ(Convert(source, nullptr, "crop=40").status, E_INVALIDARG);
  EXPECT_EQ(Convert(Picture(kFccI420, 64, 48), nullptr, "crop=-4").status, E_INVALIDARG);
}

TEST(RotatePlane, EverySampleLandsWhereItBelongs) {
  for (const int bytes : {1, 3, 4}) {
    // The last ones outgrow the cache.
    for (const auto& [width, height] :
         {std::pair{70, 131}, {8, 8}, {5, 3}, {129, 65}, {1280, 832}, {1278, 832}}) {
      Picture source(kFccRGB8, width * bytes, height);
      source.Randomise(3);
      const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(height) * bytes;
      std::vector<std::uint8_t> target(static_cast<std::size_t>(step) *
                                       static_cast<std::size_t>(width));
      for (const bool left : {false, true}) {
        RotatePlane(source.Row(0), source.View().step[0], target.data(), step, width, height, bytes,
                    left);
        for (int y = 0; y < height; ++y) {
          for (int x = 0; x < width; ++x) {
            const int row = left ? width - 1 - x : x;
            const int column = left ? y : height - 1 - y;
            ASSERT_TRUE(std::equal(source.Row(y) + x * bytes, source.Row(y) + (x + 1) * bytes,
                                   target.data() + row * step + column * bytes));
          }
        }
      }
    }
  }
}

XV_VID_PROPS TargetProps(std::uint32_t tag, int width, int height, std::uint32_t interlace,
                         int aspectX, int aspectY, std::uint32_t fit = eXvAF_Default) {
  XV_VID_PROPS vid = test::VidProps(tag, width, height, interlace);
  vid.nAspectX = static_cast<std::int16_t>(aspectX);
  vid.nAspectY = static_cast<std::int16_t>(aspectY);
  vid.eAspectFit = fit;
  return vid;
}

TEST(RegionPlan, LetterBoxCropAndOneToOne) {
  const auto plan = [](int sw, int sh, int sx, int sy, int tw, int th, int tx, int ty,
                       std::uint32_t fit) {
    const Picture source(TargetProps(kFccUYVY, sw, sh, eXvI_Progressive, sx, sy));
    const Picture target(TargetProps(kFccUYVY, tw, th, eXvI_Progressive, tx, ty, fit));
    const RegionPlan p = PlanRegions(source.View(), target.View());
    return std::vector<int>{p.source.left, p.source.top, p.source.right, p.source.bottom,
                            p.target.left, p.target.top, p.target.right, p.target.bottom};
  };
  // 16:9 into 4:3: a quarter of the height is margin.
  EXPECT_THAT(plan(1920, 1080, 16, 9, 720, 576, 4, 3, eXvAF_LetterBox),
              ElementsAre(0, 0, 1920, 1080, 0, 72, 720, 504));
  EXPECT_THAT(plan(1920, 1080, 16, 9, 720, 576, 4, 3, eXvAF_Crop),
              ElementsAre(240, 0, 1680, 1080, 0, 0, 720, 576));
  EXPECT_THAT(plan(720, 576, 4, 3, 1920, 1080, 16, 9, eXvAF_LetterBox),
              ElementsAre(0, 0, 720, 576, 240, 0, 1680, 1080));
  // Automatic: a narrower source is cropped, a wider one boxed.
  EXPECT_THAT(plan(720, 576, 4, 3, 720, 576, 16, 9, eXvAF_Default),
              ElementsAre(0, 72, 720, 504, 0, 0, 720, 576));
  EXPECT_THAT(plan(720, 576, 16, 9, 720, 576, 4, 3, eXvAF_Default),
              ElementsAre(0, 0, 720, 576, 0, 72, 720, 504));
  EXPECT_THAT(plan(640, 480, 4, 3, 800, 700, 16, 9, eXvAF_IgnoreAspect),
              ElementsAre(0, 0, 640, 480, 0, 0, 800, 700));
  EXPECT_THAT(plan(640, 480, 4, 3, 720, 576, 4, 3, eXvAF_NoScale),
              ElementsAre(0, 0, 640, 480, 40, 48, 680, 528));
  EXPECT_THAT(plan(640, 480, 4, 3, 720, 576, 4, 3, eXvAF_None),
              ElementsAre(0, 0, 640, 480, 40, 48, 680, 528));
  // Large pictures of one pixel shape go one to one: 1920x1088 to 1920x1080.
  EXPECT_THAT(plan(1920, 1088, 0, 0, 1920, 1080, 0, 0, eXvAF_Default),
              ElementsAre(0, 4, 1920, 1084, 0, 0, 1920, 1080));
}

TEST(Converter, SameGeometryMovesSamplesAndLeavesTheHostsMemoryAlone) {
  Picture source(kFccUYVY, 64, 48);
  source.Randomise(7);
  const Picture before = source;
  const XV_VID_PROPS target = test::VidProps(kFccYUY2, 64, 48);
  const Result result = Convert(source, &target, "scaling_quality=4");
  ASSERT_EQ(result.status, S_OK);
  for (int x = 0; x < 64; ++x) ASSERT_EQ(LumaAt(result, x, 11), source.Row(11)[2 * x + 1]);
  EXPECT_EQ(result.contents.props.aud.nChannels, 2);
  EXPECT_EQ(result.vid().nRowBytes, 128);
  const Result mirrored = Convert(source, nullptr, "mirror=vert");
  ASSERT_EQ(mirrored.status, S_OK);
  EXPECT_TRUE(std::equal(mirrored.Row(0), mirrored.Row(0) + 128, source.Row(47)));
  EXPECT_EQ(source.bytes, before.bytes);
}

// Two moments in the two fields: the earlier one dark, the later one bright.
Picture TwoMoments(std::uint32_t order, int width, int height) {
  Picture picture(kFccUYVY, width, height, order);
  const ImageView view = picture.View();
  const int early = order == eXvI_TopFirst ? 0 : 1;
  for (int y = 0; y < height; ++y) {
    FillBackground(RegionView(view, 0, y, width, 1), (y & 1) == early ? 0xFF202020 : 0xFFE0E0E0,
                   1.0)
        .code();
  }
  return picture;
}

constexpr int kEarly = 44;  // luma of 0x20
constexpr int kLate = 208;  // luma of 0xE0

TEST(Converter, DeinterlacingTakesTheFirstFieldAlone) {
  for (const std::uint32_t order : {eXvI_TopFirst, eXvI_BottomFirst}) {
    const Picture source = TwoMoments(order, 64, 48);
    const XV_VID_PROPS target = test::VidProps(kFccUYVY, 64, 48);
    for (const char* quality : {"scaling_quality=4", "scaling_quality=16"}) {
      const Result result = Convert(source, &target, quality);
      ASSERT_EQ(result.status, S_OK);
      for (int y = 0; y < 48; ++y) ASSERT_NEAR(LumaAt(result, 9, y), kEarly, 2) << quality << y;
    }
    const Result second = Convert(source, &target, "scaling_quality=4", 1);
    EXPECT_NEAR(LumaAt(second, 9, 20), kLate, 2);
  }
}

TEST(Converter, ScalingKeepsFieldsApartAndInOrder) {
  for (const std::uint32_t from : {eXvI_TopFirst, eXvI_BottomFirst}) {
    for (const std::uint32_t to : {eXvI_TopFirst, eXvI_BottomFirst}) {
      const Picture source = TwoMoments(from, 64, 96);
      const XV_VID_PROPS target = test::VidProps(kFccUYVY, 48, 64, to);
      for (const char* attributes : {"scaling_quality=4", "scaling_quality=16",
                                     "scaling_quality=4 scaling_siting=centred"}) {
        const Result result = Convert(source, &target, attributes);
        ASSERT_EQ(result.status, S_OK);
        const int earlyRow = to == eXvI_TopFirst ? 0 : 1;
        for (int y = 4; y < 60; ++y) {
          ASSERT_NEAR(LumaAt(result, 9, y), (y & 1) == earlyRow ? kEarly : kLate, 3)
              << attributes << " row " << y << " order " << from << " to " << to;
        }
      }
    }
  }
}

TEST(Weave, TakesRowsByTurnsAndExchangesForBottomFirst) {
  const XV_VID_PROPS vid = test::VidProps(kFccUYVY, 8, 6);
  const Picture dark = Filled(vid, 0xFF202020);
  const Picture bright = Filled(vid, 0xFFE0E0E0);
  const auto expectWoven = [](const auto& lumaAt, int darkParity) {
    for (int y = 0; y < 6; ++y) EXPECT_NEAR(lumaAt(y), y % 2 == darkParity ? kEarly : kLate, 1);
  };
  for (const std::uint32_t order : {eXvI_TopFirst, eXvI_BottomFirst}) {
    Picture target(kFccYUY2, 8, 6, order);
    Weave(dark.View(), bright.View(), target.View());
    expectWoven([&](int y) { return *target.Row(y); }, order == eXvI_BottomFirst ? 1 : 0);
  }
  Picture upwards(kFccRGB32, 8, 6);
  Weave(dark.View(), bright.View(), upwards.View());
  EXPECT_GT(upwards.View().data[0][1], 0x80) << "rows that go upwards exchange them too";
  Picture untouched(test::VidProps(kFccI420, 8, 6), 9);
  Weave(dark.View(), bright.View(), untouched.View());
  EXPECT_THAT(untouched.bytes, testing::Each(9));

  // The converter weaves two frames before all else.
  Result woven;
  const Ref<IXvFrame> frames[2] = {FrameOf(dark), FrameOf(bright)};
  ASSERT_EQ(MakeRef<XvConverterRC2>()->Convert(frames[0].get(), frames[1].get(), nullptr, -1,
                                               &woven.frame, nullptr),
            S_OK);
  ASSERT_EQ(ReadContents(woven.frame.get(), &woven.contents), S_OK);
  expectWoven([&](int y) { return LumaAt(woven, 3, y); }, 0);
}

TEST(Converter, StereoPicturesScaleSideBySide) {
  const Picture source = Filled(test::VidProps(kFccUYVY, 64, 32), 0xFF202020);
  ImageView from = source.View();
  ASSERT_EQ(FillBackground(RegionView(from, 32, 0, 32, 32), 0xFFE0E0E0, 1.0), S_OK);
  from.format = eXvVF_HorizontalSplit;
  Picture target(kFccUYVY, 48, 48);
  ImageView to = target.View();
  to.format = eXvVF_VerticalSplit;
  from.scaleMode = eXvAF_IgnoreAspect;
  FrameScaler scaler;
  ASSERT_EQ(scaler.ScaleFrame(from, {to, {}}, 4), S_OK);
  EXPECT_NEAR(target.Row(10)[1], kEarly, 2);
  EXPECT_NEAR(target.Row(10)[2 * 47 + 1], kEarly, 2);
  EXPECT_NEAR(target.Row(30)[1], kLate, 2);
  EXPECT_EQ(scaler.ScaleFrame({}, {to, {}}, 4), S_FALSE);
}

TEST(Converter, ViewOffsetTellsTheHalfOfADoubleBuffer) {
  std::vector<std::uint8_t> buffer(2 * 64 * 8);
  const std::int64_t natural = 64 * 8 / 2;
  const auto offsetOf = [&](std::size_t at, std::size_t bytes) {
    const Ref<IXvFrame> frame =
        test::FrameOver(test::VidProps(kFccUYVY, 32, 4), buffer.data() + at, bytes);
    Query<IXvFrameExtras>(frame.get())->ExtraSetByName(u"__vptr_", 0, buffer.data(), nullptr);
    std::ptrdiff_t offset = -1;
    const int half = ViewOffset(frame.get(), natural, &offset);
    return std::pair<int, std::ptrdiff_t>(half, offset);
  };
  EXPECT_THAT(offsetOf(0, 512), testing::Pair(1, 0));
  EXPECT_THAT(offsetOf(256, 512), testing::Pair(2, 256));
  EXPECT_THAT(offsetOf(256, 256), testing::Pair(0, 256));
}

TEST(Converter, BadInputGivesItsStatus) {
  const Ref<XvConverterRC2> converter = MakeRef<XvConverterRC2>();
  Ref<IXvFrame> result;
  const Picture good(kFccUYVY, 32, 16);
  EXPECT_EQ(converter->Convert(nullptr, nullptr, nullptr, -1, &result, nullptr), E_POINTER);
  const Ref<IXvFrame> frame = FrameOf(good);
  EXPECT_EQ(converter->Convert(frame.get(), nullptr, nullptr, -1, nullptr, nullptr), E_POINTER);
  const XV_VID_PROPS target = test::VidProps(kFccUYVY, 16, 8);
  Picture tooShort = good;
  tooShort.bytes.resize(100);
  const Ref<IXvFrame> cut = FrameOf(tooShort);
  EXPECT_EQ(converter->Convert(cut.get(), nullptr, &target, -1, &result, nullptr), E_INVALIDARG);
}

}  // namespace
}  // namespace xv
