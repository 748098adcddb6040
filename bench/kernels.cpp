// Picture kernels beside memcpy, a streaming copy, libyuv and libswscale over the same bytes, on
// one thread. Usage: bench_kernels [rounds] [width height]. "hot" repeats on the same memory;
// "cold" sweeps the caches before each picture. Milliseconds a picture, median and minimum: believe
// a difference only where both show it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <libyuv.h>

#include "convert/codec_convert.h"
#include "convert/convert_pixels.h"
#include "convert/frame_ffm.h"
#include "convert/kernels/channel_kernels.h"
#include "convert/pixel_map.h"
#include "convert/rotate_image.h"
#include "convert/scale_engine.h"
#include "media/pixel_layout.h"

namespace {

using namespace xv;

struct Timing {
  double median;
  double minimum;
};

class Bench {
 public:
  Bench(int rounds) : rounds_(rounds), sweep_(96 << 20) {}

  Timing Run(bool cold, const std::function<void()>& body) {
    body();
    std::vector<double> times;
    for (int i = 0; i < rounds_; ++i) {
      if (cold) Sweep();
      const auto start = std::chrono::steady_clock::now();
      body();
      times.push_back(
          std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
              .count());
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times.front()};
  }
  void Row(const char* name, const std::function<void()>& body) {
    const Timing hot = Run(false, body);
    const Timing cold = Run(true, body);
    std::printf("  %-28s hot %7.3f (%7.3f)   cold %7.3f (%7.3f)\n", name, hot.median, hot.minimum,
                cold.median, cold.minimum);
  }

