// SPDX-License-Identifier: MIT
// An error of the system is a FileError, one with a place in a JSON text a JsonError; the rest is told by its
// kind.
#include "errors.h"

#include "arguments.h"
#include "drawing.h"

#include "jobs/svg_path.h"

#include <exception>

namespace python {

namespace {

void Raise(const py::object& exception) {
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
}

py::object JsonErrorOf(const jobs::Error& error, const py::module_& errors) {
  const jobs::JsonPlace& place = *error.jsonPlace();
  // The text of objects was made on the way, so that lines and columns in it say nothing.
  if (error.place().compare(0, sizeof kObjectsName - 1, kObjectsName) == 0) {
    const std::string text = kArgumentName + place.pointer + ": " + error.text();
    return errors.attr("JsonError")(StrOf(text), 0, 0, StrOf(place.pointer));
  }
  return errors.attr("JsonError")(StrOf(error.what()), place.line, place.column, StrOf(place.pointer));
}

}  // namespace

py::object ExceptionOf(const jobs::Error& error, const char* wrongInput) {
  const auto errors = py::module_::import("tovkit._errors");
  if (error.jsonPlace()) return JsonErrorOf(error, errors);
  if (error.systemError() != 0) {
    return errors.attr("file_error")(error.systemError(), StrOf(error.text()), StrOf(error.place()));
  }
  const bool limited = error.kind() == jobs::ErrorKind::kLimit;
  return errors.attr(limited ? "LimitError" : wrongInput)(StrOf(error.what()));
}

void TranslateErrors() {
  py::register_exception_translator([](std::exception_ptr failure) {
    try {
      if (failure) std::rethrow_exception(std::move(failure));
    } catch (const DecodeFailure& e) {
      Raise(ExceptionOf(e.error, "DecodeError"));
    } catch (const jobs::Error& e) {
      Raise(ExceptionOf(e));
    } catch (const jobs::SvgPathError& e) {
      Raise(py::module_::import("tovkit._errors").attr("InputError")(e.what()));
    }
  });
}

}  // namespace python
