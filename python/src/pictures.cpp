#include "pictures.h"

#include <algorithm>
#include <cstdlib>

#include "xvwriter/frames.h"

namespace xv::python {
namespace py = pybind11;
namespace {

struct Layout {
  const char* name;
  std::uint32_t fourcc;
  std::int64_t pixelBytes;  // of the first plane; 0 for groups of pixels
  bool bottomUp;            // may have its lines upwards
  std::size_t planes;
};

constexpr Layout kLayouts[] = {
    {"UYVY", kFccUYVY, 2, false, 1},  {"HDYC", kFccHDYC, 2, false, 1},
    {"YUY2", kFccYUY2, 2, false, 1},  {"YVYU", kFccYVYU, 2, false, 1},
    {"v210", kFccV210, 0, false, 1},  {"NV12", kFccNV12, 1, false, 2},
    {"I420", kFccI420, 1, false, 3},  {"YV12", kFccYV12, 1, false, 3},
    {"RGB24", kFccRGB24, 3, true, 1}, {"BGR24", kFccRGB24, 3, true, 1},
    {"RGB32", kFccRGB32, 4, true, 1}, {"BGR0", kFccRGB32, 4, true, 1},
    {"BGRA", kFccARGB32, 4, true, 1}, {"ARGB32", kFccARGB32, 4, true, 1},
    {"r210", kFccR210, 4, true, 1},   {"RGB8", kFccRGB8, 1, false, 1},
};

const Layout& FindLayout(const std::string& name) {
  for (const Layout& layout : kLayouts) {
    if (name == layout.name) return layout;
  }
  std::string known;
  for (const std::string& one : LayoutNames()) known += (known.empty() ? "" : ", ") + one;
  throw py::value_error("the layout \"" + name + "\" is not known; there are " + known);
}

[[noreturn]] void Refuse(const Layout& layout, const std::string& why) {
  throw py::value_error("a picture in " + std::string(layout.name) + " " + why);
}

// What the pixels of a line take: less than the natural row bytes where those are rounded up.
std::size_t LineBytes(const Layout& layout, std::int64_t width) {
  const std::int64_t bytes =
      layout.pixelBytes == 0 ? (width + 5) / 6 * 16 : width * layout.pixelBytes;
  return static_cast<std::size_t>(bytes);
}

// Plain bytes become lines of one length.
Strided CutLines(Strided bytes, std::int64_t lines) {
  const auto total = static_cast<std::ptrdiff_t>(bytes.Bytes());
  if (lines < 1 || total % lines != 0 || !bytes.IsDense()) {
    throw py::value_error("plain bytes are no whole lines of that size");
  }
  bytes.itemBytes = 1;
  bytes.shape = {lines, total / lines};
  bytes.strides = {total / lines, 1};
  return bytes;
}

std::int64_t WidthOf(const Layout& layout, const Strided& lines, const std::optional<Size>& size) {
  if (size) return size->first;
  if (layout.pixelBytes == 0) Refuse(layout, "needs size=(width, height)");
  const auto bytes = static_cast<std::int64_t>(lines.RowBytes());
  if (bytes % layout.pixelBytes != 0) Refuse(layout, "has lines of whole pixels");
  return bytes / layout.pixelBytes;
}

void CheckLines(const Layout& layout, const Strided& lines, std::int64_t width,
                const std::optional<Size>& size) {
  if (lines.Dimensions() == 3 && lines.shape[2] * static_cast<std::int64_t>(lines.itemBytes) !=
                                     std::max<std::int64_t>(layout.pixelBytes, 1)) {
    Refuse(layout, "has " + std::to_string(layout.pixelBytes) + " bytes a pixel");
  }
  if (lines.Dimensions() > 3) Refuse(layout, "has two or three dimensions");
  if (width < 1 || width > INT32_MAX || (size && size->second != lines.shape[0]) ||
      lines.RowBytes() < LineBytes(layout, width)) {
    Refuse(layout, "does not fit the size that was given");
  }
}

bool CanBorrow(const Layout& layout, const Strided& lines, std::size_t natural, bool topDown) {
  const std::ptrdiff_t step = lines.strides[0];
  const auto distance = static_cast<std::size_t>(std::abs(step));
  if (!lines.IsDense(1) || distance < natural || distance > INT32_MAX) return false;
  if (step < 0 && (topDown || !layout.bottomUp)) return false;
  return layout.pixelBytes > 0 || distance == lines.RowBytes();  // groups are read to their end
}

Picture Borrow(const Layout& layout, const Strided& lines, std::int64_t width) {
  const std::ptrdiff_t step = lines.strides[0];
  const std::int64_t height = lines.shape[0];
  Picture picture{layout.fourcc, width, layout.bottomUp && step > 0 ? -height : height};
  picture.rowBytes = static_cast<std::size_t>(std::abs(step));
  picture.data = step < 0 ? lines.data + (height - 1) * step : lines.data;
  const std::size_t last = layout.pixelBytes == 0 ? picture.rowBytes : LineBytes(layout, width);
  picture.bytes = picture.rowBytes * static_cast<std::size_t>(height - 1) + last;
  picture.keep = lines.keep;
  return picture;
}

Picture CopyLines(const Layout& layout, const Strided& lines, std::int64_t width,
                  std::size_t natural) {
  const std::int64_t height = lines.shape[0];
  Picture picture{layout.fourcc, width, layout.bottomUp ? -height : height};
  picture.rowBytes = std::max(natural, lines.RowBytes());
  picture.bytes = picture.rowBytes * static_cast<std::size_t>(height);
  const auto block = NewBlock(picture.bytes);
  {
    const py::gil_scoped_release others;
    Gather(lines, block.get(), picture.rowBytes);
  }
  picture.data = block.get();
  picture.keep = block;
  return picture;
}

Picture MakePacked(const Layout& layout, Strided lines, const std::optional<Size>& size,
                   bool topDown) {
  if (lines.Dimensions() == 1) {
    if (!size) Refuse(layout, "of plain bytes needs size=(width, height)");
    lines = CutLines(std::move(lines), size->second);
  }
  const std::int64_t width = WidthOf(layout, lines, size);
  CheckLines(layout, lines, width, size);
  const auto natural =
      static_cast<std::size_t>(XvRowBytesGet(layout.fourcc, static_cast<std::int32_t>(width)));
  return CanBorrow(layout, lines, natural, topDown) ? Borrow(layout, lines, width)
                                                    : CopyLines(layout, lines, width, natural);
}

// The planes behind one another, where they lie or copied.
void JoinPlanes(const std::vector<Strided>& planes, Picture* picture) {
  bool adjacent = true;
  for (std::size_t i = 0; i < planes.size(); ++i) {
    adjacent = adjacent && planes[i].IsDense() && planes[i].data == planes[0].data + picture->bytes;
    picture->bytes += planes[i].Bytes();
  }
  if (adjacent) {
    picture->data = planes[0].data;
    auto keeps = std::make_shared<std::vector<std::shared_ptr<const void>>>();
    for (const Strided& plane : planes) keeps->push_back(plane.keep);
    picture->keep = std::move(keeps);
    return;
  }
  const auto block = NewBlock(picture->bytes);
  {
    const py::gil_scoped_release others;
    std::uint8_t* out = block.get();
    for (const Strided& plane : planes) {
      Gather(plane, out, plane.RowBytes());
      out += plane.Bytes();
    }
  }
  picture->data = block.get();
  picture->keep = block;
}

void CheckPlanes(const Layout& layout, const std::vector<Strided>& planes, const Size& size) {
  const auto [width, height] = size;
  if (width < 2 || height < 2 || width % 2 != 0 || height % 2 != 0) {
    Refuse(layout, "has an even width and height");
  }
  const std::int64_t chroma = width * height / (layout.planes == 2 ? 2 : 4);
  const std::int64_t whole = width * height * 3 / 2;
  for (std::size_t i = 0; i < planes.size(); ++i) {
    const std::int64_t expected = planes.size() == 1 ? whole : i == 0 ? width * height : chroma;
    const bool fits = static_cast<std::int64_t>(planes[i].Bytes()) == expected;
    if (!fits || (i > 0 && planes[i].shape[0] != height / 2)) {
      Refuse(layout,
             "has other planes at " + std::to_string(width) + " x " + std::to_string(height));
    }
  }
}

Size SizeOfPlanes(const Layout& layout, const std::vector<Strided>& planes) {
  const Strided& first = planes[0];
  if (first.Dimensions() < 2) Refuse(layout, "of plain bytes needs size=(width, height)");
  const std::int64_t height = planes.size() == 1 ? first.shape[0] / 3 * 2 : first.shape[0];
  return {static_cast<std::int64_t>(first.RowBytes()), height};
}

Picture MakePlanar(const Layout& layout, const py::object& object,
                   const std::optional<Size>& size) {
  std::vector<Strided> planes;
  if (PyObject_CheckBuffer(object.ptr()) != 0) {
    planes.push_back(HoldBuffer(object));
  } else {
    for (const py::handle plane : object) planes.push_back(HoldBuffer(plane));
    if (planes.size() != layout.planes) {
      Refuse(layout, "has " + std::to_string(layout.planes) + " planes");
    }
  }
  const Size shape = size ? *size : SizeOfPlanes(layout, planes);
  CheckPlanes(layout, planes, shape);
  Picture picture{layout.fourcc, shape.first, shape.second};
  JoinPlanes(planes, &picture);
  return picture;
}

}  // namespace

Picture MakePicture(const py::object& object, const std::string& layout,
                    const std::optional<Size>& size, bool topDown) {
  const Layout& known = FindLayout(layout);
  return known.planes > 1 ? MakePlanar(known, object, size)
                          : MakePacked(known, HoldBuffer(object), size, topDown);
}

std::vector<std::string> LayoutNames() {
  std::vector<std::string> names;
  for (const Layout& layout : kLayouts) names.emplace_back(layout.name);
  return names;
}

}  // namespace xv::python
