// SPDX-License-Identifier: MIT
// The bounding box of a segment's points, and what it proves about the point asked for.
//
// Both coordinates go together: lane 0 of a vector is x, lane 1 is y, and a two-bit mask has bit 0 for x and
// bit 1 for y.
#pragma once

#include "hit_query.h"

#include <tovmx/path.h>

#include <emmintrin.h>

#include <cstring>

namespace tovkit {

inline __m128 LoadPair(const CorePathPoint& point) {
  double both;
  static_assert(sizeof both == sizeof point.x + sizeof point.y);
  std::memcpy(&both, &point, sizeof both);
  return _mm_castpd_ps(_mm_set_sd(both));
}

// x and y of the first point, then of the second.
inline __m128 LoadPairs(const CorePathPoint& first, const CorePathPoint& second) {
  return _mm_movelh_ps(LoadPair(first), LoadPair(second));
}

// A bit for each lane of a comparison. Of single pairs the upper lanes hold zeros everywhere, and no
// comparison used here is true of them.
inline unsigned LaneMask(__m128 lanes) { return static_cast<unsigned>(_mm_movemask_ps(lanes)); }

struct BoundingBox {
  __m128 low;
  __m128 high;

  // min and max keep their second operand when a NaN is met, so that the first point opens the box and a
  // later one widens it only where it compares as outside.
  explicit BoundingBox(const CorePathPoint& first) : low(LoadPair(first)), high(low) {}
  void Add(const CorePathPoint& point) {
    const __m128 pair = LoadPair(point);
    low = _mm_min_ps(pair, low);
    high = _mm_max_ps(pair, high);
  }

  // How far the computed points of the segment may lie outside the box for rounding.
  __m128 Rounding() const {
    const __m128 largest = _mm_max_ps(_mm_sub_ps(_mm_setzero_ps(), low), high);
    return _mm_mul_ps(largest, _mm_set1_ps(kSlackFactor));
  }

  // Where `at` is less than the box, and where it is greater.
  unsigned Below(__m128 at) const { return LaneMask(_mm_cmplt_ps(at, low)); }
  unsigned Beyond(__m128 at) const { return LaneMask(_mm_cmpgt_ps(at, high)); }
  unsigned Outside(__m128 at) const {
    return LaneMask(_mm_or_ps(_mm_cmplt_ps(at, low), _mm_cmpgt_ps(at, high)));
  }

  // The box with a margin on all sides.
  BoundingBox Widened(__m128 margin) const {
    BoundingBox wide = *this;
    wide.low = _mm_sub_ps(low, margin);
    wide.high = _mm_add_ps(high, margin);
    return wide;
  }
};

}  // namespace tovkit
