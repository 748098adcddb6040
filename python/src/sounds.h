#pragma once

#include <pybind11/pybind11.h>

#include <optional>

#include "xvwriter/host.hpp"

// Sound out of Python's buffers.
namespace xv::python {

// How samples are to be read. `bits` and `channels` are needed where the buffer does not say:
// plain bytes, or 20 bits in three bytes.
struct SoundShape {
  int rate = 0;
  bool planar = false;
  std::optional<int> bits;
  std::optional<int> channels;
  std::uint32_t trackMask = 0;
};

// Puts sound into a frame. `object` holds 16- or 32-bit integers, 32-bit floats, or bytes in threes
// (24 bits):
//   interleaved  samples x channels, samples of one channel, or plain bytes
//   planar       channels x samples, or a sequence of channels; copied
// Interleaved sound that lies as it is told is borrowed, else copied. Needs the interpreter's lock.
// Throws ValueError for what is no sound.
void AddSound(const pybind11::object& object, const SoundShape& shape, host::FrameBuilder* frame);

}  // namespace xv::python
