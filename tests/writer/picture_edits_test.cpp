#include <gmock/gmock.h>

#include <array>
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
  const bool right = x >= (component == 0 || rgb ? feed.width : feed.width / 2) / 2;
  if (component > 0 && !rgb) return scale * (right ? 90 : 150);
  return scale * (40 + 50 * (right ? 1 : 0) + 100 * (y >= feed.height / 2 ? 1 : 0));
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
  // Which of the quarters comes to stand where.
  const std::pair<const char*, std::array<std::size_t, 4>> edits[] = {
      {"mirror=horz", {1, 0, 3, 2}},
      {"mirror=vert", {2, 3, 0, 1}},
      {"mirror=both", {3, 2, 1, 0}},
      {"crop=5", {0, 1, 2, 3}},
      {"crop='3,5,7,9'", {0, 1, 2, 3}}};
  for (const std::uint32_t layout : {kFccUYVY, kFccYUY2, kFccYVYU, kFccI420, kFccYV12, kFccNV12,
                                     kFccV210, kFccRGB24, kFccRGB32}) {
    for (const auto order : {eXvI_Progressive, eXvI_TopFirst}) {
      const Feed feed{.layout = layout, .width = kWidth, .height = kHeight, .interlace = order};
      const auto picture =
          DrawPicture(feed, [&](int c, int x, int y) { return Quarter(feed, c, x, y); });
      const std::vector<int> plain = Corners(Edited(feed, picture, "").first.at(0));
      for (const auto& [edit, corners] : edits) {
        const std::vector<int> edited = Corners(Edited(feed, picture, edit).first.at(0));
        for (std::size_t i = 0; i < 4; ++i) {
          EXPECT_NEAR(edited[i], plain[corners[i]], 1)
              << edit << ' ' << std::hex << layout << ' ' << order;
        }
      }
      const ProbedPlane rotated = Edited(feed, picture, "rotate=right").first.at(0);
      EXPECT_NEAR(rotated.At(kWidth / 2 - 20, 6), plain[2], 1) << std::hex << layout;
      EXPECT_NEAR(rotated.At(kWidth / 2 + 20, 6), plain[0], 1) << std::hex << layout;
      EXPECT_NEAR(rotated.At(kWidth / 2 + 20, kHeight - 6), plain[1], 1) << std::hex << layout;
    }
  }
}

// Of a field 4:2:0 has a row of chroma for two lines, so that fields which lie upside down and a
// line higher have theirs between the rows: slopes in both must meet at every line.
TEST(Edits, KeepChromaAtItsLinesWhereFieldsAreUpsideDown) {
  const Feed feed{.layout = kFccI420, .width = 32, .height = 64, .interlace = eXvI_TopFirst};
  // Brightness rises from line to line; a row of chroma has that of its place in its field.
  const auto slope = [](int component, int, int y) {
    const int field = y % 2, row = y / 2;
    const double line = component == 0 ? y : 2 * (2 * row + (field == 0 ? 0.25 : 0.75)) + field;
    return static_cast<int>(std::lround(40 + 2 * line));
  };
  const ProbedStream video = Edited(feed, DrawPicture(feed, slope), "mirror=vert");
  ASSERT_EQ(video.pixelFormat, "yuv420p");
  const ProbedPlane& luma = video.first.at(0);
  const ProbedPlane& chroma = video.first.at(1);
  ASSERT_EQ(chroma.height, 32);
  for (int y = 4; y < 28; ++y) {
    const int field = y % 2, row = y / 2;
    const double line = 2 * (2 * row + (field == 0 ? 0.25 : 0.75)) + field;
    const int above = 2 * (2 * row) + field;
    const double beside =
        luma.At(8, above) + (luma.At(8, above + 2) - luma.At(8, above)) * (line - above) / 2;
    EXPECT_NEAR(chroma.At(8, y), beside, 1) << y;
  }
}

