#include "peers.h"

#ifdef XV_BENCH_LIBYUV
#include <libyuv.h>

namespace xv::bench {
namespace {

using Call = int (*)(const ImageView& from, const ImageView& to, int width, int height);

int Step(const ImageView& view, std::size_t plane = 0) {
  return static_cast<int>(view.step[plane]);
}

int UyvyToI420(const ImageView& s, const ImageView& t, int w, int h) {
  return libyuv::UYVYToI420(s.data[0], Step(s), t.data[0], Step(t), t.data[1], Step(t, 1),
                            t.data[2], Step(t, 2), w, h);
}
int UyvyToNv12(const ImageView& s, const ImageView& t, int w, int h) {
  return libyuv::UYVYToNV12(s.data[0], Step(s), t.data[0], Step(t), t.data[1], Step(t, 1), w, h);
}
int UyvyToYuy2(const ImageView& s, const ImageView& t, int w, int h) {
  const std::uint8_t order[16] = {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14};
  return libyuv::ARGBShuffle(s.data[0], Step(s), t.data[0], Step(t), order, w / 2, h);
}
int UyvyToBgra(const ImageView& s, const ImageView& t, int w, int h) {
  return libyuv::UYVYToARGB(s.data[0], Step(s), t.data[0], Step(t), w, h);
}
int BgraToUyvy(const ImageView& s, const ImageView& t, int w, int h) {
  return libyuv::ARGBToUYVY(s.data[0], Step(s), t.data[0], Step(t), w, h);
}
int BgraToI420(const ImageView& s, const ImageView& t, int w, int h) {
  return libyuv::ARGBToI420(s.data[0], Step(s), t.data[0], Step(t), t.data[1], Step(t, 1),
                            t.data[2], Step(t, 2), w, h);
}
int BgraToNv12(const ImageView& s, const ImageView& t, int w, int h) {
  return libyuv::ARGBToNV12(s.data[0], Step(s), t.data[0], Step(t), t.data[1], Step(t, 1), w, h);
}
int I420ToBgra(const ImageView& s, const ImageView& t, int w, int h) {
  return libyuv::I420ToARGB(s.data[0], Step(s), s.data[1], Step(s, 1), s.data[2], Step(s, 2),
                            t.data[0], Step(t), w, h);
}

struct Row {
  std::uint32_t from, to;
  Call call;
};
constexpr Row kRows[] = {
    {kFccUYVY, kFccI420, UyvyToI420},   {kFccUYVY, kFccNV12, UyvyToNv12},
    {kFccUYVY, kFccYUY2, UyvyToYuy2},   {kFccUYVY, kFccARGB32, UyvyToBgra},
    {kFccARGB32, kFccUYVY, BgraToUyvy}, {kFccARGB32, kFccI420, BgraToI420},
    {kFccARGB32, kFccNV12, BgraToNv12}, {kFccI420, kFccARGB32, I420ToBgra},
};

}  // namespace

Body LibyuvBody(const Work& work) {
  for (const Row& row : kRows) {
    if (row.from != work.source.Tag() || row.to != work.target.Tag()) continue;
    return [call = row.call, from = work.source.View(), to = work.target.View()] {
      call(from, to, from.width, from.height);
    };
  }
  return nullptr;
}

}  // namespace xv::bench
#else
namespace xv::bench {
Body LibyuvBody(const Work&) { return nullptr; }
}  // namespace xv::bench
#endif
