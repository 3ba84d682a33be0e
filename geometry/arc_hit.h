// SPDX-License-Identifier: MIT
// What an arc may do to the answer, told before it is converted to curves.
#pragma once

#include "hit_query.h"

#include <tovmx/path.h>

namespace tovkit {

// The candidates (curve_hit.h) of the arc whose five records begin at its start point, among the rays in
// `missing`: 0 when none of its curves is hit or crosses one of these. A box around all that the conversion
// can give decides; degenerate arcs, and numbers so large or small that rounding could leave the box, are
// never ruled out.
unsigned ArcCandidates(const HitQuery& query, const CorePathPoint* arc, unsigned missing);

}  // namespace tovkit
