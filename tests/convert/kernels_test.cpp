#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>

#include "convert/guarded_row.h"
#include "convert/kernels/channel_kernels.h"
#include "convert/kernels/colour_kernels.h"
#include "convert/kernels/deep_kernels.h"
#include "convert/kernels/filter_row.h"
#include "convert/kernels/packed_kernels.h"
#include "convert/kernels/scale_row.h"
#include "convert/row_filter.h"
#include "convert/simd/simd_level.h"

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
};

Suite SuiteAt(SimdLevel level) {
  return {PackedKernelsAt(level), ColourKernelsAt(level), ChannelKernelsAt(level),
          DeepKernelsAt(level),   FilterRowAt(level),     ScaleRowKernelsAt(level)};
}

using Rows = std::vector<std::unique_ptr<GuardedRow>>;

// Rows that begin at a page are aligned: kernels stream into them.
Stores StoresOf(const Rows& targets) {
  return targets[0]->edge() == GuardedRow::Edge::kBegin ? Stores::kStreamed : Stores::kCached;
}

// A row of `bytes` bytes for a picture of a width.
using RowBytes = std::function<std::size_t(std::size_t width)>;

struct KernelCase {
  const char* name;
  std::vector<RowBytes> sources;
  std::vector<RowBytes> targets;
  std::function<void(const Suite&, const Rows& sources, const Rows& targets, int width)> run;
  // In-place kernels find a copy of the first source in their first target.
  bool inPlace = false;
};

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
std::size_t V210Whole(std::size_t w) { return (w + 1) / 2 * 4; }

std::vector<KernelCase> PackedCases() {
  std::vector<KernelCase> cases = {
      {"swizzle4",
       {Four},
       {Four},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         const std::uint8_t order[4] = {3, 0, 2, 1};
         k.packed.swizzle4(s[0]->data(), t[0]->data(), static_cast<std::size_t>(w), order,
                           StoresOf(t));
       }},
      {"interleave",
       {One, One},
       {Two},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.packed.interleave(s[0]->data(), s[1]->data(), t[0]->data(), w);
       }},
      {"deinterleave",
       {Two},
       {One, One},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.packed.deinterleave(s[0]->data(), t[0]->data(), t[1]->data(), w);
       }},
      {"expandLuma",
       {One},
       {One},
       [](const Suite& k, const Rows&, const Rows& t, int w) {
         k.packed.expandLuma(t[0]->data(), w);
       },
       true},
      {"expandChroma",
       {One},
       {One},
       [](const Suite& k, const Rows&, const Rows& t, int w) {
         k.packed.expandChroma(t[0]->data(), w);
       },
       true},
  };
  for (const int order : {0, 1}) {
    const std::vector<KernelCase> more = {
        {"luma",
         {Two},
         {One},
         [order](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.packed.luma[order](s[0]->data(), t[0]->data(), w);
         }},
        {"chroma",
         {Four, Four},
         {One, One},
         [order](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.packed.chroma[order](s[0]->data(), s[1]->data(), t[0]->data(), t[1]->data(), w);
         }},
        {"chroma31",
         {Four, Four},
         {One, One},
         [order](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.packed.chroma31[order](s[0]->data(), s[1]->data(), t[0]->data(), t[1]->data(), w);
         }},
        {"packedTo420",
         {Groups, Groups},
         {One, One, Half, Half},
         [order](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.packed.to420[order](s[0]->data(), s[1]->data(), t[0]->data(), t[1]->data(),
                                 t[2]->data(), t[3]->data(), w, StoresOf(t));
         }},
        {"packedToNv12",
         {Groups, Groups},
         {One, One, Pairs},
         [order](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.packed.toNv12[order](s[0]->data(), s[1]->data(), t[0]->data(), t[1]->data(),
                                  t[2]->data(), w, StoresOf(t));
         }},
        {"chroma411",
         {Eight},
         {One, One},
         [order](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.packed.chroma411[order](s[0]->data(), t[0]->data(), t[1]->data(), w);
         }},
        {"join",
         {One, Half, Half},
         {Groups},
         [order](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.packed.join[order](s[0]->data(), s[1]->data(), s[2]->data(), t[0]->data(), w,
                                StoresOf(t));
         }},
    };
    cases.insert(cases.end(), more.begin(), more.end());
  }
  return cases;
}

