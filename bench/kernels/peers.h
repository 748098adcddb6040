#pragma once

#include "contracts/av_handles.h"
#include "harness.h"
#include "picture.h"

// Other libraries doing the work of a row: `source` into `target`, whose layouts and sizes say what
// is to be done; HDYC stands for BT.709. The pictures outlive the body. A null body: the library
// has no way, or was not found when this was built.
namespace xv::bench {

struct Work {
  const Picture& source;
  const Picture& target;
};

enum class SwsKind { kBilinear, kAccurate, kBicubic };
enum class Filter { kBilinear, kBicubic };

// libyuv's single-call conversions.
Body LibyuvBody(const Work& work);
// libswscale; `fields` scales each field of both pictures on its own.
Body SwsBody(const Work& work, SwsKind kind, bool fields = false);
// libswscale from video range into a picture of full range.
Body SwsFullRangeBody(const Picture& source, const AVFrame& target);
// zimg between planes, packed layouts through libyuv on both sides; `fields` with the parities of
// both fields.
Body ZimgBody(const Work& work, Filter filter = Filter::kBicubic, bool fields = false);
// GStreamer's GstVideoConverter on one thread.
Body GstBody(const Work& work);

}  // namespace xv::bench
