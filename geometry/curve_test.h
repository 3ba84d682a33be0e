// The test of one quadratic or cubic Bezier curve against the point.
#pragma once

#include "figure_box.h"
#include "hit_query.h"

#include <tovmx/path.h>

namespace tovkit {

// What a curve may still do to the answer: let rays cross, and be hit.
inline constexpr unsigned kMayHit = 16;

// The same by where the curve's control points are, first pair and second pair, x and y of each: bits 0 to 3
// are set for those greater than the point and out of its reach, bits 4 to 7 for those less. With all on one
// side the curve is no hit and only the ray that way may cross it; beyond a corner, none.
struct CurveOutlook {
  unsigned char value[256] = {};
};

constexpr CurveOutlook MakeCurveOutlook() {
  constexpr unsigned kRaysBySide[16] = {
      kEveryRay | kMayHit, kRayRight, kRayDown, 0, kRayLeft, 0, 0, 0, kRayUp, 0, 0, 0, 0, 0, 0, 0};
  CurveOutlook outlook;
  for (unsigned places = 0; places < 256; ++places) {
    const unsigned both = places & (places >> 2);
    outlook.value[places] = static_cast<unsigned char>(kRaysBySide[(both & 3u) | ((both >> 2) & 12u)]);
  }
  return outlook;
}

inline constexpr CurveOutlook kCurveOutlook = MakeCurveOutlook();

// Looks at the curve's samples. `outlook` is what the caller knows it may do, and waits for: one ray, or
// kMayHit and any number. True when the curve is hit; the rays that cross it are taken out of `missing`.
//
// A point outside the box in both x and y is no hit and crosses nothing, whatever the tolerance is: kept,
// callers rely on it.
bool TestCurveClosely(const HitQuery& query, const CorePathPoint* points, int degree, unsigned outlook,
                      unsigned& missing);

// True when the curve of degree 2 or 3 with its kDegree + 1 control points is hit, or when the caller need
// not look further because no ray is missing. `missing` are the rays that the caller still waits for, when
// kWithRays; those that cross the curve are taken out.
template <int kDegree, bool kWithRays>
TOVKIT_HOT bool TestCurve(const HitQuery& query, const CorePathPoint* points, unsigned& missing) {
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
  const unsigned outlook = kCurveOutlook.value[after | (before << 4)] & (missing | kMayHit);
  if (outlook == 0u) return false;
  return TestCurveClosely(query, points, kDegree, outlook, missing) || (kWithRays && missing == kNoRay);
}

}  // namespace tovkit
