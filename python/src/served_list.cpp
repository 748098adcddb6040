#include "served_list.h"

#include <pybind11/stl.h>

#include "writer_object.h"
#include "xvwriter/list.hpp"

namespace xv::python {
namespace py = pybind11;
namespace {

using host::ServedList;
using Unlocked = py::call_guard<py::gil_scoped_release>;

std::unique_ptr<ServedList> MakeList(const WriterObject& writer) {
  host::Writer& own = writer.Own();
  const py::gil_scoped_release others;
  return std::make_unique<ServedList>(own);
}

std::vector<host::ListOption> OptionsOf(const ServedList& list, const std::string& path) {
  return list.Declared(path);
}

std::vector<host::ListOption> CodecOptionsOf(const ServedList& list, const std::string& path,
                                             const std::string& kind) {
  const auto attributes = list.At(path);
  if (!attributes) return {};
  return host::CodecOptions(list, {path, *attributes}, kind);
}

}  // namespace

void BindServedList(py::module_& module) {
  py::class_<host::ListEntry>(module, "ListEntry")
      .def_readonly("path", &host::ListEntry::path)
      .def_readonly("attributes", &host::ListEntry::attributes);
  py::class_<host::ListOption>(module, "ListOption")
      .def_readonly("name", &host::ListOption::name)
      .def_readonly("type", &host::ListOption::type)
      .def_readonly("default", &host::ListOption::defaultValue)
      .def_readonly("values", &host::ListOption::values)
      .def_readonly("minimum", &host::ListOption::minimum)
      .def_readonly("maximum", &host::ListOption::maximum)
      .def_readonly("help", &host::ListOption::description);
  py::class_<ServedList>(module, "ServedList")
      .def(py::init(&MakeList), py::arg("writer"))
      .def("entries", &ServedList::Entries, py::arg("nodes"), Unlocked())
      .def("options", &OptionsOf, py::arg("path"), Unlocked())
      .def("codec_options", &CodecOptionsOf, py::arg("path"), py::arg("kind"), Unlocked());
  module.def(
      "is_preset", [](const std::string& name) { return host::IsPreset(name); }, py::arg("name"));
}

}  // namespace xv::python