// Bright columns and rows as a viewer sees them, in units of the display.
void ExpectRound(const ProbedStream& video, int columns, int rows) {
  const ProbedPlane& luma = video.first.at(0);
  const int bright = video.pixelFormat == "yuv422p10le" ? 480 : 120;
  int wide = 0, high = 0;
  for (int x = 0; x < luma.width; ++x) wide += luma.At(x, luma.height / 2) > bright ? 1 : 0;
  for (int y = 0; y < luma.height; ++y) high += luma.At(luma.width / 2, y) > bright ? 1 : 0;
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
    // A frame's own gives margins, where the aspect that the stream tells stays: no more is cut.
    const ProbedStream own = Edited(feed, disc, "", "crop='40,0'");
    ExpectRound(own, 1, 1);
    for (const auto& [x, level] : {std::pair{2, 16}, {60, 40}}) {
      EXPECT_NEAR(own.first.at(0).At(x, 4), level * scale, scale) << x;
    }
    ExpectRound(Edited(feed, disc, "rotate=left"), 1, 1);
    // Unless somebody wants it otherwise.
    ExpectRound(Edited(feed, disc, "crop='40,0' video::size=320x180 video::ar=16:9"), 4, 3);
  }
}

constexpr int kFieldColours[2][4] = {{100, 60, 180, 255}, {160, 200, 90, 255}};

// A picture whose fields have a colour each.
ProbedStream Fields(Feed feed, int top, int bottom, const char* file,
                    const std::string& attributes) {
  feed.interlace = top == bottom ? eXvI_Progressive : eXvI_TopFirst;
  const int scale = feed.layout == kFccV210 ? 4 : 1;
  const auto picture = DrawPicture(
      feed, [&](int c, int, int y) { return scale * kFieldColours[y % 2 == 0 ? top : bottom][c]; });
  return RecordPicture(file, "video::codec=" + attributes, feed, picture);
}

// Each field comes out as a picture that has no other.
void ExpectFieldsApart(const Feed& feed, const char* file, const std::string& attributes) {
  const ProbedStream both = Fields(feed, 0, 1, file, attributes);
  const ProbedStream alone[2] = {Fields(feed, 0, 0, file, attributes),
                                 Fields(feed, 1, 1, file, attributes)};
  for (std::size_t c = 0; c < 3; ++c) {
    const ProbedPlane& plane = both.first.at(c);
    int wrong = 0;
    for (int y = 0; y < plane.height; ++y) {
      const ProbedPlane& wanted = alone[y % 2].first.at(c);
      // What lies in margins is black in all of them.
      wrong += std::abs(plane.At(3, y) - wanted.At(3, y)) > 1 ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0) << attributes << ' ' << std::hex << feed.layout << " component " << c;
  }
}

TEST(Fields, KeepTheirColourInEverySampling) {
  for (const auto& [file, codec] : {std::pair{"a.avi", "libx264 video::qp=0"},
                                    {"a.avi", "huffyuv"},
                                    {"a.mov", "v210"},
                                    {"a.mov", "qtrle"},
                                    {"a.avi", "ffv1"},
                                    {"a.avi", "rawvideo"}}) {
    for (const std::uint32_t layout : {kFccI420, kFccYV12, kFccNV12, kFccUYVY, kFccYUY2, kFccYVYU,
                                       kFccV210, kFccRGB24, kFccRGB32}) {
      ExpectFieldsApart({.layout = layout, .width = 64, .height = 48}, file, codec);
    }
  }
}

// Fields that are rotated by themselves stay fields.
TEST(Fields, StayWhereTheyAreWhenCutOrRotated) {
  const std::string lossless = "libx264 video::qp=0 ";
  for (const std::uint32_t layout : {kFccI420, kFccNV12, kFccUYVY, kFccRGB24, kFccRGB32}) {
    ExpectFieldsApart({.layout = layout, .width = 96, .height = 96}, "a.avi",
                      lossless + "video::rotate=right");
    if (layout == kFccRGB24 || layout == kFccRGB32) continue;
    for (const char* cut : {"video::crop='0,6'", "video::ar=2:3 video::ar_type=letter-box"}) {
      ExpectFieldsApart({.layout = layout, .width = 64, .height = 108}, "a.avi", lossless + cut);
    }
    ExpectFieldsApart({.layout = layout, .width = 720, .height = 486}, "a.avi",
                      lossless + "video::size=720x480T");
  }
}