std::vector<KernelCase> ColourCases() {
  std::vector<KernelCase> cases = {
      {"hdycToRgb",
       {Groups},
       {Four},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.colour.fromHdyc(s[0]->data(), t[0]->data(), w, 77, StoresOf(t));
       }},
      {"planarToRgb",
       {One, Half, Half},
       {Four},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.colour.fromPlanar(s[0]->data(), s[1]->data(), s[2]->data(), t[0]->data(), w, 255,
                             kBt601ToRgb, StoresOf(t));
       }},
  };
  for (const RgbToYuv* m : {&kRgbToBt601, &kRgbToBt601Full, &kRgbToHdyc}) {
    const std::vector<KernelCase> more = {
        {"rgbLuma",
         {Four},
         {One},
         [m](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.colour.luma(s[0]->data(), t[0]->data(), w, *m);
         }},
        {"rgbChroma422",
         {Four},
         {Half, Half},
         [m](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.colour.chroma422(s[0]->data(), t[0]->data(), t[1]->data(), w, *m);
         }},
        {"rgbTo420",
         {Four, Four},
         {One, One, Half, Half},
         [m](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.colour.to420(s[0]->data(), s[1]->data(), t[0]->data(), t[1]->data(), t[2]->data(),
                          t[3]->data(), w, *m, StoresOf(t));
         }},
        {"rgbToNv12",
         {Four, Four},
         {One, One, Pairs},
         [m](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.colour.toNv12(s[0]->data(), s[1]->data(), t[0]->data(), t[1]->data(), t[2]->data(), w,
                           *m, StoresOf(t));
         }},
        {"rgbChroma411",
         {Four},
         {Quarter, Quarter},
         [m](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.colour.chroma411(s[0]->data(), t[0]->data(), t[1]->data(), w, *m);
         }},
        {"rgbToUyvy",
         {Four},
         {Groups},
         [m](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.colour.toPacked[0](s[0]->data(), t[0]->data(), w, *m, StoresOf(t));
         }},
        {"rgbToYuy2",
         {Four},
         {Groups},
         [m](const Suite& k, const Rows& s, const Rows& t, int w) {
           k.colour.toPacked[1](s[0]->data(), t[0]->data(), w, *m, StoresOf(t));
         }},
    };
    cases.insert(cases.end(), more.begin(), more.end());
  }
  for (const int order : {0, 1}) {
    cases.push_back({"packedToRgb",
                     {Groups},
                     {Four},
                     [order](const Suite& k, const Rows& s, const Rows& t, int w) {
                       k.colour.fromPacked[order](s[0]->data(), t[0]->data(), w, 200, kBt601ToRgb,
                                                  StoresOf(t));
                     }});
  }
  return cases;
}

