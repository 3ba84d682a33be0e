// SPDX-License-Identifier: MIT
// How a failure is told on standard error.
#pragma once

#include "jobs/error.h"

#include <exception>
#include <string>

namespace cli {

// Prints "tovkit: " and a local text as one line on standard error, whatever it holds, so that a file name
// with a line break cannot forge a second message.
void PrintMessage(const std::string& text);

// The same of an error, whose place is local text and whose text is UTF-8, with `more` behind it, which is
// local.
void PrintMessage(const jobs::Error& error, const std::string& more = "");

// Prints a local text, and below it the line of a text with a caret beneath the place, as PrintFailure does.
void PrintMessage(const std::string& text, const jobs::Excerpt& excerpt);

// Prints "tovkit: " and what() as one line. Below it the line of a text in which a job met an error, with a
// caret beneath the place; on a terminal the caret is colored, unless NO_COLOR is set. A FindingsError is
// printed error by error. Precondition: `failure` holds a std::exception.
void PrintFailure(const std::exception_ptr& failure);

}  // namespace cli
