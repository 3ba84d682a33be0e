// SPDX-License-Identifier: MIT
// Drawing lines of text: draw, draw_pdf, draw_svg and describe.
#pragma once

#include <pybind11/pybind11.h>

namespace python {

// What errors call the parameter, and the text that was made of objects. No text that was given has the
// latter.
inline constexpr char kArgumentName[] = "lines";
inline constexpr char kObjectsName[] = "lines (objects)";

}  // namespace python
