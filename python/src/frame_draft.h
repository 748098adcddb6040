#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pictures.h"
#include "sounds.h"
#include "xvwriter/host.hpp"

namespace xv::python {

// A frame while Python describes it. One thread at a time, with the interpreter's lock; Build is
// called without it and uses the draft up.
class FrameDraft {
 public:
  FrameDraft& Video(const pybind11::object& object, const std::string& layout,
                    const std::optional<Size>& size, double rate, bool topDown);
  FrameDraft& Audio(const pybind11::object& object, int rate, bool planar, std::optional<int> bits,
                    std::optional<int> channels, std::uint32_t trackMask);
  // 100 ns units.
  FrameDraft& Time(std::int64_t start, std::int64_t stop, std::uint32_t flags);
  FrameDraft& Timecode(unsigned hour, unsigned minute, unsigned second, unsigned frame, bool drop);
  FrameDraft& Interlace(std::uint32_t order);
  FrameDraft& Aspect(int x, int y);
  FrameDraft& Attributes(const std::string& text);
  // Side data; a name of four characters is a four-character key.
  FrameDraft& Extra(const std::string& name, const pybind11::object& object);
  // 8 bits a pixel, lines x columns, from the top.
  FrameDraft& Mask(const pybind11::object& object);

  [[nodiscard]] host::Ptr<IXvFrame> Build(HRESULT* result);

 private:
  struct SideData {
    std::string name;
    Strided bytes;
  };

  host::FrameBuilder builder_;
  std::vector<SideData> extras_;
  std::optional<Picture> mask_;
};

}  // namespace xv::python
