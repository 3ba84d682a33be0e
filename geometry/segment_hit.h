// SPDX-License-Identifier: MIT
// The test of one line segment against the point.
#pragma once

#include "bounding_box.h"
#include "hit_query.h"

#include <tovmx/path.h>

namespace tovkit {

// The full arithmetic. Returns true when the segment is hit. `wanted` are the rays asked for; those that
// cross it are taken out of `missing`.
[[nodiscard]] bool HitTestSegmentInFull(const HitQuery& query, const CorePathPoint& a, const CorePathPoint& b,
                                        unsigned wanted, unsigned& missing);

// True when the box alone shows that the segment is not hit: the point is out of reach of the box in x or y.
//
// Two cases are left to the full arithmetic. A point level with a side of the box: a horizontal or vertical
// segment is hit at any distance along its own line. And a box so thin that the products in it may underflow.
inline bool SegmentIsTooFar(const HitQuery& query, const BoundingBox& box, __m128 at, unsigned outside) {
  constexpr float kThin = 1e-28f;
  const __m128 reach = _mm_add_ps(box.Rounding(), query.segmentReach);
  const unsigned far = box.Widened(reach).Outside(at);
  const __m128 between = _mm_and_ps(_mm_cmplt_ps(box.low, at), _mm_cmplt_ps(at, box.high));
  const __m128 wide = _mm_cmpge_ps(_mm_sub_ps(box.high, box.low), _mm_set1_ps(kThin));
  const unsigned proper = LaneMask(_mm_and_ps(between, wide));
  const unsigned properOther = (proper >> 1) | ((proper << 1) & 2u);
  return (far & (outside == 3u ? 3u : properOther)) != 0u;
}

// True when no ray of a point beyond the box in both x and y can cross the segment.
//
// The segment's line leaves the box's range of y where it leaves its range of x, so there is nothing to
// cross. Rounding could deny that for a line that is nearly level: its computed y is off by up to 2^-21 of
// the range and of the largest coordinate together. So the line has to rise by more than that over the
// distance from the box, and the products must not underflow.
inline bool NoRayCrossesFromCorner(const BoundingBox& box, __m128 at) {
  constexpr float kSlack = 0x1p-20f;
  constexpr float kLeastProduct = 1e-30f;
  const auto otherAxis = [](__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 2, 0, 1)); };
  const __m128 beyond = _mm_max_ps(_mm_sub_ps(at, box.high), _mm_sub_ps(box.low, at));
  const __m128 size = _mm_sub_ps(box.high, box.low);
  const __m128 largest = _mm_max_ps(_mm_sub_ps(_mm_setzero_ps(), box.low), box.high);
  const __m128 rise = _mm_mul_ps(beyond, otherAxis(size));
  const __m128 slack = _mm_mul_ps(_mm_mul_ps(_mm_set1_ps(kSlack), size), otherAxis(largest));
  const __m128 clear = _mm_cmpgt_ps(rise, _mm_max_ps(slack, _mm_set1_ps(kLeastProduct)));
  return LaneMask(clear) == 3u;
}

// True when the segment from `a` to `b` is hit. `missing` are the rays that the caller still waits for; those
// that cross the segment are taken out.
TOVKIT_HOT bool HitTestSegment(const HitQuery& query, const CorePathPoint& a, const CorePathPoint& b,
                               unsigned& missing) {
  BoundingBox box(a);
  box.Add(b);
  const __m128 at = query.at;
  const unsigned below = box.Below(at);
  const unsigned beyond = box.Beyond(at);
  // From beside the box only the ray towards it may cross: right from the left of it (bit 0 of `below` rules
  // out kRayLeft, and so on). A negative tolerance, or NaN, rules out nothing.
  const unsigned ruledOut = query.diagonal >= 0.0f ? (below << 2) | beyond : kNoRay;
  const unsigned wanted = missing & ~ruledOut;
  const unsigned outside = below | beyond;
  if ((wanted == kNoRay || (outside == 3u && NoRayCrossesFromCorner(box, at))) &&
      SegmentIsTooFar(query, box, at, outside))
    return false;
  return HitTestSegmentInFull(query, a, b, wanted, missing);
}

}  // namespace tovkit
