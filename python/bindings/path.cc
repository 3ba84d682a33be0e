// SPDX-License-Identifier: MIT
// The operations of a path return the path, so that they can be written one after the other.
#include "path.h"

#include "bindings.h"

#include "jobs/path_bounds.h"
#include "jobs/path_reader.h"
#include "jobs/svg_path.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace python {

namespace {

using Object = py::object;

constexpr double kPi = 3.14159265358979323846;

float Coordinate(const Object& value, const char* name) { return NumberOf(value, name); }

// Path.__new__ alone makes an object without a path, and pybind11 would hand over memory that holds anything.
Path& Of(const Object& self) {
  if (!py::isinstance<Path>(self)) RefuseType("self", "a Path", self);
  auto* const instance = reinterpret_cast<py::detail::instance*>(self.ptr());
  if (!instance->get_value_and_holder().holder_constructed()) {
    throw py::type_error("path: it was made without Path.__init__");
  }
  return py::cast<Path&>(self);
}

// Whether an operation that draws has a point to start from.
Path& Started(const Object& self) {
  Path& path = Of(self);
  if (path.records.GetPointCounter() < 0) RefuseValue("path", "it is empty: move_to comes first");
  return path;
}

Object MoveTo(const Object& self, const Object& x, const Object& y) {
  Of(self).records.MoveTo(Coordinate(x, "x"), Coordinate(y, "y"));
  return self;
}

Object LineTo(const Object& self, const Object& x, const Object& y) {
  Started(self).records.LineTo(Coordinate(x, "x"), Coordinate(y, "y"));
  return self;
}

Object QuadTo(const Object& self, const Object& cx, const Object& cy, const Object& x, const Object& y) {
  Started(self).records.QuadTo(Coordinate(cx, "cx"), Coordinate(cy, "cy"), Coordinate(x, "x"),
                               Coordinate(y, "y"));
  return self;
}

Object CubicTo(const Object& self, const Object& ax, const Object& ay, const Object& bx, const Object& by,
               const Object& x, const Object& y) {
  Started(self).records.CubicTo(Coordinate(ax, "c1x"), Coordinate(ay, "c1y"), Coordinate(bx, "c2x"),
                                Coordinate(by, "c2y"), Coordinate(x, "x"), Coordinate(y, "y"));
  return self;
}

Object ArcTo(const Object& self, const Object& rx, const Object& ry, const Object& rotation, bool large,
             bool sweep, const Object& x, const Object& y) {
  const double radians = static_cast<double>(Coordinate(rotation, "rotation")) * kPi / 180;
  Started(self).records.ArcTo(Coordinate(rx, "rx"), Coordinate(ry, "ry"), static_cast<float>(radians),
                              large ? 1.0F : 0.0F, sweep ? 1.0F : 0.0F, Coordinate(x, "x"),
                              Coordinate(y, "y"));
  return self;
}

Object Close(const Object& self) {
  Started(self).records.Close();
  return self;
}

Path FromText(const Object& text) {
  const std::string_view view = TextOf(text, "text");
  return {jobs::ParseSvgPath(view)};
}

// An SVG file or path text; what the job would warn of is an error of nothing here.
Path ReadFile(const Object& file, const Object& id) {
  const std::string path = PathOf(file, "file");
  const std::string element(TextOf(id, "id"));
  const py::gil_scoped_release released;
  jobs::Observer indifferent;
  return {jobs::ReadPath(jobs::Input::File(path), element, indifferent)};
}

py::str Represent(const Object& self) {
  return py::str("<tovkit.Path of {} records>").format(Of(self).records.GetPointCounter() + 1);
}

}  // namespace

CorePath PathFrom(const Object& path) {
  if (py::isinstance<Path>(path)) return Of(path).records;
  if (PyUnicode_Check(path.ptr())) return jobs::ParseSvgPath(TextOf(path, "path"));
  RefuseType("path", "a Path or the text of an SVG path", path);
}

