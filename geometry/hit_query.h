// SPDX-License-Identifier: MIT
// What the tests of all segments share: the point asked about, the rays, and what a segment may do.
#pragma once

// For the tests of boxes, which are inlined into the walk: a call would cost as much as the test.
#define TOVKIT_HOT inline __attribute__((always_inline))

#include <emmintrin.h>

#include <cmath>

namespace tovkit {

// A set of rays from the point. Down is towards greater y.
enum Ray : unsigned { kNoRay = 0, kRayRight = 1, kRayDown = 2, kRayLeft = 4, kRayUp = 8, kEveryRay = 15 };

// What a segment may do to the answer: rays may cross it, and it may be hit.
inline constexpr unsigned kHitCandidate = 16;

// The candidates of a segment all of whose points are out of the point's reach on one side: bit 0 for greater
// x, bit 1 for greater y, bits 2 and 3 for less. Such a segment is no hit, and only the ray that way may
// cross it; beyond a corner, none.
inline constexpr unsigned kCandidatesBySide[16] = {
    kEveryRay | kHitCandidate, kRayRight, kRayDown, 0, kRayLeft, 0, 0, 0, kRayUp, 0, 0, 0, 0, 0, 0, 0};

// Segments are skipped by their box only where rounding cannot matter. The computed points of a segment leave
// its box by less than 2^-20 of its largest coordinate; kSlackFactor is four times that, and kSlackFloor
// keeps the squares of distances away from underflow.
inline constexpr float kSlackFactor = 0x1p-18f;
inline constexpr float kSlackFloor = 1e-15f;

// `at` has x in lane 0, y in lane 1 and 0 above; segmentReach fills all lanes; the curve's limits hold x, y,
// x, y.
//
// A curve whose control points are all greater than curveAfter is out of the point's reach, and so is one
// whose control points are all less than curveBefore. That holds for any curve: its computed points are sums
// of the control points with weights that are not negative and add up to 1, each rounded in proportion to
// itself. So they pass the least control point by no more than 2^-20 of it.
struct HitQuery {
  HitQuery(float pointX, float pointY, float pointTolerance)
      : x(pointX),
        y(pointY),
        tolerance(pointTolerance),
        diagonal(static_cast<float>(static_cast<double>(pointTolerance) * 1.4142135623730951)),
        curveReach(Widened(tolerance)),
        at(_mm_setr_ps(x, y, 0.0f, 0.0f)),
        curveBefore(_mm_setr_ps(x - Margin(x), y - Margin(y), x - Margin(x), y - Margin(y))),
        curveAfter(_mm_setr_ps(x + Margin(x), y + Margin(y), x + Margin(x), y + Margin(y))),
        segmentReach(_mm_set1_ps(Widened(diagonal))) {}

  float x;
  float y;
  float tolerance;
  float diagonal;    // the tolerance along an axis, for a segment at 45 degrees
  float curveReach;  // how far from a computed point of a curve a hit is thinkable
  __m128 at;         // the point
  __m128 curveBefore;
  __m128 curveAfter;
  __m128 segmentReach;  // how far from a segment's box, rounding aside, a hit is thinkable

 private:
  static float Widened(float distance) {
    return distance > 0.0f ? distance * (1.0f + kSlackFactor) + kSlackFloor : kSlackFloor;
  }
  float Margin(float coordinate) const {
    return curveReach + (std::fabs(coordinate) + curveReach) * kSlackFactor;
  }
};

}  // namespace tovkit
