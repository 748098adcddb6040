#pragma once

#include <cstdint>
#include <cstdlib>

#include "media/pixel_layout.h"
#include "picture/image_view.h"

namespace xv::bench {

// A top-down picture of noise in 64-byte aligned memory.
struct Picture {
  Picture(std::uint32_t tag, int width, int height) {
    vid.fccColor = tag;
    vid.nWidth = width;
    vid.nHeight = IsRgb(tag) ? -height : height;
    vid.nRowBytes = NaturalRowBytes(tag, width);
    vid.eInterlace = eXvI_Progressive;
    bytes = static_cast<std::size_t>(FrameBytes(tag, width, height));
    if (tag == kFccI420 || tag == kFccNV12) bytes = PlanarBytes();
    data = static_cast<std::uint8_t*>(std::aligned_alloc(64, (bytes + 127) / 64 * 64));
    for (std::size_t i = 0; i < bytes; ++i)
      data[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
  }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;
  ~Picture() { std::free(data); }

  ImageView View() const { return MakeImageView(vid, data); }
  int Width() const { return vid.nWidth; }
  int Height() const { return std::abs(vid.nHeight); }
  std::uint32_t Tag() const { return vid.fccColor; }

  XV_VID_PROPS vid{};
  std::size_t bytes;
  std::uint8_t* data;

 private:
  std::size_t PlanarBytes() const {
    return static_cast<std::size_t>(vid.nRowBytes) * static_cast<std::size_t>(Height()) * 3 / 2;
  }
};

}  // namespace xv::bench