void BindPath(py::module_& module) {
  py::class_<Path> path(module, "Path", R"(Path(text='')
--

A vector path: lines, Bezier curves and elliptical arcs.

``text`` is SVG path data ("M 0 0 L 10 0 Z"), the whole grammar of SVG 1.1. The operations add to it and
return the path itself. Coordinates are kept as 32-bit floats.

Raises InputError (a ValueError) with line and column for text that is no path, TypeError.

>>> import tovkit
>>> tovkit.Path("M 0 0 L 10 0 L 10 10 Z")
<tovkit.Path of 3 records>
>>> tovkit.Path().move_to(0, 0).line_to(10, 0).line_to(10, 10).close()
<tovkit.Path of 3 records>
)");
  path.def(py::init(&FromText), py::arg("text") = "",
           "__init__(self, text='')\n--\n\nA path of SVG path data, empty without any.");
  path.def_static("read", &ReadFile, py::arg("file"), py::arg("id") = "", R"(read(file, id='')
--

Reads a file of at most 16 MiB: SVG path data, or an SVG document, of which the ``<path>`` with that id is
taken, the first one without an id. Its own coordinates count: a transform is not applied.

Raises FileError (an OSError), InputError (a ValueError) with the place of what is wrong, LimitError, TypeError.

>>> import pathlib, tempfile, tovkit
>>> with tempfile.TemporaryDirectory() as folder:
...     file = pathlib.Path(folder, "tick.svg")
...     _ = file.write_text("<svg><path id='tick' d='M 0 4 L 4 8 L 10 0'/></svg>")
...     tovkit.Path.read(file, "tick")
<tovkit.Path of 3 records>
)");
  path.def("move_to", &MoveTo, py::arg("x"), py::arg("y"), R"(move_to(self, x, y)
--

Starts a subpath at (x, y). Returns the path. Raises ValueError for what no float holds, TypeError.

>>> import tovkit
>>> tovkit.Path().move_to(1, 2)
<tovkit.Path of 1 records>
)");
  path.def("line_to", &LineTo, py::arg("x"), py::arg("y"), R"(line_to(self, x, y)
--

Adds a line to (x, y). Returns the path. Raises ValueError for an empty path, TypeError.

>>> import tovkit
>>> tovkit.Path("M 0 0").line_to(3, 4)
<tovkit.Path of 2 records>
)");
  path.def("quad_to", &QuadTo, py::arg("cx"), py::arg("cy"), py::arg("x"), py::arg("y"),
           R"(quad_to(self, cx, cy, x, y)
--

Adds a quadratic Bezier curve to (x, y) with one control point. Returns the path. Raises ValueError for an
empty path, TypeError.

>>> import tovkit
>>> tovkit.Path("M 0 0").quad_to(5, 10, 10, 0)
<tovkit.Path of 3 records>
)");
  path.def("cubic_to", &CubicTo, py::arg("c1x"), py::arg("c1y"), py::arg("c2x"), py::arg("c2y"), py::arg("x"),
           py::arg("y"), R"(cubic_to(self, c1x, c1y, c2x, c2y, x, y)
--

Adds a cubic Bezier curve to (x, y) with two control points. Returns the path. Raises ValueError for an
empty path, TypeError.

>>> import tovkit
>>> tovkit.Path("M 0 0").cubic_to(0, 10, 10, 10, 10, 0)
<tovkit.Path of 4 records>
)");
  path.def("arc_to", &ArcTo, py::arg("rx"), py::arg("ry"), py::arg("rotation"), py::arg("large"),
           py::arg("sweep"), py::arg("x"), py::arg("y"),
           R"(arc_to(self, rx, ry, rotation, large, sweep, x, y)
--

Adds an elliptical arc to (x, y) as SVG's A does: radii, rotation in degrees, and which of the four arcs.
Returns the path. Raises ValueError for an empty path, TypeError.

>>> import tovkit
>>> tovkit.Path("M 0 0").arc_to(5, 5, 0, False, True, 10, 0)
<tovkit.Path of 5 records>
)");
  path.def("close", &Close, R"(close(self)
--

Closes the subpath with a line to its start. Returns the path. Raises ValueError for an empty path.

>>> import tovkit
>>> tovkit.Path("M 0 0 L 10 0 L 10 10").close()
<tovkit.Path of 3 records>
)");
  path.def(
      "copy", [](const Object& self) { return Path(Of(self)); }, R"(copy(self)
--

Returns a path of its own with the same records.

>>> import tovkit
>>> start = tovkit.Path("M 0 0")
>>> _ = start.copy().line_to(1, 1)
>>> start
<tovkit.Path of 1 records>
)");
  path.def(
      "__copy__", [](const Object& self) { return Path(Of(self)); }, "__copy__(self)\n--\n\nAs ``copy``.");
  path.def(
      "__deepcopy__", [](const Object& self, const Object&) { return Path(Of(self)); }, py::arg("memo"),
      "__deepcopy__(self, memo)\n--\n\nAs ``copy``.");
  path.def("__repr__", &Represent, "__repr__(self)\n--\n\nHow many records it has.");
}

}  // namespace python
