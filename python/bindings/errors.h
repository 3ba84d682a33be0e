// SPDX-License-Identifier: MIT
// Errors of jobs/ as the exceptions of the package.
#pragma once

#include "jobs/error.h"

#include <pybind11/pybind11.h>

namespace python {

// A picture that cannot be decoded, in place of the jobs::Error behind it.
struct DecodeFailure {
  jobs::Error error;
};

// Makes jobs::Error, DecodeFailure and jobs::SvgPathError the exceptions of tovkit._errors from now on.
void TranslateErrors();

// The exception for an error, as an object.
pybind11::object ExceptionOf(const jobs::Error& error, const char* wrongInput = "InputError");

}  // namespace python
