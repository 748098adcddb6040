#include <gmock/gmock.h>

#include <cmath>

#include "support/media_probe.h"

// What edits leave of a picture: through recordings without loss.
namespace xv::test {
namespace {

constexpr int kWidth = 192;
constexpr int kHeight = 128;

// Luma of the quarters; chroma is flat, but for its own side on the left and on the right.
int Quarter(const Feed& feed, int component, int x, int y) {
  const int scale = feed.layout == kFccV210 ? 4 : 1;
  const bool rgb = feed.layout == kFccRGB24 || feed.layout == kFccRGB32;
  const bool halved = feed.layout == kFccI420 || feed.layout == kFccNV12 || feed.layout == kFccYV12;
  const int columns = component == 0 || rgb ? feed.width : feed.width / 2;
  const int rows = component > 0 && halved ? feed.height / 2 : std::abs(feed.height);
  const bool right = x >= columns / 2;
  if (component > 0 && !rgb) return scale * (right ? 90 : 150);
  return scale * (40 + 50 * (right ? 1 : 0) + 100 * (y >= rows / 2 ? 1 : 0));
}

std::vector<int> Corners(const ProbedPlane& plane) {
  const int right = plane.width - 6, below = plane.height - 6;
  return {plane.At(5, 5), plane.At(right, 5), plane.At(5, below), plane.At(right, below)};
}

ProbedStream Edited(const Feed& feed, const std::vector<std::uint8_t>& picture,
                    const std::string& edit, const std::string& own = {}) {
  const std::string video = edit.empty() ? edit : " video::" + edit;
  return RecordPicture("a.avi", "video::codec=ffv1 video::V422=true" + video, feed, picture, own);
}

TEST(Edits, EveryLayoutTakesEveryEdit) {
  struct Case {
    const char* edit;
    std::size_t corners[4];  // which of the quarters comes to stand where
  };
  for (const std::uint32_t layout : {kFccUYVY, kFccYUY2, kFccYVYU, kFccI420, kFccYV12, kFccNV12,
                                     kFccV210, kFccRGB24, kFccRGB32}) {
    for (const auto order : {eXvI_Progressive, eXvI_TopFirst}) {
      const Feed feed{.layout = layout, .width = kWidth, .height = kHeight, .interlace = order};
      const auto picture =
          DrawPicture(feed, [&](int c, int x, int y) { return Quarter(feed, c, x, y); });
      const std::vector<int> plain = Corners(Edited(feed, picture, "").first.at(0));
      for (const Case& c : {Case{"mirror=horz", {1, 0, 3, 2}}, Case{"mirror=vert", {2, 3, 0, 1}},
                            Case{"mirror=both", {3, 2, 1, 0}}, Case{"crop=5", {0, 1, 2, 3}},
                            Case{"crop='3,5,7,9'", {0, 1, 2, 3}}}) {
        const std::vector<int> edited = Corners(Edited(feed, picture, c.edit).first.at(0));
        for (std::size_t i = 0; i < 4; ++i) {
          EXPECT_NEAR(edited[i], plain[c.corners[i]], 1)
              << c.edit << ' ' << std::hex << layout << ' ' << order;
        }
      }
      const ProbedPlane turned = Edited(feed, picture, "rotate=right").first.at(0);
      EXPECT_NEAR(turned.At(kWidth / 2 - 20, 6), plain[2], 1) << std::hex << layout;
      EXPECT_NEAR(turned.At(kWidth / 2 + 20, 6), plain[0], 1) << std::hex << layout;
      EXPECT_NEAR(turned.At(kWidth / 2 + 20, kHeight - 6), plain[1], 1) << std::hex << layout;
    }
  }
}

// Bright columns and rows as a viewer sees them, in units of the display.
void ExpectRound(const ProbedStream& video, int columns, int rows) {
  const ProbedPlane& luma = video.first.at(0);
  int wide = 0, high = 0;
  for (int x = 0; x < luma.width; ++x) wide += luma.At(x, luma.height / 2) > 120 ? 1 : 0;
  for (int y = 0; y < luma.height; ++y) high += luma.At(luma.width / 2, y) > 120 ? 1 : 0;
  const AVRational sample = video.sampleAspect.num > 0 ? video.sampleAspect : AVRational{1, 1};
  EXPECT_NEAR(av_q2d(sample) * wide / high, static_cast<double>(columns) / rows, 0.03)
      << wide << 'x' << high;
}

TEST(Edits, ACutKeepsTheShapeOfThings) {
  for (const std::uint32_t layout : {kFccI420, kFccUYVY, kFccV210}) {
    const Feed feed{.layout = layout, .width = 320, .height = 180, .aspectX = 16, .aspectY = 9};
    const int scale = layout == kFccV210 ? 4 : 1;
    const auto disc = DrawPicture(feed, [&](int c, int x, int y) {
      if (c > 0) return 128 * scale;
      return scale * (std::hypot(x - 159.5, y - 89.5) < 50 ? 200 : 40);
    });
    ExpectRound(Edited(feed, disc, "crop='40,0'"), 1, 1);
    ExpectRound(Edited(feed, disc, "crop='40,0' video::size=240x240"), 1, 1);
    ExpectRound(Edited(feed, disc, "", "crop='40,0'"), 1, 1);
    // Unless somebody wants it otherwise.
    ExpectRound(Edited(feed, disc, "crop='40,0' video::size=320x180 video::ar=16:9"), 4, 3);
  }
}

}  // namespace
}  // namespace xv::test
