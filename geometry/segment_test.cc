#include "segment_test.h"

#include <cmath>

// A vertical or horizontal segment divides by zero: the infinite or undefined result makes the comparisons
// that follow false, which is what is wanted.
#define TOVKIT_DIVIDES_BY_ZERO __attribute__((no_sanitize("float-divide-by-zero")))

namespace tovkit {

namespace {

// Below this extent the products of YAtX and XAtY may underflow, and the box proves nothing.
constexpr float kTinyExtent = 1e-28f;

struct Place {
  float minX, minY, maxX, maxY;
  bool outsideX, outsideY;    // of the segment's box
  bool strictlyX, strictlyY;  // strictly between the sides
};

Place PlaceOf(const HitQuery& p, const CorePathPoint& a, const CorePathPoint& b) {
  Place at;
  at.minX = b.x < a.x ? b.x : a.x;
  at.maxX = b.x > a.x ? b.x : a.x;
  at.minY = b.y < a.y ? b.y : a.y;
  at.maxY = b.y > a.y ? b.y : a.y;
  at.outsideX = (p.x < at.minX) | (p.x > at.maxX);
  at.outsideY = (p.y < at.minY) | (p.y > at.maxY);
  at.strictlyX = (at.minX < p.x) & (p.x < at.maxX);
  at.strictlyY = (at.minY < p.y) & (p.y < at.maxY);
  return at;
}

float Larger(float a, float b) { return a > b ? a : b; }

bool ThinExtent(float low, float high) { return low < high && high - low < kTinyExtent; }

// True when the box alone shows that the segment is not hit. A point that is level with a side of the box
// proves nothing: a horizontal or vertical segment is hit at any distance along its own line.
bool TooFar(const HitQuery& p, const Place& at) {
  if (!at.outsideX && !at.outsideY) return false;
  const float largest = Larger(Larger(-at.minX, at.maxX), Larger(-at.minY, at.maxY));
  const float reach = p.segmentReach + largest * kSlackFactor;
  const bool farX = (p.x < at.minX - reach) | (p.x > at.maxX + reach);
  const bool farY = (p.y < at.minY - reach) | (p.y > at.maxY + reach);
  if (at.outsideX && at.outsideY) return farX || farY;
  if (at.strictlyX) return farY && !ThinExtent(at.minX, at.maxX);
  if (at.strictlyY) return farX && !ThinExtent(at.minY, at.maxY);
  return false;
}

// The rays that may cross: from beside the box only the ray towards it. With a negative tolerance (or NaN)
// nothing is ruled out.
unsigned ThinkableRays(const HitQuery& p, const Place& at) {
  if (!(p.diagonal >= 0.0f)) return kEveryRay;
  unsigned rays = kEveryRay;
  if (p.x < at.minX) rays &= ~kRayLeft;
  if (p.x > at.maxX) rays &= ~kRayRight;
  if (p.y < at.minY) rays &= ~kRayUp;
  if (p.y > at.maxY) rays &= ~kRayDown;
  return rays;
}

TOVKIT_DIVIDES_BY_ZERO float YAtX(const HitQuery& p, const CorePathPoint& a, const CorePathPoint& b) {
  return a.y + (p.x - a.x) * (b.y - a.y) / (b.x - a.x);
}

TOVKIT_DIVIDES_BY_ZERO float XAtY(const HitQuery& p, const CorePathPoint& a, const CorePathPoint& b) {
  return a.x + (b.x - a.x) * (p.y - a.y) / (b.y - a.y);
}

unsigned CrossedRays(const HitQuery& p, const Place& at, float yAtX, float xAtY) {
  unsigned rays = kNoRay;
  if (at.minY <= yAtX && yAtX <= at.maxY) {
    if (p.y - yAtX > p.diagonal)
      rays |= kRayUp;
    else if (yAtX - p.y > p.diagonal)
      rays |= kRayDown;
  }
  if (at.minX <= xAtY && xAtY <= at.maxX) {
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

bool IsHit(const HitQuery& p, const CorePathPoint& a, const CorePathPoint& b, const Place& at, float yAtX,
           float xAtY) {
  if (at.outsideX && at.outsideY) return EndIsNear(p, a) || EndIsNear(p, b);
  const bool nearAlongY = std::fabs(p.y - yAtX) <= p.diagonal;
  const bool nearAlongX = std::fabs(p.x - xAtY) <= p.diagonal;
  if (at.strictlyX && at.outsideY) return nearAlongY || EndIsNear(p, a) || EndIsNear(p, b);
  if (at.strictlyY && at.outsideX) return nearAlongX || EndIsNear(p, a) || EndIsNear(p, b);
  return nearAlongX || nearAlongY;
}

}  // namespace

bool TestSegment(const HitQuery& query, const CorePathPoint& a, const CorePathPoint& b, unsigned& missing) {
  const Place at = PlaceOf(query, a, b);
  const bool tooFar = TooFar(query, at);
  const unsigned wanted = missing != kNoRay ? missing & ThinkableRays(query, at) : kNoRay;
  if (tooFar && wanted == kNoRay) return false;

  const float yAtX = YAtX(query, a, b);
  const float xAtY = XAtY(query, a, b);
  if (wanted != kNoRay) missing &= ~CrossedRays(query, at, yAtX, xAtY);
  return !tooFar && IsHit(query, a, b, at, yAtX, xAtY);
}

}  // namespace tovkit
