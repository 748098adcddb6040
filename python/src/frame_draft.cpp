#include "frame_draft.h"

namespace xv::python {
namespace py = pybind11;
namespace {

HRESULT Attach(const host::Ptr<IXvFrame>& frame, const std::string& name, const Strided& bytes) {
  if (name.size() != 4) {
    return host::AddExtra(frame, name, bytes.data, bytes.Bytes(), bytes.keep);
  }
  const char key[5] = {name[0], name[1], name[2], name[3], 0};
  return host::AddExtra(frame, FourCC(key), bytes.data, bytes.Bytes(), bytes.keep);
}

void PutPicture(const Picture& picture, double rate, host::FrameBuilder* builder) {
  builder->Video(picture.layout, picture.width, picture.height, rate, picture.data, picture.bytes,
                 picture.keep, picture.rowBytes);
}

}  // namespace

FrameDraft& FrameDraft::Video(const py::object& object, const std::string& layout,
                              const std::optional<Size>& size, double rate, bool topDown) {
  PutPicture(MakePicture(object, layout, size, topDown), rate, &builder_);
  return *this;
}

FrameDraft& FrameDraft::Audio(const py::object& object, int rate, bool planar,
                              std::optional<int> bits, std::optional<int> channels,
                              std::uint32_t trackMask) {
  AddSound(object, {rate, planar, bits, channels, trackMask}, &builder_);
  return *this;
}

FrameDraft& FrameDraft::Time(std::int64_t start, std::int64_t stop, std::uint32_t flags) {
  builder_.Time(host::Ticks(start), host::Ticks(stop), flags);
  return *this;
}

FrameDraft& FrameDraft::Timecode(unsigned hour, unsigned minute, unsigned second, unsigned frame,
                                 bool drop) {
  builder_.Timecode(hour, minute, second, frame, drop);
  return *this;
}

FrameDraft& FrameDraft::Interlace(std::uint32_t order) {
  builder_.Interlace(static_cast<eXvInterlace>(order));
  return *this;
}

FrameDraft& FrameDraft::Aspect(int x, int y) {
  builder_.Aspect(x, y);
  return *this;
}

FrameDraft& FrameDraft::Attributes(const std::string& text) {
  builder_.Attributes(text);
  return *this;
}

FrameDraft& FrameDraft::Extra(const std::string& name, const py::object& object) {
  Strided bytes = HoldBuffer(object);
  if (!bytes.IsDense()) throw py::value_error("the side data " + name + " is not in one piece");
  extras_.push_back({name, std::move(bytes)});
  return *this;
}

FrameDraft& FrameDraft::Mask(const py::object& object) {
  mask_ = MakePicture(object, "RGB8", std::nullopt, true);
  return *this;
}

host::Ptr<IXvFrame> FrameDraft::Build(HRESULT* result) {
  host::Ptr<IXvFrame> frame = std::move(builder_).Build(result);
  for (const SideData& extra : extras_) {
    if (Succeeded(*result)) *result = Attach(frame, extra.name, extra.bytes);
  }
  if (mask_ && Succeeded(*result)) {
    host::FrameBuilder builder;
    PutPicture(*mask_, 0, &builder);
    const auto mask = std::move(builder).Build(result);
    if (Succeeded(*result)) *result = host::AddMask(frame, mask);
  }
  extras_.clear();
  mask_.reset();
  return frame;
}

}  // namespace xv::python
