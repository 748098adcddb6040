#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <memory>

#include "kernels/channel_kernels.h"
#include "kernels/colour_kernels.h"
#include "kernels/deep_kernels.h"
#include "kernels/filter_row.h"
#include "kernels/guarded_row.h"
#include "kernels/packed_kernels.h"
#include "kernels/scale_row.h"
#include "kernels/simd_level.h"
#include "kernels/wide_rows.h"
#include "picture/row_filter.h"

namespace xv {
namespace {

using test::GuardedRow;

// Everything that a kernel needs at one level.
struct Suite {
  const PackedKernels& packed;
  const ColourKernels& colour;
  const ChannelKernels& channels;
  const DeepKernels& deep;
  FilterRowKernel filterRow;
  const ScaleRowKernels& scaleRow;
  const WideKernels& wide;
};

Suite SuiteAt(SimdLevel level) {
  return {PackedKernelsAt(level), ColourKernelsAt(level), ChannelKernelsAt(level),
          DeepKernelsAt(level),   FilterRowAt(level),     ScaleRowKernelsAt(level),
          WideKernelsAt(level)};
}

using Rows = std::vector<std::unique_ptr<GuardedRow>>;

// One run of a kernel: its rows, and the width of the picture that they belong to.
struct Run : Suite {
  std::vector<std::uint8_t*> s;  // sources
  std::vector<std::uint8_t*> t;  // targets
  int w;
  Stores stores;

