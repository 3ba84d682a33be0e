// SPDX-License-Identifier: MIT
// The test of one quadratic or cubic Bezier curve against the point.
#pragma once

#include "bounding_box.h"
#include "hit_query.h"

#include <tovmx/path.h>

namespace tovkit {

// The candidates by where the curve's control points are, first pair and second pair, x and y of each: bits 0
// to 3 are set for those greater than the point and out of its reach, bits 4 to 7 for those less.
struct CurveCandidates {
  unsigned char value[256] = {};
};

constexpr CurveCandidates MakeCurveCandidates() {
  CurveCandidates candidates;
  for (unsigned places = 0; places < 256; ++places) {
    const unsigned both = places & (places >> 2);
    candidates.value[places] =
        static_cast<unsigned char>(kCandidatesBySide[(both & 3u) | ((both >> 2) & 12u)]);
  }
  return candidates;
}

inline constexpr CurveCandidates kCurveCandidates = MakeCurveCandidates();

// The test by the curve's samples. `candidates` is one ray, or kHitCandidate and any number of rays. Returns
// true when the curve is hit; takes the rays that cross it out of `missing`.
//
// Compatibility: a point outside the box in both x and y is no hit and crosses nothing, whatever the
// tolerance is.
[[nodiscard]] bool HitTestCurveInFull(const HitQuery& query, const CorePathPoint* points, int degree,
                                      unsigned candidates, unsigned& missing);

// Returns true when the curve with its kDegree + 1 control points (3 or 4) is hit, or, with rays, when none
// is missing any more. `missing` are the rays without a crossing so far; those that cross the curve are taken
// out.
template <int kDegree, bool kWithRays>
TOVKIT_HOT bool HitTestCurve(const HitQuery& query, const CorePathPoint* points, unsigned& missing) {
  const __m128 first = LoadPairs(points[0], points[1]);
  const __m128 second = LoadPairs(points[2], points[kDegree]);
  __m128 low = _mm_min_ps(first, second);
  __m128 high = _mm_max_ps(first, second);
  if constexpr (kWithRays) {
    // Samples that are not finite are never hit, but they may be on either side of the point: NaN compares as
    // neither greater nor less.
    const __m128 sum = _mm_add_ps(first, second);
    const __m128 nanUnlessFinite = _mm_sub_ps(sum, sum);
    low = _mm_add_ps(low, nanUnlessFinite);
    high = _mm_add_ps(high, nanUnlessFinite);
  }
  const unsigned after = LaneMask(_mm_cmpgt_ps(low, query.curveAfter));
  const unsigned before = LaneMask(_mm_cmplt_ps(high, query.curveBefore));
  const unsigned candidates = kCurveCandidates.value[after | (before << 4)] & (missing | kHitCandidate);
  if (candidates == 0u) return false;
  return HitTestCurveInFull(query, points, kDegree, candidates, missing) || (kWithRays && missing == kNoRay);
}

}  // namespace tovkit