 private:
  void Sweep() {
    for (std::size_t i = 0; i < sweep_.size(); i += 64)
      sweep_[i] = static_cast<char>(sweep_[i] + 1);
  }
  int rounds_;
  std::vector<char> sweep_;
};

struct Picture {
  Picture(std::uint32_t tag, int width, int height) {
    vid.fccColor = tag;
    vid.nWidth = width;
    vid.nHeight = height;
    vid.nRowBytes = NaturalRowBytes(tag, width);
    vid.eInterlace = eXvI_Progressive;
    bytes = static_cast<std::size_t>(FrameBytes(tag, width, height));
    data = static_cast<std::uint8_t*>(std::aligned_alloc(64, (bytes + 127) / 64 * 64));
    for (std::size_t i = 0; i < bytes; ++i)
      data[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
  }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;
  ~Picture() { std::free(data); }
  ImageView View() const { return MakeImageView(vid, data); }
  XV_VID_PROPS vid{};
  std::size_t bytes;
  std::uint8_t* data;
};

void CopyRows(Bench& bench, std::size_t read, std::size_t written) {
  // A copy that moves as many bytes as the conversion reads and writes.
  const std::size_t bytes = (read + written) / 2;
  std::vector<std::uint8_t> from(bytes, 1), to(bytes + 64);
  bench.Row("memcpy", [&] { std::memcpy(to.data(), from.data(), bytes); });
  bench.Row("streaming copy", [&] {
    Channels().streamCopy(from.data(), to.data(), bytes);
    Channels().fence();
  });
}

void SwsRow(Bench& bench, const char* name, const Picture& source, AVFrame* target, int flags) {
  XvFrameFFM wrapped;
  XV_VID_PROPS vid = source.vid;
  if (wrapped.AttachMemory(vid, source.data, static_cast<std::uint32_t>(source.bytes), nullptr)
          .Failed())
    return;
  const AVFrame& from = *wrapped.picture();
  AvPtr<SwsContext> context(
      sws_getContext(from.width, from.height, static_cast<AVPixelFormat>(from.format),
                     target->width, target->height, static_cast<AVPixelFormat>(target->format),
                     flags, nullptr, nullptr, nullptr));
  if (!context) return;
  bench.Row(name, [&] {
    sws_scale(context.get(), from.data, from.linesize, 0, from.height, target->data,
              target->linesize);
  });
}

void ToCodec(Bench& bench, const char* title, std::uint32_t tag, int format, int width, int height,
             const std::function<void(const Picture&, AVFrame*)>& yuv) {
  const Picture source(tag, width, height);
  PicturePool pool;
  const AvPtr<AVFrame> target = pool.Get(format, width, std::abs(height));
  std::printf("%s\n", title);
  bench.Row("xv", [&] { (void)ConvertToCodecFormat(source.View(), target.get(), {}); });
  if (yuv) bench.Row("libyuv", [&] { yuv(source, target.get()); });
  SwsRow(bench, "libswscale", source, target.get(), SWS_BILINEAR);
  SwsRow(bench, "libswscale, exact", source, target.get(),
         SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT);
  std::size_t written = 0;
  for (int plane = 0; plane < 3 && target->data[plane] != nullptr; ++plane) {
    const bool half = plane > 0 && (format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_NV12);
    written += static_cast<std::size_t>(target->linesize[plane]) *
               static_cast<std::size_t>(half ? target->height / 2 : target->height);
  }
  CopyRows(bench, source.bytes, written);
}

void Between(Bench& bench, const char* title, std::uint32_t from, std::uint32_t to, int width,
             int height, const std::function<void(const Picture&, const Picture&)>& yuv) {
  const Picture source(from, width, height);
  const Picture target(to, width, height);
  std::printf("%s\n", title);
  bench.Row("xv", [&] { ConvertPixels(source.View(), target.View()); });
  if (yuv) bench.Row("libyuv", [&] { yuv(source, target); });
  CopyRows(bench, source.bytes, target.bytes);
}

void Scaling(Bench& bench, int width, int height, int toWidth, int toHeight, bool fields) {
  const Picture source(kFccI420, width, height);
  const Picture target(kFccI420, toWidth, toHeight);
  ScaleEngine engine;
  std::printf("I420 %dx%d to %dx%d, %s\n", width, height, toWidth, toHeight,
              fields ? "fields" : "frame");
  bench.Row("xv", [&] {
    (void)engine.ScaleImage(source.View(), target.View(), false, 4, 0, fields ? 0 : 3,
                            Siting::kCentred);
  });
  XvFrameFFM wrapped;
  if (wrapped
          .AttachMemory(target.vid, target.data, static_cast<std::uint32_t>(target.bytes), nullptr)
          .Failed())
    return;
  if (!fields) SwsRow(bench, "libswscale bicubic", source, wrapped.picture(), SWS_BICUBIC);
}

}  // namespace

int main(int argc, char** argv) {
  Bench bench(argc > 1 ? std::atoi(argv[1]) : 60);
  const int w = argc > 3 ? std::atoi(argv[2]) : 1920;
  const int h = argc > 3 ? std::atoi(argv[3]) : 1080;
  std::printf("%dx%d, kernels: %s; median (minimum) in milliseconds\n", w, h,
              SimdLevelName(ActiveSimdLevel()));
  ToCodec(
      bench, "UYVY to I420", kFccUYVY, AV_PIX_FMT_YUV420P, w, h, [](const Picture& s, AVFrame* t) {
        libyuv::UYVYToI420(s.data, s.vid.nRowBytes, t->data[0], t->linesize[0], t->data[1],
                           t->linesize[1], t->data[2], t->linesize[2], s.vid.nWidth, s.vid.nHeight);
      });
  ToCodec(bench, "UYVY to NV12", kFccUYVY, AV_PIX_FMT_NV12, w, h, [](const Picture& s, AVFrame* t) {
    libyuv::UYVYToNV12(s.data, s.vid.nRowBytes, t->data[0], t->linesize[0], t->data[1],
                       t->linesize[1], s.vid.nWidth, s.vid.nHeight);
  });
  ToCodec(bench, "UYVY to I422, full range", kFccUYVY, AV_PIX_FMT_YUVJ422P, w, h, nullptr);
  ToCodec(bench, "BGRA to I420", kFccARGB32, AV_PIX_FMT_YUV420P, w, -h,
          [&](const Picture& s, AVFrame* t) {
            libyuv::ARGBToI420(s.data, s.vid.nRowBytes, t->data[0], t->linesize[0], t->data[1],
                               t->linesize[1], t->data[2], t->linesize[2], w, h);
          });
  Between(bench, "UYVY to YUY2", kFccUYVY, kFccYUY2, w, h, [](const Picture& s, const Picture& t) {
    const std::uint8_t order[16] = {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14};
    libyuv::ARGBShuffle(s.data, s.vid.nRowBytes, t.data, t.vid.nRowBytes, order, s.vid.nWidth / 2,
                        s.vid.nHeight);
  });
  Between(bench, "UYVY to BGRA", kFccUYVY, kFccARGB32, w, h,
          [](const Picture& s, const Picture& t) {
            libyuv::UYVYToARGB(s.data, s.vid.nRowBytes, t.data, t.vid.nRowBytes, s.vid.nWidth,
                               s.vid.nHeight);
          });
  Between(bench, "HDYC to BGRA", kFccHDYC, kFccARGB32, w, h, nullptr);
  Between(bench, "BGRA to UYVY", kFccARGB32, kFccUYVY, w, h,
          [](const Picture& s, const Picture& t) {
            libyuv::ARGBToUYVY(s.data, s.vid.nRowBytes, t.data, t.vid.nRowBytes, s.vid.nWidth,
                               s.vid.nHeight);
          });
  Between(bench, "BGRA to HDYC", kFccARGB32, kFccHDYC, w, h, nullptr);
  Between(bench, "I420 to BGRA", kFccI420, kFccARGB32, w, h,
          [](const Picture& s, const Picture& t) {
            const ImageView v = s.View();
            libyuv::I420ToARGB(v.data[0], s.vid.nRowBytes, v.data[1], s.vid.nRowBytes / 2,
                               v.data[2], s.vid.nRowBytes / 2, t.data, t.vid.nRowBytes,
                               s.vid.nWidth, s.vid.nHeight);
          });
  Between(bench, "v210 to UYVY", kFccV210, kFccUYVY, w, h, nullptr);
  Between(bench, "UYVY to v210", kFccUYVY, kFccV210, w, h, nullptr);
  {
    const Picture source(kFccARGB32, w, h);
    const Picture target(kFccARGB32, h, w);
    std::printf("rotate 90 BGRA\n");
    bench.Row("xv", [&] {
      RotatePlane(source.data, source.vid.nRowBytes, target.data, target.vid.nRowBytes, w, h, 4,
                  false);
    });
    bench.Row("libyuv", [&] {
      libyuv::ARGBRotate(source.data, source.vid.nRowBytes, target.data, target.vid.nRowBytes, w, h,
                         libyuv::kRotate90);
    });
    std::printf("premultiply BGRA\n");
    bench.Row("xv", [&] {
      for (int y = 0; y < h; ++y)
        Channels().premultiply(source.data + std::ptrdiff_t{y} * source.vid.nRowBytes, w);
    });
    bench.Row("libyuv", [&] {
      libyuv::ARGBAttenuate(source.data, source.vid.nRowBytes, source.data, source.vid.nRowBytes, w,
                            h);
    });
    CopyRows(bench, source.bytes, source.bytes);
  }
  for (const bool fields : {false, true}) {
    Scaling(bench, 1920, 1080, 1280, 720, fields);
    Scaling(bench, 1920, 1080, 720, 576, fields);
  }
  return 0;
}
