// The smallest host: two seconds of fading grey into an mp4.
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include "xvwriter/host.hpp"

int main(int argc, char** argv) {
  using namespace std::chrono_literals;
  xv::host::Writer writer;
  xv::HRESULT result = writer.Start(argc > 1 ? argv[1] : "grey.mp4", "video::codec=libx264");
  for (int i = 0; i < 50 && xv::Succeeded(result); ++i) {
    auto picture = std::make_shared<std::vector<unsigned char>>(640 * 360 * 2, 128);
    for (std::size_t k = 1; k < picture->size(); k += 2) (*picture)[k] = 16 + 4 * i;
    result = writer.Put(
        xv::host::FrameBuilder()
            .Video(xv::kFccUYVY, 640, 360, 25.0, picture->data(), picture->size(), picture)
            .Time(i * 40ms, (i + 1) * 40ms));
  }
  const xv::HRESULT stopped = writer.Stop();
  if (xv::Succeeded(result)) result = stopped;
  std::printf("%s\n", xv::host::Describe(result).c_str());
  return result == xv::S_OK ? 0 : 1;
}
