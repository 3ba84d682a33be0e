// SPDX-License-Identifier: MIT
// How a failure is told on standard error.
#pragma once

#include "jobs/error.h"

#include <exception>
#include <string>

namespace cli {

// Prints "tovkit: " and the text as one line on standard error, whatever it holds, so that a file name with a
// line break cannot forge a second message.
void PrintMessage(const std::string& text);

// Below it the line of a text with a caret beneath the place, as PrintFailure does.
void PrintMessage(const std::string& text, const jobs::Excerpt& excerpt);

// Prints "tovkit: " and what() as one line. Below it the line of a text in which a job met an error, with a
// caret beneath the place; on a terminal the caret is colored, unless NO_COLOR is set. A FindingsError is
// printed error by error. Precondition: `failure` holds a std::exception.
void PrintFailure(const std::exception_ptr& failure);

}  // namespace cli
