// The test of one quadratic or cubic Bezier curve against the point.
#pragma once

#include "figure_box.h"
#include "hit_query.h"

#include <tovmx/path.h>

namespace tovkit {

// The two ways to look at a curve's samples. Both take the rays that cross out of `missing`.
//
// TestCurveClosely answers everything: true when the curve is hit.
// TestCurveBeside is for a point out of reach on one side of the curve: only `ray`, towards the curve, may
// cross.
bool TestCurveClosely(const HitQuery& query, const CorePathPoint* points, int degree, unsigned& missing);
void TestCurveBeside(const HitQuery& query, const CorePathPoint* points, int degree, unsigned ray,
                     unsigned& missing);

// The rays that may cross a curve, by the sides of its box that the point is beyond (kRayRight: the point is
// left of the box, and so on). Beside the box all samples are on one side of the point, so only the ray that
// way can cross; beyond a corner, none.
inline constexpr unsigned char kRaysBySide[16] = {15, 1, 2, 0, 4, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0};

// True when the curve of degree 2 or 3 with its kDegree + 1 control points is hit. `missing` are the rays
// that the caller still waits for, when kWithRays; those that cross the curve are taken out.
//
// A point outside the box in both x and y is no hit and crosses nothing, whatever the tolerance is: kept,
// callers rely on it.
template <int kDegree, bool kWithRays>
TOVKIT_HOT bool TestCurve(const HitQuery& query, const CorePathPoint* points, unsigned& missing) {
  FigureBox box(points[0]);
  __m128 sum = LoadPair(points[0]);
  for (int i = 1; i <= kDegree; ++i) {
    box.Add(points[i]);
    sum = _mm_add_ps(sum, LoadPair(points[i]));
  }
  const __m128 at = query.at;

  // Out of reach of the box the curve is no hit: samples that are not finite are never hit. For the rays a
  // NaN that the box passed over matters; it makes the margin NaN, and then the point is beside nothing.
  __m128 margin = _mm_add_ps(box.Rounding(), query.curveReach);
  if constexpr (kWithRays) margin = _mm_add_ps(margin, _mm_sub_ps(sum, sum));
  const FigureBox wide = box.Widened(margin);
  const unsigned side = wide.Below(at) | (wide.Beyond(at) << 2);
  const unsigned rays = kWithRays ? missing & kRaysBySide[side] : kNoRay;
  if (side != 0u && rays == kNoRay) return false;

  if (box.Outside(at) == 3u) return false;
  if (side == 0u) return TestCurveClosely(query, points, kDegree, missing);
  TestCurveBeside(query, points, kDegree, rays, missing);
  return false;
}

}  // namespace tovkit
