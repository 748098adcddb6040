#pragma once

#include <pybind11/pybind11.h>

namespace xv::python {

// The class ServedList: a writer's list of formats and codecs by paths, as list.hpp reads it.
void BindServedList(pybind11::module_& module);

}  // namespace xv::python
