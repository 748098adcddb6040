#include "frames/picture_cases.h"

#include <cstdlib>

extern "C" {
#include <libavutil/log.h>
}

// Any bytes as picture properties, rectangles and edits: no access outside of a picture, a status
// that agrees with what was made, and the reference's bytes at every level.
namespace {

// Two bytes a number; zeros when they have run out.
class FuzzNumbers final : public xv::test::Numbers {
 public:
  FuzzNumbers(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}
  int Below(int limit) override {
    unsigned value = 0;
    for (int i = 0; i < 2 && left_ > 0; ++i, --left_) value = value << 8 | *data_++;
    return static_cast<int>(value % static_cast<unsigned>(limit));
  }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const xv::Ref<xv::XvConverterRC2> converter = [] {
    av_log_set_level(AV_LOG_QUIET);
    return xv::MakeRef<xv::XvConverterRC2>();
  }();
  FuzzNumbers numbers(data, size);
  const int kind = numbers.Below(3);
  const xv::test::CaseResult result = kind == 0   ? xv::test::ConvertFrameCase(numbers, *converter)
                                      : kind == 1 ? xv::test::PrepareFrameCase(numbers)
                                                  : xv::test::RectangleCase(numbers);
  if (!result.consistent) std::abort();
  return 0;
}
