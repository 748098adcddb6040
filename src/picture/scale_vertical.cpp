#include "picture/scale_vertical.h"

#include <cstring>

#include "kernels/row_sink.h"
#include "platform/work_items.h"

namespace xv {
namespace {

constexpr int kRowSlot = 6;  // of RowScratch

}  // namespace

void ScaleVertical(FilterBank& bank, const std::uint8_t* source, std::uint8_t* target,
                   int sourceHeight, int targetHeight, std::size_t widthBytes,
                   std::ptrdiff_t sourceStep, std::ptrdiff_t targetStep, double sharpness,
                   int fieldFlags, const Across* across) {
  if (sourceHeight < 1 || targetHeight < 1) return;
  bank.Build(sourceHeight, targetHeight, static_cast<FieldMode>(fieldFlags & kFieldModeMask),
             sharpness);
  const bool enough = targetHeight > 1;
  const int first = enough && (fieldFlags & kCopyFirstRow) != 0 ? 1 : 0;
  const int last = targetHeight - (enough && (fieldFlags & kCopyLastRow) != 0 ? 1 : 0);
  const int middle = targetHeight / 2;
  RunWorkItems(2, [&](int band) {
    for (int t = band == 0 ? first : middle; t < (band == 0 ? middle : last); ++t) {
      if (t < first) continue;
      const FilterBank::Row& row = bank.At(t, fieldFlags);
      const std::uint8_t* rows[kMaxFilterTaps];
      for (int i = 0; i < row.taps; ++i) {
        rows[i] = source + row.source[static_cast<std::size_t>(i)] * sourceStep;
      }
      std::uint8_t* to = target + t * targetStep;
      std::uint8_t* made =
          across == nullptr ? to : RowScratch(kRowSlot, widthBytes + kRowFilterSlack);
      FilterRow(rows, row.weight.data(), row.taps, 0, made, widthBytes);
      if (across != nullptr) {
        ScaleRow(across->filter, made, kRowFilterSlack, to, across->sampleBytes);
      }
    }
  });
  const std::size_t targetBytes = across == nullptr
                                      ? widthBytes
                                      : static_cast<std::size_t>(across->filter.targetWidth) *
                                            static_cast<std::size_t>(across->sampleBytes);
  if (first == 1) std::memcpy(target, target + targetStep, targetBytes);
  if (last < targetHeight) {
    std::memcpy(target + (targetHeight - 1) * targetStep, target + (targetHeight - 2) * targetStep,
                targetBytes);
  }
}

}  // namespace xv