std::vector<KernelCase> ChannelCases() {
  std::vector<KernelCase> cases = {
      {"dropAlpha",
       {Four},
       {Three},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.channels.dropAlpha(s[0]->data(), t[0]->data(), w);
       }},
      {"addAlpha",
       {Three},
       {Four},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.channels.addAlpha(s[0]->data(), t[0]->data(), w, 0x9C);
       }},
      {"reorder3",
       {Three},
       {Three},
       [](const Suite& k, const Rows&, const Rows& t, int w) {
         const std::uint8_t order[3] = {2, 0, 1};
         k.channels.reorder3(t[0]->data(), t[0]->data(), w, order);
       },
       true},
      {"premultiply",
       {Four},
       {Four},
       [](const Suite& k, const Rows&, const Rows& t, int w) {
         k.channels.premultiply(t[0]->data(), w);
       },
       true},
      {"blend4",
       {One},
       {One},
       [](const Suite& k, const Rows&, const Rows& t, int w) {
         const std::uint8_t group[4] = {10, 200, 0, 90};
         k.channels.blend4(t[0]->data(), static_cast<std::size_t>(w), 100, group);
       },
       true},
      {"reverse1",
       {One},
       {One},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.channels.reverse1(s[0]->data(), t[0]->data(), w);
       }},
      {"reverse2",
       {Two},
       {Two},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.channels.reverse2(s[0]->data(), t[0]->data(), w);
       }},
      {"reverse4",
       {Four},
       {Four},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.channels.reverse4(s[0]->data(), t[0]->data(), w);
       }},
      {"streamCopy",
       {One},
       {One},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.channels.streamCopy(s[0]->data(), t[0]->data(), static_cast<std::size_t>(w));
         k.channels.fence();
       }},
  };
  for (const int channel : {0, 1, 3}) {
    cases.push_back({"setChannel",
                     {Four},
                     {Four},
                     [channel](const Suite& k, const Rows&, const Rows& t, int w) {
                       k.channels.setChannel(t[0]->data(), w, channel, 0xAB);
                     },
                     true});
    cases.push_back({"copyToChannel",
                     {Four, One},
                     {Four},
                     [channel](const Suite& k, const Rows& s, const Rows& t, int w) {
                       k.channels.copyToChannel(s[1]->data(), t[0]->data(), w, channel);
                     },
                     true});
  }
  return cases;
}

std::vector<KernelCase> DeepCases() {
  std::vector<KernelCase> cases = {
      {"unpackV210",
       {V210},
       {V210Whole},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         k.deep.unpackV210(s[0]->data(), t[0]->data(), w);
       }},
      {"planesFromV210",
       {V210},
       {Two, Groups, Groups},
       [](const Suite& k, const Rows& s, const Rows& t, int w) {
         const auto words = [](GuardedRow& row) {
           return reinterpret_cast<std::uint16_t*>(row.data());
         };
         k.deep.planesFromV210(s[0]->data(), words(*t[0]), words(*t[1]), words(*t[2]), w);
       }},
  };
  for (const int order : {0, 1}) {
    cases.push_back({"packV210",
                     {Groups},
                     {V210},
                     [order](const Suite& k, const Rows& s, const Rows& t, int w) {
                       k.deep.packV210[order](s[0]->data(), t[0]->data(), w, StoresOf(t));
                     }});
  }
  for (int taps = 1; taps <= kMaxFilterTaps; ++taps) {
    cases.push_back({"filterRow",
                     std::vector<RowBytes>(static_cast<std::size_t>(taps), One),
                     {One},
                     [taps](const Suite& k, const Rows& s, const Rows& t, int w) {
                       const std::uint8_t* rows[kMaxFilterTaps];
                       std::uint8_t weights[kMaxFilterTaps];
                       int left = 256;
                       for (int i = 0; i < taps; ++i) {
                         rows[i] = s[static_cast<std::size_t>(i)]->data();
                         weights[i] = static_cast<std::uint8_t>(
                             std::min(255, i + 1 == taps ? left : left * (i + 1) / (taps + 1)));
                         left -= weights[i];
                       }
                       k.filterRow(rows, weights, taps, taps % 2 * 128, t[0]->data(),
                                   static_cast<std::size_t>(w));
                     }});
  }
  return cases;
}

