// SPDX-License-Identifier: MIT
// The full arithmetic of one segment, in single precision and in one fixed order of operations: its rounding
// is part of the answer.
//
//     yAtX   where the segment's line has the point's x        xAtY   where it has the point's y
//
// Rays cross the segment where these lie inside its box, beyond the tolerance. The point hits where one of
// them is within the tolerance, or an end is.
#include "segment_hit.h"

#include <cmath>

// A vertical or horizontal segment divides by zero: the infinite or undefined result makes the comparisons
// that follow false, which is what is wanted.
#define TOVKIT_DIVIDES_BY_ZERO __attribute__((no_sanitize("float-divide-by-zero")))

namespace tovkit {

namespace {

CoreRectF BoxOf(const CorePathPoint& a, const CorePathPoint& b) {
  return {b.x < a.x ? b.x : a.x, b.y < a.y ? b.y : a.y, b.x > a.x ? b.x : a.x, b.y > a.y ? b.y : a.y};
}

TOVKIT_DIVIDES_BY_ZERO float YAtX(const HitQuery& p, const CorePathPoint& a, const CorePathPoint& b) {
  return a.y + (p.x - a.x) * (b.y - a.y) / (b.x - a.x);
}

TOVKIT_DIVIDES_BY_ZERO float XAtY(const HitQuery& p, const CorePathPoint& a, const CorePathPoint& b) {
  return a.x + (b.x - a.x) * (p.y - a.y) / (b.y - a.y);
}

unsigned CrossedRays(const HitQuery& p, const CoreRectF& box, float yAtX, float xAtY) {
  unsigned rays = kNoRay;
  if (box.top <= yAtX && yAtX <= box.bottom) {
    if (p.y - yAtX > p.diagonal)
      rays |= kRayUp;
    else if (yAtX - p.y > p.diagonal)
      rays |= kRayDown;
  }
  if (box.left <= xAtY && xAtY <= box.right) {
    if (xAtY - p.x > p.diagonal)
      rays |= kRayRight;
    else if (p.x - xAtY > p.diagonal)
      rays |= kRayLeft;
  }
  return rays;
}

bool EndIsNear(const HitQuery& p, const CorePathPoint& end) {
  const float dx = p.x - end.x;
  const float dy = p.y - end.y;
  return std::sqrt(dx * dx + dy * dy) <= p.tolerance;
}

bool IsHit(const HitQuery& p, const CorePathPoint& a, const CorePathPoint& b, const CoreRectF& box,
           float yAtX, float xAtY) {
  const bool outsideX = p.x < box.left || p.x > box.right;
  const bool outsideY = p.y < box.top || p.y > box.bottom;
  const bool nearAlongY = std::fabs(p.y - yAtX) <= p.diagonal;
  const bool nearAlongX = std::fabs(p.x - xAtY) <= p.diagonal;
  // Compatibility: of a segment without length, such as the one that closes a circle, only these regions hit.
  if (outsideX && outsideY) return EndIsNear(p, a) || EndIsNear(p, b);
  if (outsideY && box.left < p.x && p.x < box.right) return nearAlongY || EndIsNear(p, a) || EndIsNear(p, b);
  if (outsideX && box.top < p.y && p.y < box.bottom) return nearAlongX || EndIsNear(p, a) || EndIsNear(p, b);
  return nearAlongX || nearAlongY;
}

}  // namespace

bool HitTestSegmentInFull(const HitQuery& query, const CorePathPoint& a, const CorePathPoint& b,
                          unsigned wanted, unsigned& missing) {
  const CoreRectF box = BoxOf(a, b);
  const float yAtX = YAtX(query, a, b);
  const float xAtY = XAtY(query, a, b);
  if (wanted != kNoRay) missing &= ~CrossedRays(query, box, yAtX, xAtY);
  return IsHit(query, a, b, box, yAtX, xAtY);
}

}  // namespace tovkit
