#include "buffers.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>
#include <string_view>

namespace xv::python {
namespace py = pybind11;
namespace {

bool IsFinalizing() {
#if PY_VERSION_HEX >= 0x030D0000
  return Py_IsFinalizing() != 0;
#else
  return _Py_IsFinalizing() != 0;
#endif
}

// A thread that asks for the lock of an interpreter that is going down never comes back, so what is
// still held then goes with the process.
void LetGo(Py_buffer* view) {
  if (IsFinalizing()) return;
  const py::gil_scoped_acquire lock;
  PyBuffer_Release(view);
  delete view;
}

char TypeOf(const Py_buffer& view) {
  std::string_view format = view.format == nullptr ? "B" : view.format;
  if (format.size() > 1 && std::string_view("@=<|").find(format[0]) != format.npos) {
    format.remove_prefix(1);
  }
  if (format.size() > 1 && (format[0] == '>' || format[0] == '!')) {
    throw py::value_error("the buffer has big-endian numbers; samples are little-endian");
  }
  return format.size() == 1 ? format[0] : '?';
}

void GatherFrom(const Strided& from, const std::uint8_t* data, std::size_t dimension,
                std::uint8_t* out) {
  const std::size_t count = from.Dimensions();
  if (dimension == count) {
    std::memcpy(out, data, from.itemBytes);
    return;
  }
  const std::size_t bytes = std::accumulate(from.shape.begin() + dimension + 1, from.shape.end(),
                                            from.itemBytes, std::multiplies<>());
  if (from.IsDense(dimension)) {
    std::memcpy(out, data, bytes * static_cast<std::size_t>(from.shape[dimension]));
    return;
  }
  for (std::ptrdiff_t i = 0; i < from.shape[dimension]; ++i, out += bytes) {
    GatherFrom(from, data + i * from.strides[dimension], dimension + 1, out);
  }
}

}  // namespace

std::size_t Strided::Bytes() const {
  return std::accumulate(shape.begin(), shape.end(), itemBytes, std::multiplies<>());
}

std::size_t Strided::RowBytes() const {
  return std::accumulate(shape.begin() + 1, shape.end(), itemBytes, std::multiplies<>());
}

bool Strided::IsDense(std::size_t first) const {
  auto expected = static_cast<std::ptrdiff_t>(itemBytes);
  for (std::size_t i = Dimensions(); i-- > first;) {
    if (shape[i] > 1 && strides[i] != expected) return false;
    expected *= shape[i];
  }
  return true;
}

Strided HoldBuffer(const py::handle& object) {
  auto view = std::make_unique<Py_buffer>();
  if (PyObject_GetBuffer(object.ptr(), view.get(), PyBUF_RECORDS_RO) != 0) {
    throw py::error_already_set();
  }
  const std::shared_ptr<Py_buffer> held(view.release(), LetGo);
  Strided out;
  out.type = TypeOf(*held);
  out.data = static_cast<const std::uint8_t*>(held->buf);
  out.shape.assign(held->shape, held->shape + held->ndim);
  out.strides.assign(held->strides, held->strides + held->ndim);
  out.itemBytes = static_cast<std::size_t>(held->itemsize);
  if (out.Bytes() == 0 || out.shape.empty()) throw py::value_error("the buffer is empty");
  out.keep = held;
  return out;
}

void Gather(const Strided& from, std::uint8_t* out, std::size_t pitch) {
  for (std::ptrdiff_t i = 0; i < from.shape[0]; ++i, out += pitch) {
    GatherFrom(from, from.data + i * from.strides[0], 1, out);
  }
}

std::shared_ptr<std::uint8_t> NewBlock(std::size_t bytes) {
  const auto block = std::make_shared_for_overwrite<std::uint8_t[]>(bytes);
  return {block, block.get()};
}

}  // namespace xv::python
