#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <optional>
#include <set>

#include "frames/frames.h"
#include "frames/geometry_converter.h"
#include "frames/prepare_video.h"

// A picture in fresh pages costs more than its conversion: from the third frame on no memory of
// picture size is asked for.
namespace {

constexpr std::size_t kLarge = 4096;  // bytes; all temporaries of these pictures are larger
std::atomic<int> largeAllocations{0};

}  // namespace

// Not inlined: the compiler would see memory of new go to free.
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  if (bytes >= kLarge) ++largeAllocations;
  return std::malloc(bytes);
}
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  if (void* memory = operator new(bytes, std::nothrow)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace xv {
namespace {

using test::FrameOf;
using test::Picture;
using XMLParse::CoXMLNode;

constexpr int kWarmFrames = 3;
constexpr int kFrames = 8;

struct Road {
  std::uint32_t from;
  const char* attributes;
  std::optional<XV_VID_PROPS> target;
};

// Where the pictures of the later frames lie; `large` counts their allocations.
std::set<const std::uint8_t*> Convert(const Road& road, int* large) {
  Picture source(road.from, 160, 96, eXvI_TopFirst);
  source.Randomise(1);
  const auto node = CoXMLNode::Create("props");
  node->MergeText(road.attributes, XMLParse::MergeMode::kReplace);
  const Ref<XvConverterRC2> converter = MakeRef<XvConverterRC2>();
  std::set<const std::uint8_t*> places;
  for (int i = 0; i < kFrames; ++i) {
    if (i == kWarmFrames) largeAllocations = 0;
    const Ref<IXvFrame> frame = FrameOf(source);
    Ref<IXvFrame> result;
    EXPECT_EQ(converter->Convert(frame.get(), nullptr, road.target ? &*road.target : nullptr, -1,
                                 &result, node.get()),
              S_OK);
    FrameContents contents;
    EXPECT_EQ(ReadContents(result.get(), &contents), S_OK);
    if (i >= kWarmFrames) places.insert(contents.video);
  }
  *large = largeAllocations;
  return places;
}

TEST(SteadyState, ConvertedPicturesComeFromAPool) {
  const XV_VID_PROPS small = test::VidProps(kFccUYVY, 96, 64, eXvI_TopFirst);
  const XV_VID_PROPS large = test::VidProps(kFccI420, 320, 160, eXvI_TopFirst);
  const XV_VID_PROPS frame = test::VidProps(kFccRGB32, 96, -64);
  const Road roads[] = {{kFccUYVY, "scaling_quality=4", small},
                        {kFccUYVY, "scaling_quality=4 scaling_siting=centred", large},
                        {kFccI420, "scaling_quality=8", large},
                        {kFccV210, "scaling_quality=4 crop=6", small},
                        {kFccRGB32, "scaling_quality=4", frame},
                        {kFccRGB24, "rotate=left mirror=horz", std::nullopt},
                        {kFccUYVY, "rotate=right", std::nullopt},
                        {kFccI420, "rotate=right crop='2,4'", large},
                        {kFccUYVY, "mirror=both", std::nullopt}};
  for (const Road& road : roads) {
    int allocations = -1;
    EXPECT_EQ(Convert(road, &allocations).size(), 1u) << road.attributes;
    EXPECT_EQ(allocations, 0) << std::hex << road.from << ' ' << road.attributes;
  }
}

TEST(SteadyState, PreparedPicturesComeFromAPool) {
  for (const std::uint32_t tag : {kFccUYVY, kFccV210, kFccR210, kFccNV12, kFccRGB24}) {
    for (const int format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_BGRA}) {
      Picture source(tag, 160, 96);
      VideoPreparation preparation;
      preparation.codec = {false, {1, 25}, 160, 96, format, AV_CODEC_ID_MPEG2VIDEO, false};
      preparation.streamNode = CoXMLNode::Create("video");
      std::set<const std::uint8_t*> places;
      for (int i = 0; i < kFrames; ++i) {
        if (i == kWarmFrames) largeAllocations = 0;
        const Ref<IXvFrame> frame = FrameOf(source, i * 400'000LL);
        Ref<XvFrameFFM> prepared;
        ASSERT_EQ(PrepareVideoFrame(preparation, nullptr, Query<IXfFrame>(frame.get()).get(),
                                    &prepared, nullptr),
                  S_OK);
        if (i >= kWarmFrames) places.insert(prepared->picture()->data[0]);
      }
      EXPECT_EQ(places.size(), 1u) << std::hex << tag << " to " << format;
      EXPECT_EQ(largeAllocations, 0) << std::hex << tag << " to " << format;
    }
  }
}

}  // namespace
}  // namespace xv
