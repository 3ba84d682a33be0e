// SPDX-License-Identifier: MIT
// Elliptical arcs as cubic curves.
//
// The arc is computed on the unit circle, from its end point to its start point, and each point is brought
// back to the path's plane and reflected through the middle of the chord. Going from start to end would need
// no reflection, but it rounds differently, and which points touch a path must not change.
//
//   unit circle   E' --quarter turns--> S'        path   S --curves--> E
#include "geometry/arc.h"

#include "tovmx/path.h"

#include <cassert>
#include <cmath>
#include <cstdint>

// Degenerate arcs divide by zero; the result is infinite or NaN and ends as a count of 0.
#define TOVMX_DIVIDES_BY_ZERO __attribute__((no_sanitize("float-divide-by-zero")))

namespace tovmx {

namespace {

constexpr float kTurn = 6.2831855f;         // a whole turn for rotations, in their single precision
constexpr double kFullSweep = 6.2831855;    // and for the sweep of an arc
constexpr double kQuarterTurn = 1.5717964;  // 0.001 more, so that an exact quarter stays one curve
constexpr float kMantissaStart = 0x1p23f;   // a float's mantissa as a whole number is 2^23 to 2^24 - 1

// What is left of `angle` (at least 16) after all the subtractions of a turn that end well above its power of
// two. There the spacing of floats is one unit, so each subtraction takes the same whole number of units and
// any number of them is one multiplication, with no rounding.
float SkipTurns(float angle) {
  const float unit = std::ldexp(1.0f, std::ilogb(angle) - 23);
  const auto turn = static_cast<std::int64_t>(std::lround(static_cast<double>(kTurn) / unit));
  const std::int64_t above = static_cast<std::int64_t>(angle / unit - kMantissaStart) - 1;
  const std::int64_t skipped = above >= turn ? above / turn * turn : 0;
  return angle - static_cast<float>(skipped) * unit;
}

using Point = CoreBasicPoint<double>;

// The ellipse between the plane of its unit circle and that of the path. Everything is double: with the ends
// a diameter apart the center is the root of a difference that single precision would leave to chance.
struct Ellipse {
  double rx, ry, sinPhi, cosPhi;
  Point center;      // on the unit circle's plane
  Point chordTwice;  // twice the middle of the chord, on the path's plane

