// SPDX-License-Identifier: MIT
// Conversions by Python's own protocols: what Python takes for a number, a path or bytes is one here.
#include "arguments.h"

#include "jobs/error.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>

namespace python {

namespace {

[[noreturn]] void RefuseRange(const char* name, double least, double most, py::handle given) {
  char text[120];
  std::snprintf(text, sizeof text, "a number from %.9g to %.9g is expected, not ", least, most);
  RefuseValue(name, text + std::string(py::str(given)));
}

py::object IndexOf(py::handle value, const char* name) {
  if (PyBool_Check(value.ptr()) || !PyIndex_Check(value.ptr())) RefuseType(name, "an int", value);
  auto index = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
  if (!index) throw py::error_already_set();
  return index;
}

}  // namespace

void RefuseType(const char* name, const char* wanted, py::handle given) {
  throw py::type_error(std::string(name) + " must be " + wanted + ", not " + Py_TYPE(given.ptr())->tp_name);
}

void RefuseValue(const char* name, const std::string& text) {
  const py::object type = py::module_::import("tovkit._errors").attr("InputError");
  PyErr_SetObject(type.ptr(), StrOf(name + (": " + text)).ptr());
  throw py::error_already_set();
}

std::string_view TextOf(py::handle value, const char* name) {
  if (!PyUnicode_Check(value.ptr())) RefuseType(name, "a str", value);
  Py_ssize_t size = 0;
  const char* const text = PyUnicode_AsUTF8AndSize(value.ptr(), &size);
  if (text == nullptr) {
    if (PyErr_ExceptionMatches(PyExc_UnicodeEncodeError) == 0) throw py::error_already_set();
    PyErr_Clear();
    RefuseValue(name, "a surrogate that stands alone is no character");
  }
  const std::string_view view(text, static_cast<std::size_t>(size));
  if (view.find('\0') != std::string_view::npos) RefuseValue(name, "a NUL is in the text");
  return view;
}

int WholeOf(py::handle value, const char* name, int least, int most) {
  const py::object index = IndexOf(value, name);
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
  if (overflow != 0 || number < least || number > most) RefuseRange(name, least, most, value);
  return static_cast<int>(number);
}

int WholeOrNone(py::handle value, const char* name, int least, int most) {
  return value.is_none() ? 0 : WholeOf(value, name, least, most);
}

float NumberOf(py::handle value, const char* name) { return NumberOf(value, name, -FLT_MAX, FLT_MAX); }

float NumberOf(py::handle value, const char* name, float least, float most) {
  const double number = PyFloat_AsDouble(value.ptr());
  if (number == -1 && PyErr_Occurred() != nullptr) {
    const bool large = PyErr_ExceptionMatches(PyExc_OverflowError) != 0;
    const bool wrong = PyErr_ExceptionMatches(PyExc_TypeError) != 0;
    if (!large && !wrong) throw py::error_already_set();
    PyErr_Clear();
    if (wrong) RefuseType(name, "a number", value);
    RefuseRange(name, double{least}, double{most}, value);
  }
  // NaN is in no range.
  if (!(number >= double{least} && number <= double{most})) {
    RefuseRange(name, double{least}, double{most}, value);
  }
  return static_cast<float>(number);
}

bool IsPath(py::handle value) { return PyUnicode_Check(value.ptr()) || py::hasattr(value, "__fspath__"); }

std::string PathOf(py::handle value, const char* name) {
  PyObject* bytes = nullptr;
  if (PyUnicode_FSConverter(value.ptr(), &bytes) == 0) {
    if (PyErr_ExceptionMatches(PyExc_TypeError) != 0) {
      PyErr_Clear();
      RefuseType(name, "a path", value);
    }
    if (PyErr_ExceptionMatches(PyExc_ValueError) == 0) throw py::error_already_set();
    PyErr_Clear();
    RefuseValue(name, "no path: it holds a NUL or a character that file names cannot have");
  }
  return py::reinterpret_steal<py::bytes>(bytes);
}

CoreRect RectangleOf(py::handle value, const char* name) {
  if (!PySequence_Check(value.ptr()) || PyUnicode_Check(value.ptr())) {
    RefuseType(name, "(left, top, right, bottom)", value);
  }
  const auto edges = py::reinterpret_borrow<py::sequence>(value);
  if (edges.size() != 4) RefuseValue(name, "left, top, right and bottom are expected");
  const auto edge = [&](std::size_t i) { return WholeOf(py::object(edges[i]), name, INT_MIN, INT_MAX); };
  return {edge(0), edge(1), edge(2), edge(3)};
}

std::vector<std::string> PathsOf(py::handle value, const char* name) {
  if (IsPath(value) || PyBytes_Check(value.ptr())) return {PathOf(value, name)};
  const auto iterator = py::reinterpret_steal<py::object>(PyObject_GetIter(value.ptr()));
  if (!iterator) {
    PyErr_Clear();
    RefuseType(name, "paths", value);
  }
  std::vector<std::string> paths;
  for (const py::handle path : py::reinterpret_borrow<py::iterator>(iterator)) {
    paths.push_back(PathOf(path, name));
  }
  return paths;
}

Buffer::Buffer(py::handle value, const char* name, const char* wanted) {
  if (PyObject_CheckBuffer(value.ptr()) == 0) RefuseType(name, wanted, value);
  if (PyObject_GetBuffer(value.ptr(), &view_, PyBUF_FULL_RO) != 0) throw py::error_already_set();
}

Bytes::Bytes(py::handle value, const char* name) : buffer_(value, name, "a bytes-like object") {
  Py_buffer& view = buffer_.view();
  if (PyBuffer_IsContiguous(&view, 'C') != 0) {
    bytes_ = {static_cast<const char*>(view.buf), static_cast<std::size_t>(view.len)};
    return;
  }
  // Strides of 0 make a large shape of a few bytes.
  if (view.len > INT_MAX) throw jobs::Error(jobs::ErrorKind::kLimit, name, "longer than 2 GiB");
  copy_.resize(static_cast<std::size_t>(view.len));
  if (PyBuffer_ToContiguous(copy_.data(), &view, view.len, 'C') != 0) throw py::error_already_set();
  bytes_ = copy_;
}

py::str StrOf(std::string_view bytes) {
  PyObject* const text =
      PyUnicode_DecodeFSDefaultAndSize(bytes.data(), static_cast<Py_ssize_t>(bytes.size()));
  if (text == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(text);
}

}  // namespace python
