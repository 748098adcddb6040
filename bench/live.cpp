#include "live.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

namespace xv::bench {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kStep(1000 / kRate);

}  // namespace

HRESULT PutFrame(host::Writer& writer, const std::vector<Picture>& pictures, int number) {
  const Picture& picture = pictures[static_cast<std::size_t>(number) % pictures.size()];
  host::FrameBuilder builder;
  builder.Video(kFccUYVY, kWidth, kHeight, kRate, picture->data(), kPictureBytes, picture);
  builder.Time(number * kStep, (number + 1) * kStep);
  return writer.Put(std::move(builder));
}

Live RunLive(const std::string& target, const std::string& attributes,
             const std::vector<Picture>& pictures, int frames) {
  Live live;
  host::Writer writer;
  live.put = writer.Start(target, attributes);
  const auto begin = Clock::now();
  for (int i = 0; i < frames && !Failed(live.put); ++i) {
    std::this_thread::sleep_until(begin + i * kStep);
    const auto put = Clock::now();
    live.put = PutFrame(writer, pictures, i);
    if (i == 0) continue;  // opens the encoder
    live.puts.push_back(std::chrono::duration<double, std::milli>(Clock::now() - put).count());
  }
  live.stop = writer.Stop();
  live.drops = writer.Stats().drops;
  std::sort(live.puts.begin(), live.puts.end());
  return live;
}

void Print(const std::string& what, const Live& live) {
  if (live.puts.empty()) return;
  std::printf("%-28s put p50 %6.2f ms   p99 %6.2f ms   worst %6.2f ms   dropped %lld of %zu\n",
              what.c_str(), live.puts[live.puts.size() / 2], live.puts[live.puts.size() * 99 / 100],
              live.puts.back(), static_cast<long long>(live.drops), live.puts.size() + 1);
}

}  // namespace xv::bench
