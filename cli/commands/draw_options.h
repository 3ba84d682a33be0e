// SPDX-License-Identifier: MIT
// Groups of draw's options that have files of their own.
#pragma once

#include "command.h"
#include "draw_review.h"

namespace cli {

// What draw tells of the lines: --report, --strict, --limit, --quiet and --schema.
void AddReviewOptions(CLI::App& draw, ReviewOptions& options);

}  // namespace cli
