// SPDX-License-Identifier: MIT
// The test of a segment of any kind, as the walk over a path meets it.
#pragma once

#include "arc_hit.h"
#include "curve_hit.h"
#include "segment_hit.h"

#include <tovmx/path_walk.h>

namespace tovkit {

// Ends the walk at a hit and, with rays, once none is missing.
template <bool kWithRays>
struct HitVisitor {
  const HitQuery& query;
  unsigned missing = kWithRays ? kEveryRay : kNoRay;

  bool Line(const CorePathPoint& a, const CorePathPoint& b) {
    return HitTestSegment(query, a, b, missing) || (kWithRays && missing == kNoRay);
  }
  bool Close(const CorePathPoint& from, const CorePathPoint& start) { return Line(from, start); }
  bool Quad(const CorePathPoint* points) { return HitTestCurve<2, kWithRays>(query, points, missing); }
  bool Cubic(const CorePathPoint* points) { return HitTestCurve<3, kWithRays>(query, points, missing); }
  bool Arc(const CorePathPoint* arc) {
    if (ArcCandidates(query, arc, missing) == 0) return false;
    CorePathPoint curves[1 + 3 * kCoreMaxArcCurves];
    const int count = CoreArcToCubics(arc, curves);
    for (int k = 0; k < count; ++k) {
      if (Cubic(curves + 3 * k)) return true;
    }
    return false;
  }
};

}  // namespace tovkit
