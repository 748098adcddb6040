#pragma once

#include <cstdint>
#include <random>
#include <stdexcept>
#include <vector>

#include "media/pixel_layout.h"
#include "picture/background_fill.h"
#include "picture/image_view.h"

namespace xv::test {

inline XV_VID_PROPS VidProps(std::uint32_t tag, int width, int height,
                             std::uint32_t interlace = eXvI_Progressive) {
  XV_VID_PROPS vid{};
  vid.fccColor = tag;
  vid.nWidth = width;
  vid.nHeight = height;
  vid.nRowBytes = NaturalRowBytes(tag, width);
  vid.eInterlace = interlace;
  vid.dblRate = 25;
  return vid;
}

// A picture with memory of exactly its size, so that the address sanitizer sees every step outside.
struct Picture {
  explicit Picture(const XV_VID_PROPS& props, std::uint8_t value = 0)
      : vid(props),
        bytes(static_cast<std::size_t>(
                  FrameBytes(props.fccColor, props.nWidth, props.nHeight, props.nRowBytes)),
              value) {}
  Picture(std::uint32_t tag, int width, int height, std::uint32_t interlace = eXvI_Progressive)
      : Picture(VidProps(tag, width, height, interlace)) {}

  ImageView View() const { return MakeImageView(vid, bytes.data()); }
  void Randomise(unsigned seed) {
    std::mt19937 random(seed);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
  }
  // Row `y` from the top.
  std::uint8_t* Row(int y, std::size_t plane = 0) const {
    const ImageView view = View();
    return view.data[plane] + y * view.step[plane];
  }

  XV_VID_PROPS vid;
  std::vector<std::uint8_t> bytes;
};

// A picture of one colour.
inline Picture Filled(const XV_VID_PROPS& props, std::uint32_t colour) {
  Picture picture(props);
  if (FillBackground(picture.View(), colour, 1.0).Failed()) throw std::runtime_error("no colour");
  return picture;
}
inline Picture Filled(std::uint32_t tag, int width, int height, std::uint32_t colour) {
  return Filled(VidProps(tag, width, height), colour);
}

}  // namespace xv::test