// Codes of ten bits from edge to edge of the range, other ones in each line.
int TenBits(int component, int x, int y) { return 64 + (x * 37 + y * 101 + component * 300) % 877; }

TEST(TenBits, StayTenThroughEveryEdit) {
  static constexpr int kAcross = 100, kDown = 40;
  struct Case {
    const char* edit;
    int width, height;                                         // of what comes out
    std::pair<int, int> (*from)(int x, int y, int component);  // a sample's own place
    int components = 3;                                        // those of which it is
  };
  const Case cases[] = {{"", kAcross, kDown,
                         [](int x, int y, int) {
                           return std::pair{x, y};
                         }},
                        {"video::crop='4,3,10,5' video::size=86x32", 86, 32,
                         [](int x, int y, int c) {
                           return std::pair{x + (c > 0 ? 2 : 4), y + 3};
                         }},
                        {"video::mirror=both", kAcross, kDown,
                         [](int x, int y, int c) {
                           return std::pair{(c > 0 ? kAcross / 2 : kAcross) - 1 - x, kDown - 1 - y};
                         }},
                        {"video::rotate=left video::size=40x100", kDown, kAcross,
                         [](int x, int y, int) {
                           return std::pair{kAcross - 1 - y, x};
                         },
                         1},
                        {"video::rotate=right video::size=40x100", kDown, kAcross,
                         [](int x, int y, int) {
                           return std::pair{y, kDown - 1 - x};
                         },
                         1}};
  const Feed feed{.layout = kFccV210, .width = kAcross, .height = kDown};
  for (const std::string codec : {"ffv1 video::V422=true", "v210"}) {
    for (const Case& c : cases) {
      const ProbedStream video =
          RecordPicture(codec == "v210" ? "a.mov" : "a.avi", "video::codec=" + codec + ' ' + c.edit,
                        feed, DrawPicture(feed, TenBits));
      ASSERT_EQ(video.pixelFormat, "yuv422p10le") << codec;
      for (int component = 0; component < c.components; ++component) {
        const ProbedPlane& plane = video.first.at(static_cast<std::size_t>(component));
        ASSERT_EQ(plane.height, c.height);
        ASSERT_EQ(plane.width, component > 0 ? c.width / 2 : c.width);
        for (int i = 0; i < plane.width * plane.height; ++i) {
          const int x = i % plane.width, y = i / plane.width;
          const auto [atX, atY] = c.from(x, y, component);
          ASSERT_EQ(plane.At(x, y), TenBits(component, atX, atY))
              << codec << c.edit << " component " << component << " at " << x << ',' << y;
        }
      }
    }
  }
}

// Slopes of less than a code of 8 bits to a line, scaled: within a code of 10 bits of the slope.
TEST(TenBits, StayTenWhenScaled) {
  const Feed feed{.layout = kFccV210, .width = 120, .height = 200};
  const auto slope = [](double line) { return 200 + 0.7 * line; };
  const auto picture =
      DrawPicture(feed, [&](int, int, int y) { return static_cast<int>(std::lround(slope(y))); });
  const ProbedPlane luma =
      RecordPicture("a.avi", "video::codec=ffv1 video::V422=true video::size=96x120", feed, picture)
          .first.at(0);
  for (int y = 10; y < 110; ++y) {
    EXPECT_NEAR(luma.At(40, y), slope((y + 0.5) * 200 / 120 - 0.5), 0.85) << y;
  }
}

