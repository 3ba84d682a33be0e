// SPDX-License-Identifier: MIT
// The curves of an arc that can be drawn.
#pragma once

#include <tovmx/path.h>

#include <algorithm>
#include <cmath>

namespace jobs {

// As CoreArcToCubics; 0 also for an arc that reaches beyond what a float holds, since the radii of one that
// is too small to join its ends grow.
inline int FiniteArcCurves(const CorePathPoint* arc, CorePathPoint* curves) {
  const int count = CoreArcToCubics(arc, curves);
  const auto isFinite = [](const CorePathPoint& p) { return std::isfinite(p.x) && std::isfinite(p.y); };
  return std::all_of(curves, curves + 1 + 3 * count, isFinite) ? count : 0;
}

}  // namespace jobs
