#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Memory of Python objects, by the buffer protocol: read where it lies, gathered only where the
// library cannot read it so.
namespace xv::python {

// Strided memory. `strides` are bytes, negative ones too; `data` is element (0, 0, ...).
struct Strided {
  const std::uint8_t* data = nullptr;
  std::vector<std::ptrdiff_t> shape;
  std::vector<std::ptrdiff_t> strides;
  std::size_t itemBytes = 1;
  char type = 'B';  // of the module struct, without the byte order
  std::shared_ptr<const void> keep;

  [[nodiscard]] std::size_t Dimensions() const { return shape.size(); }
  [[nodiscard]] std::size_t Bytes() const;
  // Whether the elements from dimension `first` on lie behind one another.
  [[nodiscard]] bool IsDense(std::size_t first = 0) const;
  // Bytes of one index of the first dimension, when it is dense.
  [[nodiscard]] std::size_t RowBytes() const;
};

// The buffer of an object, held by `keep`: the exporter is locked until the last copy of that has
// gone, on whichever thread, which then takes the interpreter's lock for a moment. Needs the lock.
// Throws TypeError for an object without a buffer, ValueError for big-endian numbers.
[[nodiscard]] Strided HoldBuffer(const pybind11::handle& object);

// Copies the elements, in their order, to `out`; `pitch` bytes lie between two indices of the first
// dimension. Any thread, without the interpreter's lock.
void Gather(const Strided& from, std::uint8_t* out, std::size_t pitch);

// Memory for `bytes`, not set to anything.
[[nodiscard]] std::shared_ptr<std::uint8_t> NewBlock(std::size_t bytes);

}  // namespace xv::python
