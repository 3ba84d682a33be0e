// SPDX-License-Identifier: MIT
// The Euclidean distance from a point to what a path draws.
#pragma once

#include <tovmx/path.h>

namespace tovkit {

// In path units, in double precision; infinite for a path that draws nothing. Segments whose numbers are not
// finite do not count. Arcs are their curves (CoreArcToCubics).
double DistanceToPath(const CorePointF& point, const CorePath& path);

}  // namespace tovkit
