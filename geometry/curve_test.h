// The test of one quadratic or cubic Bezier curve against the point.
#pragma once

#include "hit_query.h"

#include <tovmx/path.h>

namespace tovkit {

// True when the curve of `degree` 2 or 3 with the degree + 1 control points is hit. `missing` are the rays
// that the caller still waits for; those that cross the curve are taken out.
bool TestCurve(const HitQuery& query, const CorePathPoint* points, int degree, unsigned& missing);

}  // namespace tovkit
