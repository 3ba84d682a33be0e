// The two tests of a whole path: its outline, and its inside.
#include "curve_test.h"
#include "figure_walk.h"
#include "segment_test.h"

#include <tovkit/geometry.h>

namespace tovkit {

namespace {

// Ends the walk at the first figure that is hit.
struct OutlineTest {
  const HitQuery& query;
  unsigned missing = kNoRay;

  bool Segment(const CorePathPoint& a, const CorePathPoint& b) { return TestSegment(query, a, b, missing); }
  template <int kDegree>
  bool Curve(const CorePathPoint* points) {
    return TestCurve<kDegree, false>(query, points, missing);
  }
};

// Ends the walk at the first figure that is hit, or once all four rays have crossed the outline. A figure
// that is not hit can only add crossings, so there is nothing to wait for then.
struct InsideTest {
  const HitQuery& query;
  unsigned missing = kEveryRay;

  bool Segment(const CorePathPoint& a, const CorePathPoint& b) {
    return TestSegment(query, a, b, missing) || missing == kNoRay;
  }
  template <int kDegree>
  bool Curve(const CorePathPoint* points) {
    return TestCurve<kDegree, true>(query, points, missing);
  }
};

template <typename Test>
bool Passes(const CorePath& path, const HitQuery& query) {
  Test test = {query};
  return WalkFigures(path.GetPoints(), path.GetPointCounter() + 1, test);
}

}  // namespace

// The inside test asks every figure what the outline test would ask it. When it finds nothing, neither does
// the other.
bool HitTestPath(const CorePointF& point, float tolerance, const CorePath& path, float /*reserved*/,
                 bool testFill, CoreFillMode /*fillMode*/) {
  const HitQuery query(point.x, point.y, tolerance);
  return testFill ? Passes<InsideTest>(path, query) : Passes<OutlineTest>(path, query);
}

}  // namespace tovkit
