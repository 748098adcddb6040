// What a vendor's encoder costs a frame without its own work: frames of 2160p UYVY through a writer
// to NVENC's encoder, whose library is a stand-in that encodes nothing. The peers, each with the
// same picture in the same turn, are memcpy and the one conversion that the encoder needs.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "hw/nvenc/nvenc_picture.h"
#include "support/vendor/vendor_control.h"
#include "xvwriter/host.hpp"

namespace {

constexpr int kWidth = 3840, kHeight = 2160, kFrames = 240;
constexpr std::size_t kBytes = std::size_t{kWidth} * kHeight * 2;
using Picture = std::shared_ptr<std::vector<unsigned char>>;

// Milliseconds.
struct Moment {
  double wall = 0;
  double cpu = 0;  // of all threads
};

double Milliseconds(clockid_t clock) {
  timespec t{};
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

Moment Now() { return {Milliseconds(CLOCK_MONOTONIC), Milliseconds(CLOCK_PROCESS_CPUTIME_ID)}; }

struct Cost {
  std::vector<double> wall, cpu;
  void Add(const Moment& from, const Moment& to) {
    wall.push_back(to.wall - from.wall);
    cpu.push_back(to.cpu - from.cpu);
  }
};

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void Print(const char* what, const Cost& cost, const Cost& copy) {
  std::printf("%-28s %7.2f ms   cpu %7.2f ms   %3.0f %% of memcpy   (%zu frames)\n", what,
              Median(cost.wall), Median(cost.cpu), 100 * Median(cost.wall) / Median(copy.wall),
              cost.wall.size());
}

// Each 16.6 MB, so that no picture waits in the cache.
std::vector<Picture> MakePictures() {
  std::vector<Picture> pictures;
  for (unsigned i = 0; i < 6; ++i) {
    pictures.push_back(std::make_shared<std::vector<unsigned char>>(kBytes));
    for (std::size_t k = 0; k < kBytes; ++k) {
      (*pictures.back())[k] = static_cast<unsigned char>(k / 7 + k % kWidth * i);
    }
  }
  return pictures;
}

xv::host::Ptr<xv::IXvFrame> FrameOf(const Picture& picture, int number) {
  xv::host::FrameBuilder builder;
  builder.Video(xv::kFccUYVY, kWidth, kHeight, 60, picture->data(), kBytes, picture);
  const auto time = [](int n) { return xv::host::Ticks(n * xv::kTimeUnitsPerSecond / 60); };
  return std::move(builder).Time(time(number), time(number + 1)).Build();
}

xv::ImageView ViewOf(const Picture& picture) {
  xv::XV_VID_PROPS vid{};
  vid.fccColor = xv::kFccUYVY;
  vid.nWidth = kWidth;
  vid.nHeight = kHeight;
  return xv::MakeImageView(vid, picture->data());
}

struct Run {
  Cost put, copy, conversion;
};

bool Measure(xv::host::Writer& writer, Run* run) {
  const std::vector<Picture> pictures = MakePictures();
  std::vector<unsigned char> target(kBytes), nv12(kBytes);
  xv::NvencPicture converter;
  for (int i = 0; i < kFrames; ++i) {
    const auto at = [&](int n) { return pictures[static_cast<std::size_t>(n) % pictures.size()]; };
    const auto frame = FrameOf(at(3 * i), i);
    const Moment begin = Now();
    if (xv::Failed(writer.Put(frame))) return false;
    const Moment put = Now();
    std::memcpy(target.data(), at(3 * i + 1)->data(), kBytes);
    const Moment copied = Now();
    if (converter.WriteNv12(ViewOf(at(3 * i + 2)), nv12.data(), kWidth, kHeight).Failed()) {
      return false;
    }
    const Moment converted = Now();
    if (i < 5) continue;  // opens the encoder, touches memory for the first time
    run->put.Add(begin, put);
    run->copy.Add(put, copied);
    run->conversion.Add(copied, converted);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  setenv("XVWRITER_VENDOR_FOLDER", VENDOR_FOLDER, 1);
  xv::vendor::Configure("encode=empty record=0 delay=0");
  xv::host::Writer writer;
  Run run;
  // On the host's thread, so that a put is all that is done.
  if (xv::Failed(writer.Start(argc > 1 ? argv[1] : "hardware_plug.mp4",
                              "video::codec=n264 video.buffers=0"))) {
    return 1;
  }
  if (!Measure(writer, &run) || xv::Failed(writer.Stop())) {
    std::fprintf(stderr, "%s\n", writer.LastError().c_str());
    return 1;
  }
  Print("put, through the encoder", run.put, run.copy);
  Print("conversion to NV12 alone", run.conversion, run.copy);
  Print("memcpy of the picture", run.copy, run.copy);
  std::printf("passes over the picture: %.2f (put / conversion)\n",
              Median(run.put.wall) / Median(run.conversion.wall));
  return 0;
}