  TOVMX_DIVIDES_BY_ZERO Point ToUnit(Point p) const {
    const double a00 = cosPhi / rx, a01 = sinPhi / rx, a10 = -sinPhi / ry, a11 = cosPhi / ry;
    return {a00 * p.x + a01 * p.y, a10 * p.x + a11 * p.y};
  }
  CorePointF ToPath(Point p) const {
    return {static_cast<float>(chordTwice.x - (cosPhi * rx * p.x + -sinPhi * ry * p.y)),
            static_cast<float>(chordTwice.y - (sinPhi * rx * p.x + cosPhi * ry * p.y))};
  }
};

// Radii that are too small to join the ends grow until they just do.
TOVMX_DIVIDES_BY_ZERO void CorrectRadii(Ellipse& ellipse, double dx, double dy) {
  const double p = ellipse.cosPhi * dx + ellipse.sinPhi * dy;
  const double q = -ellipse.sinPhi * dx + ellipse.cosPhi * dy;
  const double lambda = p * p / (ellipse.rx * ellipse.rx) + q * q / (ellipse.ry * ellipse.ry);
  if (lambda > 1) {
    ellipse.rx *= std::sqrt(lambda);
    ellipse.ry *= std::sqrt(lambda);
  }
}

TOVMX_DIVIDES_BY_ZERO Point CenterOf(Point s, Point e, bool largeArc, bool sweep) {
  double d = 1 / ((s.x - e.x) * (s.x - e.x) + (s.y - e.y) * (s.y - e.y)) - 0.25;
  if (d < 0) d = 0;
  double away = std::sqrt(d);
  if (largeArc == sweep) away = -away;
  return {(e.x + s.x) / 2 - away * (s.y - e.y), (e.y + s.y) / 2 + away * (s.x - e.x)};
}

double SweepOf(Point s, Point center, double from, bool sweep) {
  const double delta = std::atan2(s.y - center.y, s.x - center.x) - from;
  if (delta < 0 && sweep) return delta + kFullSweep;
  if (delta > 0 && !sweep) return delta - kFullSweep;
  return delta;
}

struct Direction {
  double angle, sine, cosine;
};

Direction Towards(double angle) { return {angle, std::sin(angle), std::cos(angle)}; }

// Writes the control points and the end of the unit circle's curve from one direction to another.
TOVMX_DIVIDES_BY_ZERO void WriteCurve(const Ellipse& ellipse, const Direction& a, const Direction& b,
                                      CorePathPoint* to) {
  const double h = (b.angle - a.angle) / 2;
  const double sinQuarter = std::sin(h / 2);
  const double t = 8.0 / 3.0 * sinQuarter * sinQuarter / std::sin(h);
  const Point c = ellipse.center;
  const Point p3 = {c.x + b.cosine, c.y + b.sine};
  const Point unit[] = {{c.x + a.cosine - t * a.sine, c.y + a.sine + t * a.cosine},
                        {p3.x + t * b.sine, p3.y - t * b.cosine},
                        p3};
  for (int i = 0; i < 3; ++i) {
    const CorePointF p = ellipse.ToPath(unit[i]);
    to[i] = {p.x, p.y, 0};
  }
  to[0].flags = kCorePathCubic;
}

}  // namespace

float ReduceTurns(float rotation) {
  float angle = std::fabs(rotation);
  // Rounding does not look at the sign: magnitudes come down alike until the last turns.
  while (angle >= 16.0f) {
    if (angle - kTurn == angle) return rotation;
    angle = SkipTurns(angle) - kTurn;
  }
  float reduced = std::copysign(angle, rotation);
  while (reduced >= kTurn) reduced -= kTurn;
  while (reduced < -0.0001f) reduced += kTurn;
  return reduced;
}

}  // namespace tovmx

int CoreArcToCubics(const CorePathPoint* arc, CorePathPoint* curves) {
  using namespace tovmx;
  const Point start = {arc[0].x, arc[0].y};
  const Point end = {arc[4].x, arc[4].y};
  const bool largeArc = arc[2].y != 0.0f;
  const bool sweep = arc[3].x != 0.0f;
  const double phi = ReduceTurns(arc[2].x);

  Ellipse ellipse = {std::fabs(arc[1].x), std::fabs(arc[1].y), std::sin(phi), std::cos(phi), {}, {}};
  CorrectRadii(ellipse, (end.x - start.x) / 2, (end.y - start.y) / 2);
  const Point e = ellipse.ToUnit(end);
  const Point s = ellipse.ToUnit(start);
  ellipse.center = CenterOf(s, e, largeArc, sweep);
  ellipse.chordTwice = {2 * ((start.x + end.x) / 2), 2 * ((start.y + end.y) / 2)};

  const double from = std::atan2(e.y - ellipse.center.y, e.x - ellipse.center.x);
  const double delta = SweepOf(s, ellipse.center, from, sweep);
  const double quarters = std::ceil(std::fabs(delta / kQuarterTurn));
  const int count = quarters >= 1 ? static_cast<int>(quarters) : 0;  // none for NaN
  assert(count <= kCoreMaxArcCurves);                                // a sweep is less than a turn
  curves[0] = {arc[0].x, arc[0].y, kCorePathMove};
  if (count == 0) return 0;
  Direction before = Towards(from + 0 * delta / count);
  for (int k = 0; k < count; ++k) {
    const Direction after = Towards(from + (k + 1) * delta / count);
    WriteCurve(ellipse, before, after, curves + 1 + 3 * k);
    before = after;
  }
  return count;
}
