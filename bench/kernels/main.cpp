// Picture kernels beside memcpy, a streaming copy, libyuv, libswscale, zimg and GStreamer's
// converter over the same bytes, on one thread.
//
//   bench_kernels [--rounds N] [--hot] [--only TEXT] [WIDTHxHEIGHT ...]
//
// Sizes are 1920x1080 and 3840x2160 by default. "hot" repeats on the same memory; "cold" sweeps the
// caches before each picture and is left out with --hot. Milliseconds a picture, median and
// minimum: believe a difference only where both show it. XVWRITER_SIMD names the level of our
// kernels.
#include <libyuv.h>

#include <cstdio>
#include <cstring>

#include "kernels/channel_kernels.h"
#include "peers.h"
#include "picture/layout_conversion.h"
#include "picture/picture_pool.h"
#include "picture/rotate.h"
#include "picture/scale_engine.h"
#include "picture/to_codec_format.h"
#include "platform/work_items.h"

namespace xv::bench {
namespace {

struct Size {
  int width, height;
};

// Copies that move as many bytes as a conversion reads and writes.
class Copies {
 public:
  Copies(std::size_t read, std::size_t written)
      : bytes_((read + written) / 2), from_(bytes_, 1), to_(bytes_ + 64) {}
  void AddTo(std::vector<Candidate>& candidates) {
    candidates.push_back({"memcpy", [this] { std::memcpy(to_.data(), from_.data(), bytes_); }});
    candidates.push_back({"streaming copy", [this] {
                            Channels().streamCopy(from_.data(), to_.data(), bytes_);
                            Channels().fence();
                          }});
  }

