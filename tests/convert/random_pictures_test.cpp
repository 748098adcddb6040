#include <gtest/gtest.h>

#include <random>

#include "convert/picture_cases.h"

namespace xv {
namespace {

class Random final : public test::Numbers {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int Below(int limit) override {
    return static_cast<int>(engine_() % static_cast<unsigned>(limit));
  }

 private:
  std::mt19937 engine_;
};

template <class Case>
void ManyCases(unsigned seed, Case&& run) {
  constexpr int kCases = 4000;
  Random random(seed);
  int made = 0;
  for (int i = 0; i < kCases; ++i) {
    const test::CaseResult result = run(random);
    ASSERT_TRUE(result.consistent) << i;
    made += result.made ? 1 : 0;
  }
  EXPECT_GT(made, kCases / 8) << "most pictures never reached the kernels";
}

TEST(RandomPictures, ConverterStaysInsideItsBuffers) {
  const Ref<XvConverterRC2> converter = MakeRef<XvConverterRC2>();
  ManyCases(17, [&](Random& random) { return test::ConvertFrameCase(random, *converter); });
}

TEST(RandomPictures, PreparationStaysInsideItsBuffers) {
  ManyCases(23, [](Random& random) { return test::PrepareFrameCase(random); });
}

TEST(RandomPictures, RectanglesGiveTheReferencesBytesAtEveryLevel) {
  ManyCases(29, [](Random& random) { return test::RectangleCase(random); });
}

}  // namespace
}  // namespace xv
