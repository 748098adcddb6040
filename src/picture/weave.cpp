#include "picture/weave.h"

#include <utility>

#include "picture/layout_conversion.h"

namespace xv {
namespace {

ImageView UpperHalf(const ImageView& view, int firstRow) {
  return RegionView(view, 0, firstRow, view.width, view.height / 2);
}

}  // namespace

void Weave(const ImageView& first, const ImageView& second, const ImageView& target) {
  const DirectConverter* converter = ConvertPair(first.tag, target.tag);
  if (converter == nullptr) return;
  const ImageView* even = &first;
  const ImageView* odd = &second;
  const int sign = (target.interlace == eXvI_BottomFirst ? -1 : 1) * (target.step[0] < 0 ? -1 : 1);
  if (sign < 0) std::swap(even, odd);
  if (converter->multiplier > 0) {
    for (const int parity : {0, 1}) {
      ImageView from = FieldRows(parity == 0 ? *even : *odd, parity);
      ImageView to = FieldRows(target, parity);
      from.height = to.height = target.height / 2;
      (void)converter->routine(from, to);
    }
  } else {
    (void)converter->routine(UpperHalf(*even, 0), UpperHalf(target, 0));
    (void)converter->routine(UpperHalf(*odd, 1), UpperHalf(target, 1));
  }
}

}  // namespace xv
