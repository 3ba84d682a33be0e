// SPDX-License-Identifier: MIT
// The curves of an arc, when all of them fit floats.
#pragma once

#include <tovmx/path.h>

#include <algorithm>
#include <cmath>

namespace jobs {

// As CoreArcToCubics, but 0 for an arc that reaches beyond what a float holds. That can happen with ends and
// radii that fit: radii too small to join the ends grow.
inline int FiniteArcCurves(const CorePathPoint* arc, CorePathPoint* curves) {
  const int count = CoreArcToCubics(arc, curves);
  const auto isFinite = [](const CorePathPoint& p) { return std::isfinite(p.x) && std::isfinite(p.y); };
  return std::all_of(curves, curves + 1 + 3 * count, isFinite) ? count : 0;
}

}  // namespace jobs
