// SPDX-License-Identifier: MIT
// The options of draw that look at the lines.
#pragma once

#include "draw_review.h"

#include <CLI/CLI.hpp>

namespace cli {

// What draw tells of the lines: --report, --strict, --limit, --quiet and --schema.
void AddReviewOptions(CLI::App& draw, ReviewOptions& options);

}  // namespace cli
