// SPDX-License-Identifier: MIT
// Finds the program that a person named, and says in words why it cannot be run.
#pragma once

#include <string>

namespace cli {

// The exit statuses of shells for programs that cannot be run.
constexpr int kCannotExecute = 126;
constexpr int kNotFound = 127;

// The file to execute for `name`: a name without '/' is searched in PATH, any other is taken as it is, from
// `directory` when it is relative and `directory` is not empty. Throws CommandError with the status kNotFound
// when there is no such file, and kCannotExecute when it may not be executed, or is neither a binary nor a
// script whose interpreter exists.
[[nodiscard]] std::string FindProgram(const std::string& name, const std::string& directory);

}  // namespace cli
