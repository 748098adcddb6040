#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "frame_draft.h"
#include "served_list.h"
#include "writer_object.h"

// The names of xvwriter._core. The package's Python part makes statuses exceptions and has the
// arguments that people write.
namespace {
namespace py = pybind11;
using xv::python::FrameDraft;
using xv::python::WriterObject;

py::dict StatusNames() {
  py::dict names;
#define XV_STATUS(name, value, sentence) names[py::int_(std::int64_t{value})] = #name;
#include "xvwriter/status_codes.def"
#undef XV_STATUS
  return names;
}

void BindFrameDraft(py::module_& module) {
  constexpr auto kChain = py::return_value_policy::reference_internal;
  py::class_<FrameDraft>(module, "FrameDraft")
      .def(py::init())
      .def("video", &FrameDraft::Video, py::arg("object"), py::arg("layout"), py::arg("size"),
           py::arg("rate"), py::arg("top_down"), kChain)
      .def("audio", &FrameDraft::Audio, py::arg("object"), py::arg("rate"), py::arg("planar"),
           py::arg("bits"), py::arg("channels"), py::arg("track_mask"), kChain)
      .def("time", &FrameDraft::Time, py::arg("start"), py::arg("stop"), py::arg("flags"), kChain)
      .def("timecode", &FrameDraft::Timecode, py::arg("hour"), py::arg("minute"), py::arg("second"),
           py::arg("frame"), py::arg("drop"), kChain)
      .def("interlace", &FrameDraft::Interlace, py::arg("order"), kChain)
      .def("aspect", &FrameDraft::Aspect, py::arg("x"), py::arg("y"), kChain)
      .def("attributes", &FrameDraft::Attributes, py::arg("text"), kChain)
      .def("extra", &FrameDraft::Extra, py::arg("name"), py::arg("object"), kChain)
      .def("mask", &FrameDraft::Mask, py::arg("object"), kChain);
}

void BindWriter(py::module_& module) {
  py::class_<WriterObject>(module, "Writer")
      .def(py::init())
      .def("start", &WriterObject::Start, py::arg("target"), py::arg("attributes"))
      .def("put", &WriterObject::Put, py::arg("draft"))
      .def("stop", &WriterObject::Stop)
      .def("stop_at_once", &WriterObject::StopAtOnce)
      .def("get", &WriterObject::Get, py::arg("name"))
      .def("set", &WriterObject::Set, py::arg("name"), py::arg("value"))
      .def("remove", &WriterObject::Remove, py::arg("name"))
      .def("merge", &WriterObject::Merge, py::arg("path"), py::arg("text"))
      .def("children", &WriterObject::Children, py::arg("node"))
      .def("statistics", &WriterObject::Statistics);
}

}  // namespace

PYBIND11_MODULE(_core, module) {
  module.doc() = "The library's own interface; use the package xvwriter.";
  BindFrameDraft(module);
  BindWriter(module);
  xv::python::BindServedList(module);
  module.def("layouts", &xv::python::LayoutNames);
  module.def("describe", &xv::host::Describe, py::arg("status"));
  module.def("attribute", &xv::host::Attribute, py::arg("name"), py::arg("value"));
  module.attr("status_names") = StatusNames();
  module.def("version_number", &XvVersionGet);
}
