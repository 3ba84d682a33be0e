// SPDX-License-Identifier: MIT
// Path: a vector path as Python sees it, and the hit tests on it.
#pragma once

#include "arguments.h"

#include <tovmx/path.h>

namespace python {

struct Path {
  CorePath records;
};

// The path that an argument is, or that its SVG path text describes.
CorePath PathFrom(const py::object& path);

}  // namespace python