  std::size_t Count() const { return static_cast<std::size_t>(w); }
};

// Bytes of a row for a picture of a width.
using RowBytes = std::function<std::size_t(std::size_t width)>;

struct KernelCase {
  const char* name;
  std::vector<RowBytes> sources;
  std::vector<RowBytes> targets;
  std::function<void(const Run& r)> run;
  // In-place kernels find a copy of the first source in their first target.
  bool inPlace = false;
};
using Cases = std::vector<KernelCase>;

std::size_t One(std::size_t w) { return w; }
std::size_t Two(std::size_t w) { return 2 * w; }
std::size_t Three(std::size_t w) { return 3 * w; }
std::size_t Four(std::size_t w) { return 4 * w; }
std::size_t Eight(std::size_t w) { return 8 * w; }
std::size_t Half(std::size_t w) { return (w + 1) / 2; }
std::size_t Quarter(std::size_t w) { return (w + 3) / 4; }
std::size_t Pairs(std::size_t w) { return (w + 1) / 2 * 2; }
std::size_t Groups(std::size_t w) { return (w + 1) / 2 * 4; }
std::size_t V210(std::size_t w) { return (w + 5) / 6 * 16; }
std::size_t Transposed(std::size_t) { return 8 * 48; }

constexpr std::uint8_t kOrder[4] = {3, 0, 2, 1};
constexpr std::uint8_t kOrder3[3] = {2, 0, 1};
constexpr std::uint8_t kGroup[4] = {10, 200, 0, 90};

Cases PackedCases() {
  // clang-format off
  Cases cases = {
      {"swizzle4", {Four}, {Four}, [](const Run& r) { r.packed.swizzle4(r.s[0], r.t[0], r.Count(), kOrder, r.stores); }},
      {"interleave", {One, One}, {Two}, [](const Run& r) { r.packed.interleave(r.s[0], r.s[1], r.t[0], r.w); }},
      {"deinterleave", {Two}, {One, One}, [](const Run& r) { r.packed.deinterleave(r.s[0], r.t[0], r.t[1], r.w); }},
      {"expandLuma", {One}, {One}, [](const Run& r) { r.packed.expandLuma(r.t[0], r.w); }, true},
      {"expandChroma", {One}, {One}, [](const Run& r) { r.packed.expandChroma(r.t[0], r.w); }, true},
  };
  for (const int i : {0, 1}) {
    const Cases more = {
        {"luma", {Two}, {One}, [i](const Run& r) { r.packed.luma[i](r.s[0], r.t[0], r.w); }},
        {"chroma", {Four, Four}, {One, One}, [i](const Run& r) { r.packed.chroma[i](r.s[0], r.s[1], r.t[0], r.t[1], r.w); }},
        {"chroma31", {Four, Four}, {One, One}, [i](const Run& r) { r.packed.chroma31[i](r.s[0], r.s[1], r.t[0], r.t[1], r.w); }},
        {"packedTo420", {Groups, Groups}, {One, One, Half, Half}, [i](const Run& r) { r.packed.to420[i](r.s[0], r.s[1], r.t[0], r.t[1], r.t[2], r.t[3], r.w, r.stores); }},
        {"packedToNv12", {Groups, Groups}, {One, One, Pairs}, [i](const Run& r) { r.packed.toNv12[i](r.s[0], r.s[1], r.t[0], r.t[1], r.t[2], r.w, r.stores); }},
        {"packedTo422", {Groups}, {One, Half, Half}, [i](const Run& r) { r.packed.to422[i](r.s[0], r.t[0], r.t[1], r.t[2], r.w, false, r.stores); }},
        {"packedTo422Full", {Groups}, {One, Half, Half}, [i](const Run& r) { r.packed.to422[i](r.s[0], r.t[0], r.t[1], r.t[2], r.w, true, r.stores); }},
        {"chroma411", {Eight}, {One, One}, [i](const Run& r) { r.packed.chroma411[i](r.s[0], r.t[0], r.t[1], r.w); }},
        {"join", {One, Half, Half}, {Groups}, [i](const Run& r) { r.packed.join[i](r.s[0], r.s[1], r.s[2], r.t[0], r.w, r.stores); }},
    };
    cases.insert(cases.end(), more.begin(), more.end());
  }
  // clang-format on
  return cases;
}

Cases ColourCases() {
  // clang-format off
  Cases cases = {
      {"hdycToRgb", {Groups}, {Four}, [](const Run& r) { r.colour.fromHdyc(r.s[0], r.t[0], r.w, 77, r.stores); }},
      {"planarToRgb", {One, Half, Half}, {Four}, [](const Run& r) { r.colour.fromPlanar(r.s[0], r.s[1], r.s[2], r.t[0], r.w, 255, kBt601ToRgb, r.stores); }},
      {"uyvyToRgb", {Groups}, {Four}, [](const Run& r) { r.colour.fromPacked[0](r.s[0], r.t[0], r.w, 200, kBt601ToRgb, r.stores); }},
      {"yuy2ToRgb", {Groups}, {Four}, [](const Run& r) { r.colour.fromPacked[1](r.s[0], r.t[0], r.w, 0, kBt601ToRgb, r.stores); }},
  };
  for (const RgbToYuv* m : {&kRgbToBt601, &kRgbToBt601Full, &kRgbToHdyc}) {
    const Cases more = {
        {"rgbLuma", {Four}, {One}, [m](const Run& r) { r.colour.luma(r.s[0], r.t[0], r.w, *m); }},
        {"rgbChroma422", {Four}, {Half, Half}, [m](const Run& r) { r.colour.chroma422(r.s[0], r.t[0], r.t[1], r.w, *m); }},
        {"rgbChroma411", {Four}, {Quarter, Quarter}, [m](const Run& r) { r.colour.chroma411(r.s[0], r.t[0], r.t[1], r.w, *m); }},
        {"rgbTo420", {Four, Four}, {One, One, Half, Half}, [m](const Run& r) { r.colour.to420(r.s[0], r.s[1], r.t[0], r.t[1], r.t[2], r.t[3], r.w, *m, r.stores); }},
        {"rgbToNv12", {Four, Four}, {One, One, Pairs}, [m](const Run& r) { r.colour.toNv12(r.s[0], r.s[1], r.t[0], r.t[1], r.t[2], r.w, *m, r.stores); }},
        {"rgbToUyvy", {Four}, {Groups}, [m](const Run& r) { r.colour.toPacked[0](r.s[0], r.t[0], r.w, *m, r.stores); }},
        {"rgbToYuy2", {Four}, {Groups}, [m](const Run& r) { r.colour.toPacked[1](r.s[0], r.t[0], r.w, *m, r.stores); }},
    };
    cases.insert(cases.end(), more.begin(), more.end());
  }
  // clang-format on
  return cases;
}

Cases ChannelCases() {
  // clang-format off
  Cases cases = {
      {"dropAlpha", {Four}, {Three}, [](const Run& r) { r.channels.dropAlpha(r.s[0], r.t[0], r.w); }},
      {"addAlpha", {Three}, {Four}, [](const Run& r) { r.channels.addAlpha(r.s[0], r.t[0], r.w, 0x9C); }},
      {"reorder3", {Three}, {Three}, [](const Run& r) { r.channels.reorder3(r.t[0], r.t[0], r.w, kOrder3); }, true},
      {"premultiply", {Four}, {Four}, [](const Run& r) { r.channels.premultiply(r.t[0], r.w); }, true},
      {"blend4", {One}, {One}, [](const Run& r) { r.channels.blend4(r.t[0], r.Count(), 100, kGroup); }, true},
      {"reverse1", {One}, {One}, [](const Run& r) { r.channels.reverse1(r.s[0], r.t[0], r.w); }},
      {"reverse2", {Two}, {Two}, [](const Run& r) { r.channels.reverse2(r.s[0], r.t[0], r.w); }},
      {"reverse4", {Four}, {Four}, [](const Run& r) { r.channels.reverse4(r.s[0], r.t[0], r.w); }},
      {"streamCopy", {One}, {One}, [](const Run& r) { r.channels.streamCopy(r.s[0], r.t[0], r.Count()); r.channels.fence(); }},
  };
  for (const int channel : {0, 1, 3}) {
    cases.push_back({"setChannel", {Four}, {Four}, [=](const Run& r) { r.channels.setChannel(r.t[0], r.w, channel, 0xAB); }, true});
    cases.push_back({"copyToChannel", {Four, One}, {Four}, [=](const Run& r) { r.channels.copyToChannel(r.s[1], r.t[0], r.w, channel); }, true});
  }
  // Bottom-up source rows, a target step larger than a row.
  cases.push_back({"transpose1", {[](std::size_t) { return 7 * 40 + 8; }}, {Transposed}, [](const Run& r) { r.channels.transpose1(r.s[0] + 7 * 40, -40, r.t[0], 48); }});
  cases.push_back({"transpose4", {[](std::size_t) { return 7 * 40 + 32; }}, {Transposed}, [](const Run& r) { r.channels.transpose4(r.s[0] + 7 * 40, -40, r.t[0], 48); }});
  // clang-format on
  return cases;
}

Cases DeepCases() {
  const auto words = [](std::uint8_t* row) { return reinterpret_cast<std::uint16_t*>(row); };
  // clang-format off
  Cases cases = {
      {"unpackV210", {V210}, {Groups}, [](const Run& r) { r.deep.unpackV210(r.s[0], r.t[0], r.w, r.stores); }},
      {"planesFromV210", {V210}, {Two, Groups, Groups}, [=](const Run& r) { r.deep.planesFromV210(r.s[0], words(r.t[0]), words(r.t[1]), words(r.t[2]), r.w); }},
      {"v210FromPlanes", {Two, Pairs, Pairs}, {V210}, [=](const Run& r) { r.deep.v210FromPlanes(words(r.s[0]), words(r.s[1]), words(r.s[2]), r.t[0], r.w); }},
      {"packV210", {Groups}, {V210}, [](const Run& r) { r.deep.packV210[0](r.s[0], r.t[0], r.w, r.stores); }},
      {"packV210", {Groups}, {V210}, [](const Run& r) { r.deep.packV210[1](r.s[0], r.t[0], r.w, r.stores); }},
  };
  // clang-format on
  for (int taps = 1; taps <= kMaxFilterTaps; ++taps) {
    cases.push_back({"filterRow",
                     std::vector<RowBytes>(static_cast<std::size_t>(taps), One),
                     {One},
                     [taps](const Run& r) {
                       std::uint8_t weights[kMaxFilterTaps];
                       int left = 256;
                       for (int i = 0; i < taps; ++i) {
                         weights[i] = static_cast<std::uint8_t>(
                             std::min(255, i + 1 == taps ? left : left * (i + 1) / (taps + 1)));
                         left -= weights[i];
                       }
                       r.filterRow(r.s.data(), weights, taps, taps % 2 * 128, r.t[0], r.Count());
                     }});
  }
  return cases;
}

// Rows to widths around the source's: each ratio has windows of another size.
Cases ScaleCases() {
  Cases cases;
  for (const int bytes : {1, 4}) {
    for (const int quality : {1, 2, 4, 8, 16}) {
      for (const double ratio : {0.667, 0.375, 0.2, 0.05, 1.5, 3.0}) {
        const auto width = [=](std::size_t w) {
          return static_cast<int>(ratio * static_cast<double>(w)) + 1;
        };
        cases.push_back(
            {"scaleRow",
             {bytes == 1 ? One : Four},
             {[=](std::size_t w) { return static_cast<std::size_t>(width(w) * bytes); }},
             [=, kept = std::make_shared<KeptRowFilter>()](const Run& r) {
               const RowFilter& filter = kept->For(r.w, width(r.Count()), quality);
               (bytes == 1 ? r.scaleRow.scale1 : r.scaleRow.scale4)(filter, r.s[0], 0, r.t[0]);
             }});
      }
    }
  }
  return cases;
}

// Wide rows have room behind them; only what counts is compared, as bytes.
struct WideRow {
  explicit WideRow(const std::uint8_t* bytes, int count, int room)
      : samples(static_cast<std::size_t>(room + 2 * kWideSlack)) {
    std::memcpy(samples.data(), bytes, 2 * static_cast<std::size_t>(count));
    // As far as filters overshoot.
    for (std::int16_t& sample : samples) sample = static_cast<std::int16_t>(sample / 4 * 3);
  }
  std::vector<std::int16_t> samples;
};

void AcrossCase(const Run& r, int width, int channels, const RowFilter& filter) {
  const WideRow source(r.s[0], channels * r.w, channels * r.w);
  std::vector<std::int16_t> made(static_cast<std::size_t>(channels * width + kWideSlack));
  (channels == 1 ? r.wide.across : r.wide.across4)(filter, source.samples.data(), made.data());
  std::memcpy(r.t[0], made.data(), static_cast<std::size_t>(2 * channels * width));
}

void DownCase(const Run& r, int taps) {
  std::vector<WideRow> kept;
  std::vector<const std::int16_t*> rows;
  std::vector<std::int16_t> weights;
  kept.reserve(static_cast<std::size_t>(taps));
  for (int i = 0; i < taps; ++i) {
    kept.emplace_back(r.s[static_cast<std::size_t>(i)], r.w, r.w);
    rows.push_back(kept.back().samples.data());
    weights.push_back(static_cast<std::int16_t>(i % 3 == 1 ? 32767 : -9000));
  }
  WideRow made(r.s[0], r.w, r.w);
  r.wide.down(rows.data(), weights.data(), taps, made.samples.data(), r.w);
  std::memcpy(r.t[0], made.samples.data(), 2 * r.Count());
}

Cases WideCases() {
  const auto words = [](std::uint8_t* row) { return reinterpret_cast<std::uint16_t*>(row); };
  const auto wide = [](std::uint8_t* row) { return reinterpret_cast<std::int16_t*>(row); };
  // clang-format off
  Cases cases = {
      {"widen8", {One}, {Two}, [=](const Run& r) { r.wide.widen8(r.s[0], wide(r.t[0]), r.w); }},
      {"widen10", {Two}, {Two}, [=](const Run& r) { r.wide.widen10(words(r.s[0]), wide(r.t[0]), r.w); }},
      {"narrow8", {Two}, {One}, [=](const Run& r) { r.wide.narrow8(wide(r.s[0]), r.t[0], r.w); }},
      {"narrow10", {Two}, {Two}, [=](const Run& r) { r.wide.narrow10(wide(r.s[0]), words(r.t[0]), r.w); }},
  };
  // clang-format on
  for (const int taps : {2, 5, 8}) {
    cases.push_back({"down",
                     std::vector<RowBytes>(static_cast<std::size_t>(taps), Two),
                     {Two},
                     [taps](const Run& r) { DownCase(r, taps); }});
  }
  for (const double ratio : {0.3, 0.9, 1.7, 3.1, 5.0}) {
    for (const int channels : {1, 4}) {
      const auto width = [=](std::size_t w) {
        return static_cast<int>(static_cast<double>(w) / ratio) + 1;
      };
      const auto bytes = [=](std::size_t samples) {
        return 2 * static_cast<std::size_t>(channels) * samples;
      };
      cases.push_back({"across",
                       {bytes},
                       {[=](std::size_t w) { return bytes(static_cast<std::size_t>(width(w))); }},
                       [=, kept = std::make_shared<KeptRowFilter>()](const Run& r) {
                         AcrossCase(r, width(r.Count()), channels,
                                    kept->For(r.w, width(r.Count()), 4));
                       }});
    }
  }
  return cases;
}

Rows MakeRows(const std::vector<RowBytes>& shapes, int width, GuardedRow::Edge edge) {
  Rows rows;
  for (const RowBytes& shape : shapes) {
    rows.push_back(std::make_unique<GuardedRow>(shape(static_cast<std::size_t>(width)), edge));
  }
  return rows;
}

std::vector<std::uint8_t*> Pointers(const Rows& rows) {
  std::vector<std::uint8_t*> pointers;
  for (const auto& row : rows) pointers.push_back(row->data());
  return pointers;
}

// Runs `kernel` at `level` and at the reference over the same input and compares every byte. Rows
// that begin at a page are aligned: kernels stream into them.
void Compare(const KernelCase& kernel, SimdLevel level, int width, GuardedRow::Edge edge,
             std::mt19937& random) {
  const Stores stores = edge == GuardedRow::Edge::kBegin ? Stores::kStreamed : Stores::kCached;
  const Rows sources = MakeRows(kernel.sources, width, edge);
  for (const auto& row : sources) row->Randomise(random);
  const Rows expected = MakeRows(kernel.targets, width, edge);
  const Rows got = MakeRows(kernel.targets, width, edge);
  for (const Rows* rows : {&expected, &got}) {
    for (const auto& row : *rows) std::memset(row->data(), 0x5A, row->size());
    if (kernel.inPlace) std::memcpy((*rows)[0]->data(), sources[0]->data(), sources[0]->size());
  }
  kernel.run({SuiteAt(SimdLevel::kPlain), Pointers(sources), Pointers(expected), width, stores});
  kernel.run({SuiteAt(level), Pointers(sources), Pointers(got), width, stores});
  for (std::size_t i = 0; i < got.size(); ++i) {
    ASSERT_EQ(std::memcmp(got[i]->data(), expected[i]->data(), got[i]->size()), 0)
        << kernel.name << "_w" << width << '_' << SimdLevelName(level) << " plane " << i;
  }
}

void CompareAtAllLevels(const KernelCase& kernel, int width, std::mt19937& random) {
  for (const SimdLevel level : SimdLevels()) {
    if (level == SimdLevel::kPlain) continue;
    for (const auto edge : {GuardedRow::Edge::kEnd, GuardedRow::Edge::kBegin}) {
      Compare(kernel, level, width, edge, random);
    }
  }
}

TEST(Kernels, EveryVariantEqualsTheReference) {
  std::mt19937 random(7);
  for (const Cases& cases :
       {PackedCases(), ColourCases(), ChannelCases(), DeepCases(), ScaleCases(), WideCases()}) {
    for (const KernelCase& kernel : cases) {
      // Widths around each multiple of a vector: all misalignments occur, since rows end at a page.
      for (int width = 1; width < 300; width += width < 36 ? 1 : 5) {
        CompareAtAllLevels(kernel, width, random);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(Kernels, EveryLevelIsAnotherFunction) {
  if (SimdLevels().size() < 2) GTEST_SKIP() << "this processor offers no vectors";
  std::vector<const void*> seen;
  for (const SimdLevel level : SimdLevels()) {
    const Suite suite = SuiteAt(level);
    for (const void* function : {reinterpret_cast<const void*>(suite.packed.luma[0]),
                                 reinterpret_cast<const void*>(suite.colour.luma),
                                 reinterpret_cast<const void*>(suite.channels.premultiply),
                                 reinterpret_cast<const void*>(suite.deep.unpackV210),
                                 reinterpret_cast<const void*>(suite.filterRow),
                                 reinterpret_cast<const void*>(suite.scaleRow.scale1)}) {
      EXPECT_THAT(seen, testing::Not(testing::Contains(function))) << SimdLevelName(level);
      seen.push_back(function);
    }
  }
}

}  // namespace
}  // namespace xv