// Rows of every filter to widths around the source's: each ratio has windows of another size.
std::vector<KernelCase> ScaleCases() {
  std::vector<KernelCase> cases;
  for (const int bytes : {1, 4}) {
    for (const int quality : {1, 2, 4, 8, 16}) {
      for (const auto& [over, under] : {std::pair{2, 3}, {3, 8}, {1, 5}, {1, 19}, {3, 2}, {7, 1}}) {
        const auto target = [over = over, under = under, bytes](std::size_t w) {
          return (w * static_cast<std::size_t>(over) / static_cast<std::size_t>(under) + 1) *
                 static_cast<std::size_t>(bytes);
        };
        cases.push_back({"scaleRow",
                         {bytes == 1 ? One : Four},
                         {target},
                         [=](const Suite& k, const Rows& s, const Rows& t, int w) {
                           const RowFilter filter = MakeRowFilter(
                               w, static_cast<int>(t[0]->size()) / bytes, quality, 0.2);
                           (bytes == 1 ? k.scaleRow.scale1 : k.scaleRow.scale4)(
                               filter, s[0]->data(), 0, t[0]->data());
                         }});
      }
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

// Runs `kernel` at `level` and at the reference over the same input and compares every byte.
void Compare(const KernelCase& kernel, SimdLevel level, int width, GuardedRow::Edge edge,
             std::mt19937& random) {
  const Rows sources = MakeRows(kernel.sources, width, edge);
  for (const auto& row : sources) row->Randomise(random);
  const Rows expected = MakeRows(kernel.targets, width, edge);
  const Rows got = MakeRows(kernel.targets, width, edge);
  for (const Rows* rows : {&expected, &got}) {
    for (const auto& row : *rows) std::memset(row->data(), 0x5A, row->size());
    if (kernel.inPlace) std::memcpy((*rows)[0]->data(), sources[0]->data(), sources[0]->size());
  }
  kernel.run(SuiteAt(SimdLevel::kPlain), sources, expected, width);
  kernel.run(SuiteAt(level), sources, got, width);
  for (std::size_t i = 0; i < got.size(); ++i) {
    ASSERT_EQ(std::memcmp(got[i]->data(), expected[i]->data(), got[i]->size()), 0)
        << kernel.name << "_w" << width << '_' << SimdLevelName(level) << " plane " << i;
  }
}

void CompareAll(const std::vector<KernelCase>& cases) {
  std::mt19937 random(7);
  for (const SimdLevel level : SimdLevels()) {
    if (level == SimdLevel::kPlain) continue;
    for (const KernelCase& kernel : cases) {
      // Widths around each multiple of a vector: all misalignments occur, since rows end at a page.
      for (int width = 1; width < 300; width += width < 140 ? 1 : 7) {
        for (const auto edge : {GuardedRow::Edge::kEnd, GuardedRow::Edge::kBegin}) {
          Compare(kernel, level, width, edge, random);
          if (testing::Test::HasFatalFailure()) return;
        }
      }
    }
  }
}

TEST(Kernels, PackedVariantsEqualTheReference) { CompareAll(PackedCases()); }
TEST(Kernels, ColourVariantsEqualTheReference) { CompareAll(ColourCases()); }
TEST(Kernels, ChannelVariantsEqualTheReference) { CompareAll(ChannelCases()); }
TEST(Kernels, DeepVariantsEqualTheReference) { CompareAll(DeepCases()); }
TEST(Kernels, ScalingVariantsEqualTheReference) { CompareAll(ScaleCases()); }

TEST(Kernels, TransposesEqualTheReferenceWithAnySteps) {
  std::mt19937 random(3);
  for (const SimdLevel level : SimdLevels()) {
    for (const int bytes : {1, 4}) {
      const auto transpose = [&](const ChannelKernels& k) {
        return bytes == 1 ? k.transpose1 : k.transpose4;
      };
      GuardedRow source(static_cast<std::size_t>(7 * 40 + 8 * bytes));
      source.Randomise(random);
      std::vector<std::uint8_t> expected(8 * 48, 1);
      std::vector<std::uint8_t> got(8 * 48, 1);
      const auto run = [&](const ChannelKernels& k, std::vector<std::uint8_t>& target) {
        // Bottom-up source rows, a target step larger than a row.
        transpose(k)(source.data() + 7 * 40, -40, target.data(), 48);
      };
      run(ChannelKernelsAt(SimdLevel::kPlain), expected);
      run(ChannelKernelsAt(level), got);
      EXPECT_EQ(got, expected) << SimdLevelName(level) << ", " << bytes << " bytes";
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
