#include <gmock/gmock.h>

#include <cstdlib>
#include <random>

#include "convert/converter_rc2.h"
#include "convert/frames.h"
#include "convert/guarded_row.h"
#include "convert/prepare_video.h"

// Pictures of random properties in memory that ends at an unreadable page: whatever a host says
// about its picture, nothing outside of it is touched.
namespace xv {
namespace {

using XMLParse::CoXMLNode;

constexpr std::uint32_t kTags[] = {kFccUYVY,   kFccHDYC, kFccYUY2,  kFccYVYU,  kFccI420,
                                   kFccYV12,   kFccNV12, kFccRGB24, kFccRGB32, kFccARGB32,
                                   kFccRGB8,   kFccV210, kFccR210,  kFccY422,  kFccY444,
                                   kFccRGB565, kFccMJPG, 0x12345678};
constexpr int kFormats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12,     AV_PIX_FMT_YUV422P10LE,
                            AV_PIX_FMT_YUV411P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_UYVY422,
                            AV_PIX_FMT_BGR24,   AV_PIX_FMT_RGBA,     AV_PIX_FMT_RGB48LE,
                            AV_PIX_FMT_BGR0};
constexpr const char* kEdits[] = {"",
                                  "crop=2",
                                  "crop='7,3,1'",
                                  "crop=400",
                                  "crop=-3",
                                  "rotate=left",
                                  "rotate=right",
                                  "mirror=both",
                                  "crop='4,2' rotate=left mirror=vert"};

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int Below(int limit) { return static_cast<int>(engine_() % static_cast<unsigned>(limit)); }
  template <class T, std::size_t N>
  T Of(const T (&items)[N]) {
    return items[engine_() % N];
  }
  XV_VID_PROPS Props() {
    XV_VID_PROPS vid{};
    vid.fccColor = Of(kTags);
    vid.nWidth = Below(20) == 0 ? 0 : 1 + Below(90);
    vid.nHeight = (1 + Below(60)) * (Below(2) == 0 ? 1 : -1);
    vid.nRowBytes = Below(3) == 0 ? NaturalRowBytes(vid.fccColor, vid.nWidth) + Below(40)
                                  : Below(2) * Below(300);
    vid.eInterlace = static_cast<std::uint32_t>(Below(6));
    vid.nAspectX = static_cast<std::int16_t>(Below(3) * 8);
    vid.nAspectY = static_cast<std::int16_t>(Below(3) * 3);
    vid.eAspectFit = static_cast<std::uint32_t>(Below(6));
    vid.dblRate = Below(3) * 25;
    return vid;
  }

 private:
  std::mt19937 engine_;
};

struct GuardedFrame {
  GuardedFrame(const XV_VID_PROPS& vid, std::size_t bytes) : memory(bytes) {
    XvFrameDesc desc{};
    desc.cbSize = sizeof desc;
    desc.props.vid = vid;
    desc.video = memory.data();
    desc.cbVideo = static_cast<std::uint32_t>(bytes);
    EXPECT_EQ(BuiltInFrameFactory()->FrameCreate(&desc, frame.Receive()), S_OK);
  }
  test::GuardedRow memory;
  Ref<IXvFrame> frame;
};

std::size_t BytesFor(const XV_VID_PROPS& vid, Random& random) {
  const std::int64_t whole = FrameBytes(vid.fccColor, vid.nWidth, vid.nHeight, vid.nRowBytes);
  const std::int64_t bytes =
      std::max<std::int64_t>(whole, 4) + (random.Below(8) == 0 ? -random.Below(64) : 0);
  return static_cast<std::size_t>(std::clamp<std::int64_t>(bytes, 0, 1 << 20));
}

TEST(RandomPictures, ConverterStaysInsideItsBuffers) {
  Random random(17);
  const Ref<XvConverterRC2> converter = MakeRef<XvConverterRC2>();
  int converted = 0;
  for (int i = 0; i < 4000; ++i) {
    const XV_VID_PROPS vid = random.Props();
    const GuardedFrame source(vid, BytesFor(vid, random));
    XV_VID_PROPS target = random.Props();
    if (target.nWidth < 1) target.nWidth = 16;
    target.nRowBytes = 0;
    const auto props = CoXMLNode::Create("props");
    props->MergeText(random.Of(kEdits), XMLParse::MergeMode::kReplace);
    static_cast<void>(props->SetInteger("scaling_quality", random.Below(20)));
    if (random.Below(3) == 0) static_cast<void>(props->SetText("scaling_siting", "centred"));
    Ref<IXvFrame> result;
    const Status status =
        converter->Convert(source.frame.get(), nullptr, random.Below(4) == 0 ? nullptr : &target,
                           random.Below(4) - 1, &result, props.get());
    ASSERT_EQ(status.Ok(), static_cast<bool>(result)) << i;
    converted += result ? 1 : 0;
  }
  EXPECT_GT(converted, 500) << "most pictures never reached the kernels";
}

TEST(RandomPictures, PreparationStaysInsideItsBuffers) {
  Random random(23);
  int prepared = 0;
  for (int i = 0; i < 4000; ++i) {
    const XV_VID_PROPS vid = random.Props();
    const GuardedFrame source(vid, BytesFor(vid, random));
    VideoPreparation preparation;
    if (random.Below(2) == 0) {
      preparation.target = random.Props();
      if (preparation.target.nWidth < 1) preparation.target.nWidth = 8;
    }
    preparation.codec = {false,
                         {1, 25},
                         preparation.target.nWidth & ~1,
                         std::abs(preparation.target.nHeight) & ~1,
                         random.Of(kFormats),
                         AV_CODEC_ID_MPEG2VIDEO,
                         random.Below(2) == 0};
    preparation.streamNode = CoXMLNode::Create("video");
    preparation.streamNode->MergeText(random.Of(kEdits), XMLParse::MergeMode::kReplace);
    Ref<XvFrameFFM> frame;
    const Ref<IXfFrame> view = Query<IXfFrame>(source.frame.get());
    const Status status = PrepareVideoFrame(preparation, nullptr, view.get(), &frame, nullptr);
    ASSERT_EQ(status == Status(S_OK), static_cast<bool>(frame)) << i;
    prepared += frame ? 1 : 0;
  }
  EXPECT_GT(prepared, 500);
}

}  // namespace
}  // namespace xv
