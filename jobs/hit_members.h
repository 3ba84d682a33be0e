// SPDX-License-Identifier: MIT
// The members of a hit test, as JSON.
#pragma once

#include "hit_job.h"
#include "members.h"

namespace jobs {

// Takes "element", "tolerance", "fill" and "points" into the job. Throws Error, for missing points too where
// they are needed.
void TakeHitMembers(Members& hit, bool needsPoints, HitJob& job);

}  // namespace jobs
