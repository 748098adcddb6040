#include "hw/quicksync/quick_attributes.h"

namespace xv {
namespace quick {
namespace {

constexpr AttributeRow kRows[] = {
    kForceGpu,  kAsyncDepth, kInterlace,   kProfile,  kLevel,       kQuality,      kGop,
    kBPictures, kExactGop,   kRateControl, kBitRate,  kMaxRate,     kInitialDelay, kBufferSize,
    kBufSize,   kRefFrames,  kIcqQuality,  kAccuracy, kConvergence, kQpI,          kQpP,
    kQpB,       kCavlc,      kGpuMemory,   kUseVpp,
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool IsLevel(std::string_view text) {
  return text == "1.0b" ||
         (text.size() == 3 && IsDigit(text[0]) && text[1] == '.' && IsDigit(text[2]));
}

}  // namespace quick

std::span<const AttributeRow> QuickAttributes() { return quick::kRows; }

}  // namespace xv