 private:
  std::size_t bytes_;
  std::vector<std::uint8_t> from_, to_;
};

void ConversionRow(Harness& harness, const char* title, std::uint32_t from, std::uint32_t to,
                   Size size) {
  if (!harness.Wants(title)) return;
  const Picture source(from, size.width, size.height);
  const Picture target(to, size.width, size.height);
  const Work work{source, target};
  std::vector<Candidate> candidates = {
      {"xv", [&] { (void)ConvertPixels(source.View(), target.View()); }},
      {"libyuv", LibyuvBody(work)},
      {"libswscale", SwsBody(work, SwsKind::kBilinear)},
      {"libswscale, accurate", SwsBody(work, SwsKind::kAccurate)},
      {"zimg", ZimgBody(work)},
      {"GStreamer", GstBody(work)},
  };
  Copies copies(source.bytes, target.bytes);
  copies.AddTo(candidates);
  harness.Row(title, candidates);
}

// MJPEG's format, out of the same samples in video range.
void FullRangeRow(Harness& harness, Size size) {
  constexpr const char* kTitle = "UYVY to I422, full range";
  if (!harness.Wants(kTitle)) return;
  const Picture source(kFccUYVY, size.width, size.height);
  PicturePool pool;
  const AvPtr<AVFrame> target = pool.Get(AV_PIX_FMT_YUVJ422P, size.width, size.height);
  std::vector<Candidate> candidates = {
      {"xv", [&] { static_cast<void>(ConvertToCodecFormat(source.View(), target.get(), {})); }},
      {"libswscale", SwsFullRangeBody(source, *target)}};
  Copies copies(source.bytes, source.bytes);
  copies.AddTo(candidates);
  harness.Row(kTitle, candidates);
}

void RotationRow(Harness& harness, Size size) {
  constexpr const char* kTitle = "rotate 90 BGRA";
  if (!harness.Wants(kTitle)) return;
  const Picture source(kFccARGB32, size.width, size.height);
  const Picture target(kFccARGB32, size.height, size.width);
  const int from = source.vid.nRowBytes;
  const int to = target.vid.nRowBytes;
  std::vector<Candidate> candidates = {
      {"xv",
       [&] { RotatePlane(source.data, from, target.data, to, size.width, size.height, 4, false); }},
      {"libyuv",
       [&] {
         libyuv::ARGBRotate(source.data, from, target.data, to, size.width, size.height,
                            libyuv::kRotate90);
       }},
  };
  Copies copies(source.bytes, target.bytes);
  copies.AddTo(candidates);
  harness.Row(kTitle, candidates);
}

void PremultiplyRow(Harness& harness, Size size) {
  constexpr const char* kTitle = "premultiply BGRA";
  if (!harness.Wants(kTitle)) return;
  const Picture picture(kFccARGB32, size.width, size.height);
  const std::ptrdiff_t step = picture.vid.nRowBytes;
  std::vector<Candidate> candidates = {
      {"xv",
       [&] {
         for (int y = 0; y < size.height; ++y)
           Channels().premultiply(picture.data + y * step, size.width);
       }},
      {"libyuv",
       [&] {
         libyuv::ARGBAttenuate(picture.data, static_cast<int>(step), picture.data,
                               static_cast<int>(step), size.width, size.height);
       }},
  };
  Copies copies(picture.bytes, picture.bytes);
  copies.AddTo(candidates);
  harness.Row(kTitle, candidates);
}

// The vertical filters of classic siting are shorter than a cubic one of the library's.
void ScalingRow(Harness& harness, Size from, Size to, bool fields) {
  char title[80];
  std::snprintf(title, sizeof title, "scale I420 %dx%d to %dx%d, %s", from.width, from.height,
                to.width, to.height, fields ? "interlaced" : "progressive");
  if (!harness.Wants(title)) return;
  const Picture source(kFccI420, from.width, from.height);
  const Picture target(kFccI420, to.width, to.height);
  const Work work{source, target};
  ScaleEngine engine, classic;
  const int flags = static_cast<int>(fields ? FieldMode::kFields : FieldMode::kFrame);
  const auto ours = [&](ScaleEngine& scaler, Siting siting) {
    return [&, siting] {
      static_cast<void>(
          scaler.ScaleImage(source.View(), target.View(), false, 4, 0, flags, siting));
    };
  };
  harness.Row(title, {{"xv", ours(engine, Siting::kCentred)},
                      {"xv, classic", ours(classic, Siting::kClassic)},
                      {"libswscale bicubic", SwsBody(work, SwsKind::kBicubic, fields)},
                      {"zimg bicubic", ZimgBody(work, Filter::kBicubic, fields)},
                      {"zimg bilinear", ZimgBody(work, Filter::kBilinear, fields)},
                      {"GStreamer", fields ? Body() : GstBody(work)}});
}

void AllRows(Harness& harness, Size size) {
  std::printf("%dx%d, level %s; milliseconds of processor time, median (minimum)\n", size.width,
              size.height, SimdLevelName(ActiveSimdLevel()));
  ConversionRow(harness, "UYVY to I420", kFccUYVY, kFccI420, size);
  ConversionRow(harness, "UYVY to NV12", kFccUYVY, kFccNV12, size);
  ConversionRow(harness, "UYVY to YUY2", kFccUYVY, kFccYUY2, size);
  ConversionRow(harness, "UYVY to BGRA", kFccUYVY, kFccARGB32, size);
  ConversionRow(harness, "HDYC to BGRA", kFccHDYC, kFccARGB32, size);
  ConversionRow(harness, "BGRA to UYVY", kFccARGB32, kFccUYVY, size);
  ConversionRow(harness, "BGRA to HDYC", kFccARGB32, kFccHDYC, size);
  ConversionRow(harness, "BGRA to I420", kFccARGB32, kFccI420, size);
  ConversionRow(harness, "BGRA to NV12", kFccARGB32, kFccNV12, size);
  ConversionRow(harness, "I420 to BGRA", kFccI420, kFccARGB32, size);
  ConversionRow(harness, "v210 to UYVY", kFccV210, kFccUYVY, size);
  ConversionRow(harness, "UYVY to v210", kFccUYVY, kFccV210, size);
  FullRangeRow(harness, size);
  RotationRow(harness, size);
  PremultiplyRow(harness, size);
}

}  // namespace
}  // namespace xv::bench

int main(int argc, char** argv) {
  using namespace xv::bench;
  Options options;
  std::vector<Size> sizes;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    Size size{};
    if (argument == "--rounds" && i + 1 < argc) {
      options.rounds = std::max(1, std::atoi(argv[++i]));
    } else if (argument == "--only" && i + 1 < argc) {
      options.only = argv[++i];
    } else if (argument == "--hot") {
      options.cold = false;
    } else if (std::sscanf(argument.c_str(), "%dx%d", &size.width, &size.height) == 2) {
      sizes.push_back(size);
    } else {
      std::fprintf(stderr, "bench_kernels [--rounds N] [--hot] [--only TEXT] [WIDTHxHEIGHT ...]\n");
      return 2;
    }
  }
  if (sizes.empty()) sizes = {{1920, 1080}, {3840, 2160}};
  const xv::WorkItemLimit oneThread(1);
  Harness harness(options);
  for (const Size& size : sizes) AllRows(harness, size);
  for (const bool fields : {false, true}) {
    ScalingRow(harness, {1920, 1080}, {1280, 720}, fields);
    ScalingRow(harness, {1920, 1080}, {720, 576}, fields);
  }
  return 0;
}
