// SPDX-License-Identifier: MIT
// The members of a job that say what its pages are like, for every kind that draws text.
#pragma once

#include "draw_job.h"
#include "members.h"

namespace jobs {

// Each takes its member into the job, if it is there: "size", "dpi", "background". True when it was there.
// Throws Error.
bool TakePageSize(Members& members, DrawJob& job);
bool TakeDpi(Members& members, DrawJob& job);
bool TakeBackground(Members& members, DrawJob& job);

}  // namespace jobs
