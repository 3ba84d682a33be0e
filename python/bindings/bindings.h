// SPDX-License-Identifier: MIT
// The parts of the module; each is a file.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

void BindBase64(pybind11::module_& module);
void BindBatch(pybind11::module_& module);
void BindDrawing(pybind11::module_& module);
void BindHits(pybind11::module_& module);
void BindImage(pybind11::module_& module);
void BindLists(pybind11::module_& module);
void BindPath(pybind11::module_& module);

}  // namespace python
