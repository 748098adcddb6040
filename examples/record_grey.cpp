// The smallest host: two seconds of fading grey into an mp4.
#include <cstdio>
#include <memory>
#include <vector>

#include "xvwriter/host.hpp"

int main(int argc, char** argv) {
  xv::host::Writer writer;
  xv::HRESULT result = writer.Start(argc > 1 ? argv[1] : "grey.mp4", "video::codec=libx264");
  for (int i = 0; i < 50 && xv::Succeeded(result); ++i) {
    auto picture = std::make_shared<std::vector<unsigned char>>(640 * 360 * 2, 128);
    for (std::size_t k = 1; k < picture->size(); k += 2) (*picture)[k] = 16 + 4 * i;
    xv::host::FrameBuilder frame;
    frame.Video(xv::kFccUYVY, 640, 360, 25.0, picture->data(), picture->size(), picture);
    result = writer.Put(frame.Time(i * 400'000LL, (i + 1) * 400'000LL).Build());
  }
  writer.Stop();
  std::printf("%s\n", xv::host::Describe(result).c_str());
  return xv::Failed(result) ? 1 : 0;
}