TEST(Tags, TellTheMatrixThatWasUsed) {
  for (const auto& [layout, tags] : {std::pair{kFccRGB32, "smpte170m/smpte170m/bt709/"},
                                     {kFccRGB24, "smpte170m/smpte170m/bt709/"},
                                     {kFccHDYC, "bt709/bt709/bt709/"}}) {
    // QuickTime has no place for the range.
    for (const auto& [file, codec, range] : {std::tuple{"a.mov", "mpeg4", "unknown"},
                                             {"a.mov", "prores", "tv"},
                                             {"a.mp4", "libx264", "tv"},
                                             {"a.mkv", "mpeg2video", "tv"}}) {
      const ProbedFile made = RecordAndProbe(file, std::string("video::codec=") + codec,
                                             {.layout = layout, .width = 96, .height = 64}, 1);
      EXPECT_EQ(made.Pictures().tags, std::string(tags) + range)
          << codec << ' ' << file << ' ' << std::hex << layout;
    }
  }
}

TEST(Tags, AspectIsTheDisplays) {
  for (const auto& [text, sample] :
       {std::pair{"16:9", AVRational{4, 3}}, {"1.3333333", AVRational{1, 1}}}) {
    const std::string attributes = std::string("video::codec=mpeg4 video::aspect=") + text;
    const ProbedFile file = RecordAndProbe("a.mkv", attributes, {.width = 320, .height = 240}, 1);
    EXPECT_EQ(av_cmp_q(file.Pictures().sampleAspect, sample), 0) << text;
  }
}

// BT.601 of video range, in double precision.
int RgbOf(int component, double y, double u, double v) {
  const double luma = (y - 16) * 255 / 219, cb = (u - 128) * 255 / 224, cr = (v - 128) * 255 / 224;
  const double colour = component == 0   ? luma + 1.402 * cr
                        : component == 1 ? luma - 0.344136 * cb - 0.714136 * cr
                                         : luma + 1.772 * cb;
  return static_cast<int>(std::lround(std::clamp(colour, 0.0, 255.0)));
}

// As ffmpeg's own program tells them: both fields in one picture, but for Motion JPEG.
TEST(Tags, TellTheOrderOfWovenFields) {
  for (const auto& [order, woven, apart] :
       {std::tuple{eXvI_TopFirst, AV_FIELD_TB, AV_FIELD_TT},
        {eXvI_BottomFirst, AV_FIELD_BT, AV_FIELD_BB},
        {eXvI_Progressive, AV_FIELD_PROGRESSIVE, AV_FIELD_PROGRESSIVE}}) {
    const auto told = [order = order](const char* file, const std::string& codec) {
      const Feed feed{.width = 96, .height = 64, .interlace = order};
      return RecordAndProbe(file, "video::codec=" + codec, feed, 1).Pictures().fieldOrder;
    };
    for (const char* file : {"a.mov", "a.mkv"}) {
      for (const char* codec : {"ffv1", "prores"}) {
        EXPECT_EQ(told(file, codec), woven) << file << ' ' << codec;
      }
      EXPECT_EQ(told(file, "mjpeg"), apart) << file;
    }
  }
}

struct MatrixCase {
  int height;
  const char* attributes;
  double red, blue;  // the weights that count
  const char* tags;  // of the same pictures as H.264
};

constexpr MatrixCase kMatrixCases[] = {
    {64, "", 0.299, 0.114, "unknown/unknown/unknown/unknown"},
    {608, "", 0.299, 0.114, "unknown/unknown/unknown/unknown"},
    {720, "", 0.2126, 0.0722, "bt709/bt709/bt709/tv"},
    {720, " video::matrix=classic", 0.299, 0.114, "unknown/unknown/unknown/unknown"},
    {720, " video::matrix=bt601", 0.299, 0.114, "smpte170m/unknown/unknown/tv"},
    {64, " video::matrix=bt709", 0.2126, 0.0722, "bt709/unknown/unknown/tv"},
    {64, " video::colorspace=bt2020nc", 0.2627, 0.0593, "bt2020nc/unknown/unknown/tv"},
};

