// The two tests of a whole path: its outline, and its inside.
//
// A point is inside when rays to the right, down, left and up each cross the outline at least once; this is
// neither of the usual fill rules. Segments are tested in order and the first hit ends the walk. A segment
// that is not hit can only add crossings, so the inside test also ends once no ray is missing.
#include "arc_hit.h"
#include "curve_hit.h"
#include "segment_hit.h"

#include <tovkit/geometry.h>
#include <tovmx/path_walk.h>

namespace tovkit {

namespace {

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

template <bool kWithRays>
bool Passes(const CorePath& path, const HitQuery& query) {
  HitVisitor<kWithRays> visitor = {query};
  return CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, visitor);
}

}  // namespace

// The inside test asks every segment what the outline test would ask it. When it finds nothing, neither does
// the other.
bool HitTestPath(const CorePointF& point, float tolerance, const CorePath& path, float /*reserved*/,
                 bool testFill, CoreFillMode /*fillMode*/) {
  const HitQuery query(point.x, point.y, tolerance);
  return testFill ? Passes<true>(path, query) : Passes<false>(path, query);
}

}  // namespace tovkit
