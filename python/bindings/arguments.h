// SPDX-License-Identifier: MIT
// What Python hands over, as C++ values. Each function throws a Python TypeError or ValueError that begins
// with the name of the parameter.
#pragma once

#include <pybind11/pybind11.h>

#include <tovmx/geometry.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace python {

namespace py = pybind11;

// "NAME must be WANTED, not TYPE" as a TypeError.
[[noreturn]] void RefuseType(const char* name, const char* wanted, py::handle given);
// "NAME: TEXT" as the InputError of the package.
[[noreturn]] void RefuseValue(const char* name, const std::string& text);

// The UTF-8 of a str, valid as long as that lives. A lone surrogate and a NUL are refused.
std::string_view TextOf(py::handle value, const char* name);

// A whole number; anything with __index__ but no bool.
int WholeOf(py::handle value, const char* name, int least, int most);
// 0 for None.
int WholeOrNone(py::handle value, const char* name, int least, int most);

// A number that a float holds.
float NumberOf(py::handle value, const char* name);
// The same between bounds, which are allowed.
float NumberOf(py::handle value, const char* name, float least, float most);

// The local bytes of a str, bytes or os.PathLike.
std::string PathOf(py::handle value, const char* name);
// Whether it is a str or an os.PathLike.
bool IsPath(py::handle value);

// Four whole numbers: left, top, right, bottom.
CoreRect RectangleOf(py::handle value, const char* name);

// The local paths of an iterable, or of the one path that it is.
std::vector<std::string> PathsOf(py::handle value, const char* name);

// The buffer of an object, with its shape and strides, held until this is destroyed.
class Buffer {
 public:
  // `wanted` as for RefuseType.
  Buffer(py::handle value, const char* name, const char* wanted);
  ~Buffer() { PyBuffer_Release(&view_); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  Py_buffer& view() { return view_; }

 private:
  Py_buffer view_{};
};

// The bytes of any object with a buffer, held until this is destroyed. What is not contiguous is copied, up
// to 2 GiB; beyond that a jobs::Error tells of the limit.
class Bytes {
 public:
  Bytes(py::handle value, const char* name);

  std::string_view view() const { return bytes_; }

 private:
  Buffer buffer_;
  std::string copy_;
  std::string_view bytes_;
};

// A str for bytes that are UTF-8 or a local path.
py::str StrOf(std::string_view bytes);

}  // namespace python
