#include "sounds.h"

#include <memory>
#include <string>
#include <vector>

#include "buffers.h"

namespace xv::python {
namespace py = pybind11;
namespace {

bool IsBytes(const Strided& samples) { return samples.itemBytes == 1 && samples.type != '?'; }

// `dimensions` are those that whole samples have; samples in three bytes have one more.
int BitsOf(const Strided& samples, std::size_t dimensions, const SoundShape& shape) {
  const bool threes =
      IsBytes(samples) && samples.Dimensions() == dimensions + 1 && samples.shape.back() == 3;
  if (threes) return shape.bits.value_or(24);
  if (samples.Dimensions() <= dimensions) {
    if (samples.type == 'h') return 16;
    if ((samples.type == 'i' || samples.type == 'l') && samples.itemBytes == 4) return 32;
    if (samples.type == 'f') return -32;
    if (IsBytes(samples) && samples.Dimensions() == 1 && shape.bits) return *shape.bits;
  }
  throw py::value_error(
      "sound is 16- or 32-bit integers, 32-bit floats or samples x channels x 3 bytes; plain bytes "
      "need sample_bits and channels");
}

void CheckBits(int bits, const Strided& samples, const SoundShape& shape) {
  if (!shape.bits || *shape.bits == bits) return;
  throw py::value_error("sample_bits=" + std::to_string(*shape.bits) + " is not what items of " +
                        std::to_string(samples.itemBytes) + " bytes are");
}

int ChannelsOf(const Strided& samples, const SoundShape& shape) {
  const bool plain = samples.Dimensions() == 1 && IsBytes(samples);
  if (plain && !shape.channels) throw py::value_error("plain bytes of sound need channels");
  const std::int64_t given = samples.Dimensions() == 1 ? 1 : samples.shape[1];
  if (given > 32) {
    throw py::value_error(std::to_string(given) +
                          " channels: interleaved sound is samples x channels (planar=True for "
                          "channels x samples)");
  }
  if (!plain && shape.channels && *shape.channels != given) {
    throw py::value_error("the buffer has " + std::to_string(given) + " channels");
  }
  return plain ? *shape.channels : static_cast<int>(given);
}

// The samples as one dense block, where they lie or copied.
Strided Dense(Strided samples) {
  if (samples.IsDense()) return samples;
  const auto block = NewBlock(samples.Bytes());
  {
    const py::gil_scoped_release others;
    Gather(samples, block.get(), samples.RowBytes());
  }
  samples.data = block.get();
  samples.keep = block;
  return samples;
}

void AddInterleaved(const Strided& samples, const SoundShape& shape, host::FrameBuilder* frame) {
  const int bits = BitsOf(samples, 2, shape);
  CheckBits(bits, samples, shape);
  const int channels = ChannelsOf(samples, shape);
  const Strided block = Dense(samples);
  const std::size_t sampleBytes = bits == 16 ? 2 : bits == 20 || bits == 24 ? 3 : 4;
  const std::size_t whole = static_cast<std::size_t>(channels) * sampleBytes;
  if (channels < 1 || block.Bytes() % whole != 0) {
    throw py::value_error("the sound ends within a sample");
  }
  frame->Audio(channels, shape.rate, bits, block.data, block.Bytes(), block.keep, shape.trackMask);
}

// One channel of channels x samples.
Strided Channel(const Strided& all, std::ptrdiff_t index) {
  Strided one = all;
  one.data += index * all.strides[0];
  one.shape.erase(one.shape.begin());
  one.strides.erase(one.strides.begin());
  return one;
}

std::vector<Strided> ChannelsIn(const py::object& object) {
  std::vector<Strided> channels;
  if (PyObject_CheckBuffer(object.ptr()) == 0) {
    for (const py::handle channel : object) channels.push_back(HoldBuffer(channel));
    return channels;
  }
  const Strided all = HoldBuffer(object);
  if (all.Dimensions() < 2 || all.shape[0] > 32) {
    throw py::value_error("planar sound is channels x samples, or a sequence of channels");
  }
  for (std::ptrdiff_t i = 0; i < all.shape[0]; ++i) channels.push_back(Channel(all, i));
  return channels;
}

void AddPlanar(const py::object& object, const SoundShape& shape, host::FrameBuilder* frame) {
  std::vector<Strided> channels = ChannelsIn(object);
  if (channels.empty()) throw py::value_error("planar sound has a channel at least");
  std::vector<const void*> planes;
  const int bits = BitsOf(channels[0], 1, shape);
  CheckBits(bits, channels[0], shape);
  for (Strided& channel : channels) {
    if (channel.shape != channels[0].shape || channel.type != channels[0].type) {
      throw py::value_error("all channels of planar sound have one type and length");
    }
    channel = Dense(std::move(channel));
    planes.push_back(channel.data);
  }
  if (shape.channels && static_cast<std::size_t>(*shape.channels) != planes.size()) {
    throw py::value_error("there are " + std::to_string(planes.size()) + " channels");
  }
  if (channels[0].Dimensions() == 1 && IsBytes(channels[0])) {
    throw py::value_error("planar sound of bytes is channels x samples x 3");
  }
  const auto samples = static_cast<std::size_t>(channels[0].shape[0]);
  const py::gil_scoped_release others;
  frame->AudioPlanes(shape.rate, bits, planes, samples, shape.trackMask);
}

}  // namespace

void AddSound(const py::object& object, const SoundShape& shape, host::FrameBuilder* frame) {
  if (shape.planar) {
    AddPlanar(object, shape, frame);
  } else {
    AddInterleaved(HoldBuffer(object), shape, frame);
  }
}

}  // namespace xv::python