// What an encoder of RGB gets, by weights in double precision, and what others say of themselves.
TEST(Matrix, OfAPictureIsKeptAndTold) {
  constexpr double kCodes[] = {90, 110, 180};
  for (const MatrixCase& c : kMatrixCases) {
    const double luma = (kCodes[0] - 16) / 219, u = (kCodes[1] - 128) / 112,
                 v = (kCodes[2] - 128) / 112;
    const double red = luma + v * (1 - c.red), blue = luma + u * (1 - c.blue);
    const double green = (luma - c.red * red - c.blue * blue) / (1 - c.red - c.blue);
    const double expected[] = {red * 255, green * 255, blue * 255};
    for (const std::uint32_t layout : {kFccUYVY, kFccYVYU, kFccI420, kFccNV12, kFccV210}) {
      const Feed feed{.layout = layout, .width = 48, .height = c.height};
      const auto picture = DrawPicture(feed, [&](int component, int, int) {
        return static_cast<int>(kCodes[component]) * (layout == kFccV210 ? 4 : 1);
      });
      const std::string attributes = std::string(c.attributes) + " video::codec=";
      const ProbedStream rgb = RecordPicture("a.mov", attributes + "png", feed, picture);
      for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(rgb.first.at(i).At(20, 30), expected[i], 1.1)
            << attributes << layout << c.height;
      }
      EXPECT_EQ(RecordPicture("a.mp4", attributes + "libx264", feed, picture).tags, c.tags)
          << attributes << layout << c.height;
      // JPEG's matrix is BT.601 whatever the picture had.
      const ProbedStream jpeg =
          RecordPicture("a.mov", attributes + "mjpeg video::q=1", feed, picture);
      const double y = 0.299 * expected[0] + 0.587 * expected[1] + 0.114 * expected[2];
      const double codes[] = {y, 128 + (expected[2] - y) / 1.772, 128 + (expected[0] - y) / 1.402};
      for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(jpeg.first.at(i).At(20, 30) - codes[i], 0, 1.6)
            << attributes << layout << c.height << " component " << i;
      }
    }
  }
}

TEST(Matrix, MakesYcbcrOfRgb) {
  for (const auto& [height, attributes, luma, tags] :
       {std::tuple{-64, "", 81.5, "smpte170m/smpte170m/bt709/tv"},
        {-720, "", 62.6, "bt709/bt709/bt709/tv"},
        {-720, " video::matrix=classic", 81.5, "smpte170m/smpte170m/bt709/tv"}}) {
    const Feed feed{.layout = kFccRGB32, .width = 48, .height = height};
    const auto picture = DrawPicture(feed, [](int c, int, int) { return c == 0 ? 255 : 0; });
    const ProbedStream made = RecordPicture(
        "a.mp4", std::string("video::codec=libx264 video::qp=0") + attributes, feed, picture);
    EXPECT_NEAR(made.first.at(0).At(20, 30), luma, 0.6) << height << attributes;
    EXPECT_EQ(made.tags, tags);
  }
}

TEST(Rgb, PlanarPicturesAreExactAndAlphaIsOpaqueWithoutOne) {
  const auto sample = [](int c, int x, int y) {
    return c == 0 ? 30 + (x * 7 + y * 13) % 190 : 60 + (x * 11 + y * 17 + c * 29) % 140;
  };
  for (const std::uint32_t layout : {kFccI420, kFccYV12, kFccNV12}) {
    const Feed feed{.layout = layout, .width = 64, .height = 48};
    for (const char* codec : {"png", "qtrle"}) {
      const ProbedStream video = RecordPicture("a.mov", std::string("video::codec=") + codec, feed,
                                               DrawPicture(feed, sample));
      for (int i = 0; i < 64 * 48; ++i) {
        const int x = i % 64, y = i / 64;
        for (int c = 0; c < 3; ++c) {
          ASSERT_NEAR(video.first.at(static_cast<std::size_t>(c)).At(x, y),
                      RgbOf(c, sample(0, x, y), sample(1, x / 2, y / 2), sample(2, x / 2, y / 2)),
                      1);
        }
        ASSERT_EQ(video.first.at(3).At(x, y), 255);
      }
    }
  }
  const Feed plain{.layout = kFccRGB32, .width = 32, .height = -16};
  const auto noAlpha = DrawPicture(plain, [](int c, int x, int) { return c == 3 ? 0 : 3 * x; });
  const ProbedStream video = RecordPicture("a.mov", "video::codec=png", plain, noAlpha);
  EXPECT_EQ(video.first.at(3).At(5, 5), 255);
  EXPECT_EQ(video.first.at(0).At(5, 5), 15);
}

