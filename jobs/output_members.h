// SPDX-License-Identifier: MIT
// The members of a job that say in which format its output is written, for every kind that has one.
#pragma once

#include "members.h"
#include "output_format.h"

#include <string>

namespace jobs {

struct WantedOutput {
  OutputFormat format;
  int effort = 0;  // 1 to 9, 0 for the format's default
};

// Takes "format", which the extension of `out` stands in for, and "effort". Throws Error for a format that
// cannot be written, and for an effort where there is no choice of it.
[[nodiscard]] WantedOutput TakeWantedOutput(Members& members, const std::string& out, OutputKind kind);

}  // namespace jobs
