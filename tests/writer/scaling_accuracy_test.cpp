#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "support/media_probe.h"

// Where the lines of scaled pictures stand, against waves in double precision, through recordings
// without loss.
namespace xv::test {
namespace {

constexpr double kPeriod = 48;  // lines of the source
constexpr double kField = 24;   // how much brighter the lower field is

double Wave(double line) { return 110 + 50 * std::sin(2 * std::numbers::pi * line / kPeriod); }

bool Halved(std::uint32_t layout) {
  return layout == kFccI420 || layout == kFccYV12 || layout == kFccNV12;
}

// Where line `y` of a component stands among the lines of luma.
double Place(int component, int y, bool halved) {
  return component > 0 && halved ? 2 * y + 0.5 : y;
}

struct Scaling {
  const char* name;
  int fromLines, toLines;
  eXvInterlace order;
  const char* attributes;
  double top = 0;      // of the source's part, in lines of the source
  double lines = 0;    // of it; 0: all
  double above = 0;    // lines of margin in the target
  bool fields = true;  // the target keeps them
};

// How far a component's waves stand from where they belong, in lines of the target, and how much
// brighter it is.
struct Deviation {
  double lines;
  double level;
};

Deviation DeviationOf(const ProbedPlane& plane, int component, const Scaling& s, int parity,
                      bool halved) {
  const bool fields = parity >= 0;
  const double lines = s.lines > 0 ? s.lines : s.fromLines;
  const double ratio = lines / (s.toLines - 2 * s.above);
  // Least squares of level + lines * slope, away from the edges.
  double n = 0, slopes = 0, squares = 0, errors = 0, products = 0;
  for (int y = fields ? parity : 0; y < plane.height; y += fields ? 2 : 1) {
    const double place = (Place(component, y, halved) - s.above + 0.5) * ratio - 0.5 + s.top;
    if (std::fabs(place - s.top - lines / 2) > 0.4 * lines) continue;
    const double slope = ratio * (Wave(place + 0.5) - Wave(place - 0.5));
    const double offset = fields && parity == 1 ? kField : 0;
    const double error = plane.At(plane.width / 2, y) - offset - Wave(place);
    n += 1;
    slopes += slope;
    squares += slope * slope;
    errors += error;
    products += error * slope;
  }
  const double shift = (n * products - slopes * errors) / (n * squares - slopes * slopes);
  return {shift, (errors - shift * slopes) / n};
}

TEST(Scaling, EveryLineStandsWhereItBelongs) {
  const auto still = eXvI_Progressive;
  const auto top = eXvI_TopFirst;
  for (const Scaling& s :
       {Scaling{"down", 540, 288, still, "video::size=96x288"},
        Scaling{"up", 288, 540, still, "video::size=96x540"},
        Scaling{"fields down", 540, 288, top, "video::size=96x288T"},
        Scaling{"fields up", 288, 540, top, "video::size=96x540T"},
        Scaling{"fields in another order", 540, 288, top, "video::size=96x288B"},
        Scaling{"deinterlaced", 288, 288, top, "video::size=96x288P", 0, 0, 0, false},
        Scaling{"deinterlaced down", 540, 288, top, "video::size=96x288P", 0, 0, 0, false},
        Scaling{"cut", 540, 288, top, "video::size=96x288T video::crop='0,36,0,72'", 36, 432},
        Scaling{"letter box", 540, 288, top,
                "video::size=96x288T video::ar=1:4 video::ar_type=letter-box", 0, 0, 36}}) {
    for (const std::uint32_t layout : {kFccI420, kFccNV12, kFccUYVY}) {
      Feed feed{.layout = layout, .width = 128, .height = s.fromLines, .interlace = s.order};
      if (s.above > 0) {
        feed.aspectX = 1;
        feed.aspectY = 3;
      }
      const bool halved = Halved(layout);
      const bool interlaced = s.order != still;
      const auto picture = DrawPicture(feed, [&](int c, int, int y) {
        const double line = Place(c, y, halved);
        return static_cast<int>(std::lround(Wave(line) + (interlaced && y % 2 == 1 ? kField : 0)));
      });
      const std::string codec = "video::codec=ffv1 video::V422=true ";
      const ProbedStream video = RecordPicture("a.avi", codec + s.attributes, feed, picture);
      const bool outHalved = video.first.at(1).height < video.first.at(0).height;
      for (int c = 0; c < 3; ++c) {
        for (const int parity : {0, 1}) {
          const bool fields = interlaced && s.fields;
          if (!fields && parity == 1) continue;
          // Fields of another order have changed their lines.
          Deviation d = DeviationOf(video.first.at(static_cast<std::size_t>(c)), c, s,
                                    fields ? parity : -1, outHalved);
          if (std::string(s.name) == "fields in another order") {
            d.level += parity == 1 ? kField : -kField;
          }
          EXPECT_LT(std::fabs(d.lines), 0.05)
              << s.name << " component " << c << " field " << parity;
          EXPECT_LT(std::fabs(d.level), 0.1) << s.name << " component " << c << " field " << parity;
        }
      }
    }
  }
}

// The samples of one direction that a scaled one is made of, with their weights: a cubic, sharper
// where the picture gets smaller.
std::vector<std::pair<int, double>> Taps(int count, int wanted, int at) {
  const double ratio = static_cast<double>(count) / wanted, stretch = std::max(ratio, 1.0);
  const double position = (at + 0.5) * ratio - 0.5, reach = 2 * stretch;
  const double slope = ratio > 1 ? -0.6 : -0.5;
  std::vector<std::pair<int, double>> taps;
  double total = 0;
  for (int i = static_cast<int>(std::ceil(position - reach)); i <= position + reach; ++i) {
    const double x = std::fabs(i - position) / stretch;
    const double weight =
        x < 1 ? ((slope + 2) * x - slope - 3) * x * x + 1 : slope * (((x - 5) * x + 8) * x - 4);
    total += weight;
    taps.emplace_back(std::clamp(i, 0, count - 1), weight);
  }
  for (auto& [i, weight] : taps) weight /= total;
  return taps;
}

// Between the first line and the last one, which stand outside of the source where it grows.
TEST(Scaling, SamplesAreWithinACodeOfTheFormula) {
  constexpr int kAcross = 160, kDown = 120;
  const auto sample = [](int c, int x, int y) { return c > 0 ? 128 : 80 + x * (y + 3) % 90; };
  const Feed feed{.layout = kFccI420, .width = kAcross, .height = kDown};
  const auto picture = DrawPicture(feed, sample);
  for (const auto& [width, height] : {std::pair{96, 70}, {96, 180}, {240, 70}, {240, 180}}) {
    const std::string size = std::to_string(width) + 'x' + std::to_string(height);
    const ProbedPlane scaled =
        RecordPicture("a.avi", "video::codec=ffv1 video::size=" + size, feed, picture).first.at(0);
    ASSERT_EQ(scaled.width, width);
    double worst = 0;
    for (int i = width; i < width * (height - 1); i += 7) {
      double exact = 0;
      for (const auto& [y, down] : Taps(kDown, height, i / width)) {
        for (const auto& [x, weight] : Taps(kAcross, width, i % width)) {
          exact += down * weight * sample(0, x, y);
        }
      }
      worst = std::max(worst, std::fabs(scaled.At(i % width, i / width) - exact));
    }
    EXPECT_LT(worst, 1) << size;
  }
}

TEST(Scaling, EveryWordIsAnotherFilter) {
  const Feed feed{.layout = kFccI420, .width = 160, .height = 120};
  const auto picture = DrawPicture(feed, [](int c, int x, int y) {
    return c > 0 ? 90 + x % 7 * 12 : 40 + (x * 5 + y * 7) % 160;
  });
  std::vector<std::vector<int>> seen;
  for (const char* word : {"fast_bilinear", "bilinear", "bicubic", "area", "gauss", "sinc",
                           "lanczos", "spline", "point", "bicublin"}) {
    const ProbedStream video = RecordPicture(
        "a.avi", std::string("video::codec=ffv1 video::size=100x70 video::scaling_quality=") + word,
        feed, picture);
    std::vector<int> samples = video.first.at(0).samples;
    samples.insert(samples.end(), video.first.at(1).samples.begin(),
                   video.first.at(1).samples.end());
    EXPECT_THAT(seen, testing::Not(testing::Contains(samples))) << word;
    seen.push_back(samples);
  }
}

}  // namespace
}  // namespace xv::test