// Red and the mask tell one and the same: it must come out so.
TEST(Rgb, AMaskFollowsItsPicture) {
  constexpr int kAcross = 64, kDown = 48;
  for (const int height : {kDown, -kDown}) {
    const Feed feed{.layout = kFccRGB32, .width = kAcross, .height = height};
    const auto level = [](int x, int y) { return 2 * x + (y < 16 ? 100 : 0); };
    const auto picture =
        DrawPicture(feed, [&](int c, int x, int y) { return c == 0 ? level(x, y) : 9; });
    std::vector<std::uint8_t> mask;
    for (int row = 0; row < kDown; ++row) {
      for (int x = 0; x < kAcross; ++x) {
        mask.push_back(static_cast<std::uint8_t>(level(x, height > 0 ? kDown - 1 - row : row)));
      }
    }
    for (const char* edit : {"", "mirror=both", "rotate=left", "crop='4,8,20,0'", "size=40x30"}) {
      const TemporaryFolder folder;
      host::Writer writer;
      const std::string video = *edit == 0 ? "" : std::string(" video::") + edit;
      ASSERT_EQ(writer.Start(folder / "a.mov", "video::codec=png" + video), S_OK);
      const auto frame =
          host::FrameBuilder()
              .Video(feed.layout, kAcross, height, 25, picture.data(), picture.size())
              .Time(host::Ticks(0), host::Ticks(400'000))
              .Build();
      const auto alpha = host::FrameBuilder()
                             .Video(kFccRGB8, kAcross, kDown, 25, mask.data(), mask.size())
                             .Build();
      ASSERT_EQ(host::AddMask(frame, alpha), S_OK);
      ASSERT_EQ(writer.Put(frame), S_OK);
      ASSERT_EQ(writer.Stop(), S_OK);
      const ProbedStream out = Probe(folder / "a.mov").Pictures();
      int lit = 0;
      for (std::size_t i = 0; i < out.first.at(0).samples.size(); ++i) {
        const int red = out.first[0].samples[i];
        ASSERT_NEAR(out.first.at(3).samples[i], red, 2) << height << ' ' << edit << ' ' << i;
        lit += red > 100 ? 1 : 0;
      }
      EXPECT_GT(lit, 100) << edit;
    }
  }
}

// A part of a picture whose memory ends with its last pixel, without a copy and with one.
TEST(Rgb, TheLastRowOfAPartNeedsNoPadding) {
  constexpr int kRowBytes = 4 * 80;
  std::vector<std::uint8_t> memory(kRowBytes * 47 + 4 * 64, 77);
  for (const char* codec : {"rawvideo", "ffv1", "png"}) {
    const TemporaryFolder folder;
    host::Writer writer;
    ASSERT_EQ(writer.Start(folder / "a.avi", std::string("video::codec=") + codec), S_OK);
    const auto put = writer.Put(
        host::FrameBuilder()
            .Video(kFccRGB32, 64, -48, 25, memory.data(), memory.size(), nullptr, kRowBytes)
            .Time(host::Ticks(0), host::Ticks(400'000)));
    ASSERT_EQ(put, S_OK) << codec;
    ASSERT_EQ(writer.Stop(), S_OK);
    const ProbedStream out = Probe(folder / "a.avi").Pictures();
    EXPECT_EQ(out.first.at(1).At(63, 47), 77) << codec;
  }
}

}  // namespace
}  // namespace xv::test
