#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "buffers.h"

// Pictures out of Python's buffers, as FrameBuilder::Video takes them.
namespace xv::python {

using Size = std::pair<std::int64_t, std::int64_t>;  // width, height

struct Picture {
  std::uint32_t layout = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;  // signed, as media.h has it
  const std::uint8_t* data = nullptr;
  std::size_t bytes = 0;
  std::size_t rowBytes = 0;
  std::shared_ptr<const void> keep = nullptr;
};

// A picture of one of media.h's layouts, by name ("UYVY", "RGB24"; "BGR24", "BGR0" and "BGRA" are
// what RGB24, RGB32 and ARGB32 have in memory). `object` is
//   packed layouts   lines x columns x bytes, lines x items, or plain bytes with a `size`
//   planar layouts   a sequence of planes, one array of 3/2 H x W, or plain bytes with a `size`
// Lines go from the top; a negative distance of lines is taken as such where the layout has it
// (RGB), unless `topDown`. Memory is borrowed where lines are no shorter than the layout's natural
// ones and planes lie behind one another, else copied. Needs the interpreter's lock. Throws
// ValueError for what is no such picture.
[[nodiscard]] Picture MakePicture(const pybind11::object& object, const std::string& layout,
                                  const std::optional<Size>& size, bool topDown);

// Names that MakePicture knows.
[[nodiscard]] std::vector<std::string> LayoutNames();

}  // namespace xv::python
