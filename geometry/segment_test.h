// The test of one line segment against the point.
#pragma once

#include "hit_query.h"

#include <tovmx/path.h>

namespace tovkit {

// True when the segment from `a` to `b` is hit. `missing` are the rays that the caller still waits for; those
// that cross the segment are taken out.
bool TestSegment(const HitQuery& query, const CorePathPoint& a, const CorePathPoint& b, unsigned& missing);

}  // namespace tovkit
