// The test of one line segment against the point.
#pragma once

#include "figure_box.h"
#include "hit_query.h"

#include <tovmx/path.h>

namespace tovkit {

// True when the segment is hit. `wanted` are the rays that are asked for; those that cross are taken out of
// `missing`. The full arithmetic, without a look at the box.
bool TestSegmentClosely(const HitQuery& query, const CorePathPoint& a, const CorePathPoint& b,
                        unsigned wanted, unsigned& missing);

// True when the box alone shows that the segment is not hit: the point is out of reach of the box in x or y.
// Beside the box that holds only for a point strictly between its other two sides, for a horizontal or
// vertical segment is hit at any distance along its own line; and not for a box so thin that the products in
// it may underflow.
inline bool SegmentIsTooFar(const HitQuery& query, const FigureBox& box, __m128 at, unsigned outside) {
  constexpr float kThin = 1e-28f;
  const __m128 reach = _mm_add_ps(box.Rounding(), query.segmentReach);
  const unsigned far = box.Widened(reach).Outside(at);
  const __m128 between = _mm_and_ps(_mm_cmplt_ps(box.low, at), _mm_cmplt_ps(at, box.high));
  const __m128 wide = _mm_cmpge_ps(_mm_sub_ps(box.high, box.low), _mm_set1_ps(kThin));
  const unsigned proper = LaneMask(_mm_and_ps(between, wide));
  const unsigned properOther = (proper >> 1) | ((proper << 1) & 2u);
  return (far & (outside == 3u ? 3u : properOther)) != 0u;
}

// True when the segment from `a` to `b` is hit. `missing` are the rays that the caller still waits for; those
// that cross the segment are taken out.
TOVKIT_HOT bool TestSegment(const HitQuery& query, const CorePathPoint& a, const CorePathPoint& b,
                            unsigned& missing) {
  FigureBox box(a);
  box.Add(b);
  const __m128 at = query.at;
  const unsigned below = box.Below(at);
  const unsigned beyond = box.Beyond(at);
  // From beside the box only the ray towards it may cross: right from the left of it (bit 0 of `below` rules
  // out kRayLeft, and so on). A negative tolerance, or NaN, rules out nothing.
  const unsigned ruledOut = query.diagonal >= 0.0f ? (below << 2) | beyond : kNoRay;
  const unsigned wanted = missing & ~ruledOut;
  if (wanted == kNoRay && SegmentIsTooFar(query, box, at, below | beyond)) return false;
  return TestSegmentClosely(query, a, b, wanted, missing);
}

}  // namespace tovkit
