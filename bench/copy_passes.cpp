// Puts some pictures of one layout, so that a profiler of memory can tell what is read and written
// on their way (bench/copy_passes.py).
//   bench_copy_passes LAYOUT WIDTH HEIGHT FRAMES TARGET ATTRIBUTES
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

#include "xvwriter/host.hpp"

// The blocks of the host's pictures are known by this function's name.
[[gnu::noinline]] std::shared_ptr<std::vector<unsigned char>> MakeHostPicture(std::size_t bytes) {
  return std::make_shared<std::vector<unsigned char>>(bytes, static_cast<unsigned char>(100));
}

namespace {

struct Layout {
  const char* name;
  std::uint32_t code;
};
constexpr Layout kLayouts[] = {
    {"UYVY", xv::kFccUYVY},   {"YUY2", xv::kFccYUY2},   {"v210", xv::kFccV210},
    {"I420", xv::kFccI420},   {"YV12", xv::kFccYV12},   {"NV12", xv::kFccNV12},
    {"RGB24", xv::kFccRGB24}, {"RGB32", xv::kFccRGB32}, {"r210", xv::kFccR210},
};

std::uint32_t LayoutOf(std::string_view name) {
  for (const Layout& layout : kLayouts) {
    if (name == layout.name) return layout.code;
  }
  return 0;
}

std::size_t PictureBytes(std::uint32_t layout, int width, int height) {
  const bool quarters = layout == xv::kFccI420 || layout == xv::kFccYV12 || layout == xv::kFccNV12;
  const auto luma =
      static_cast<std::size_t>(XvRowBytesGet(layout, width)) * static_cast<std::size_t>(height);
  return quarters ? luma * 3 / 2 : luma;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) return 2;
  const std::uint32_t layout = LayoutOf(argv[1]);
  const int width = std::atoi(argv[2]), height = std::atoi(argv[3]), frames = std::atoi(argv[4]);
  const std::size_t bytes = PictureBytes(layout, width, height);
  xv::host::Writer writer;
  if (bytes == 0 || xv::Failed(writer.Start(argv[5], argv[6]))) return 1;
  const std::chrono::milliseconds step(40);
  for (int i = 0; i < frames; ++i) {
    const auto picture = MakeHostPicture(bytes);
    xv::host::FrameBuilder builder;
    builder.Video(layout, width, height, 25, picture->data(), bytes, picture);
    builder.Time(i * step, (i + 1) * step);
    if (xv::Failed(writer.Put(std::move(builder)))) return 1;
  }
  return xv::Failed(writer.Stop()) ? 1 : 0;
}
