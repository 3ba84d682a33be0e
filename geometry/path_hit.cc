// SPDX-License-Identifier: MIT
// The two tests of a whole path: its outline, and its inside.
//
// A point is inside when rays to the right, down, left and up each cross the outline at least once; this is
// neither of the usual fill rules. Segments are tested in order and the first hit ends the walk. A segment
// that is not hit can only add crossings, so the inside test also ends once no ray is missing.
#include "hit_visitor.h"
#include "path_distance.h"
#include "prepared_path.h"

#include <tovkit/geometry.h>

#include <new>

namespace tovkit {

namespace {

template <bool kWithRays>
bool Passes(const CorePath& path, const HitQuery& query) {
  HitVisitor<kWithRays> visitor = {query};
  return CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, visitor);
}

// The record that the first hit segment of the outline begins with.
struct RecordVisitor {
  const HitQuery& query;
  const CorePathPoint* records;
  HitVisitor<false> outline = {query};
  int record = -1;

  bool Line(const CorePathPoint& a, const CorePathPoint& b) { return Take(outline.Line(a, b), &b); }
  bool Close(const CorePathPoint& a, const CorePathPoint& b) { return Take(outline.Close(a, b), &a); }
  bool Quad(const CorePathPoint* points) { return Take(outline.Quad(points), points + 1); }
  bool Cubic(const CorePathPoint* points) { return Take(outline.Cubic(points), points + 1); }
  bool Arc(const CorePathPoint* arc) { return Take(outline.Arc(arc), arc + 1); }

 private:
  bool Take(bool hit, const CorePathPoint* first) {
    if (hit) record = static_cast<int>(first - records);
    return hit;
  }
};

}  // namespace

// The inside test asks every segment what the outline test would ask it. When it finds nothing, neither does
// the other.
bool HitTestPath(const CorePointF& point, float tolerance, const CorePath& path, float /*reserved*/,
                 bool testFill, CoreFillMode /*fillMode*/) {
  const HitQuery query(point.x, point.y, tolerance);
  return testFill ? Passes<true>(path, query) : Passes<false>(path, query);
}

HitTestDetail HitTestPathDetail(const CorePointF& point, float tolerance, const CorePath& path,
                                bool testFill) {
  const HitQuery query(point.x, point.y, tolerance);
  const int count = path.GetPointCounter() + 1;
  HitTestDetail detail;
  detail.distance = DistanceToPath(point, path);
  RecordVisitor outline = {query, path.GetPoints()};
  detail.hit = CoreWalkPath(path.GetPoints(), count, outline);
  detail.record = outline.record;
  if (testFill && !detail.hit) {
    HitVisitor<true> inside = {query};
    detail.hit = CoreWalkPath(path.GetPoints(), count, inside);
    static_assert(+kRayRight == kHitTestRayRight && +kRayDown == kHitTestRayDown &&
                  +kRayLeft == kHitTestRayLeft && +kRayUp == kHitTestRayUp);
    detail.rays = kEveryRay & ~inside.missing;
  }
  return detail;
}

void HitTestPathPoints(const CorePointF* points, std::size_t count, float tolerance, const CorePath& path,
                       bool testFill, bool* hits) {
  if (PreparedPath::IsWorthwhile(path, count, tolerance)) {
    try {
      const PreparedPath prepared(path, tolerance, testFill, count);
      prepared.Test(points, count, hits);
      return;
    } catch (const std::bad_alloc&) {
      // The slow way needs no memory.
    }
  }
  for (std::size_t i = 0; i < count; ++i)
    hits[i] = HitTestPath(points[i], tolerance, path, 0, testFill, kCoreFillWinding);
}

}  // namespace tovkit
