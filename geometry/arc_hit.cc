// SPDX-License-Identifier: MIT
// The box of an arc, without its curves.
//
// Let c be half the chord and R the greater radius, grown to join the ends. The center is no farther than R
// from the middle of the chord, the arc is no farther than R from the center, and the control points of a
// curve over a quarter turn are no farther than 1.143 R: everything lies within 2.143 R of the middle.
//
//   growth of the radii: sqrt(p^2 / rx^2 + q^2 / ry^2), at most c / min(rx, ry)
#include "arc_hit.h"

#include "curve_hit.h"

#include <algorithm>
#include <cmath>

namespace tovkit {

namespace {

constexpr double kReach = 2.25;        // 2.143, and some room for rounding
constexpr double kRounding = 0x1p-16;  // of the largest coordinate: the curves are computed in doubles
constexpr double kThinnest = 0x1p20;   // the most that one radius may be of the other
constexpr double kSmallest = 1e-15;    // the numbers for which this rounding holds
constexpr double kLargest = 1e15;

// Bit 0 when all of [middle - reach, middle + reach] is greater than `after`, bit 2 when it is less than
// `before`. Comparisons with NaN are false.
unsigned SideOf(double middle, double reach, float before, float after) {
  return (middle - reach > static_cast<double>(after) ? 1u : 0u) |
         (middle + reach < static_cast<double>(before) ? 4u : 0u);
}

}  // namespace

unsigned ArcCandidates(const HitQuery& query, const CorePathPoint* arc, unsigned missing) {
  const unsigned every = missing | kHitCandidate;
  const double rx = std::fabs(static_cast<double>(arc[1].x)), ry = std::fabs(static_cast<double>(arc[1].y));
  const double least = std::min(rx, ry), most = std::max(rx, ry);
  const double middleX = (static_cast<double>(arc[0].x) + static_cast<double>(arc[4].x)) / 2;
  const double middleY = (static_cast<double>(arc[0].y) + static_cast<double>(arc[4].y)) / 2;
  const double halfX = static_cast<double>(arc[4].x) - middleX,
               halfY = static_cast<double>(arc[4].y) - middleY;
  if (!(least >= kSmallest)) return every;
  const double half = std::fabs(halfX) + std::fabs(halfY);
  const double grown = half <= least ? most : most * (half / least);
  const double largest = std::max({std::fabs(middleX), std::fabs(middleY), grown});
  if (!(most <= least * kThinnest && largest <= kLargest)) return every;

  const double reach = grown * kReach + largest * kRounding;
  float before[4], after[4];
  _mm_storeu_ps(before, query.curveBefore);
  _mm_storeu_ps(after, query.curveAfter);
  const unsigned x = SideOf(middleX, reach, before[0], after[0]);
  const unsigned y = SideOf(middleY, reach, before[1], after[1]);
  return kCandidatesBySide[x | y << 1] & every;
}

}  // namespace tovkit
