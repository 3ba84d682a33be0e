// SPDX-License-Identifier: MIT
// How a failure is told on standard error.
#pragma once

#include <exception>

namespace cli {

// Prints "tovkit: " and what() as one line. Below it the line of a text in which a job met an error, with a
// caret beneath the place; on a terminal the caret is colored, unless NO_COLOR is set. Precondition:
// `failure` holds a std::exception.
void PrintFailure(const std::exception_ptr& failure);

}  // namespace cli
