// SPDX-License-Identifier: MIT
// A Bezier curve is farthest from its chord's box where a component of its derivative is 0. The derivative is
// a Bezier curve of one degree less, so that is where a linear or a quadratic polynomial has its roots.
#include "path_bounds.h"

#include "arc_curves.h"

#include <tovmx/path_walk.h>

#include <cassert>

namespace jobs {

namespace {

Position PositionOf(const CorePathPoint& point) { return {point.x, point.y}; }

Position Between(Position a, Position b, double t) { return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; }

class BoundsFinder {
 public:
  explicit BoundsFinder(const CorePathPoint& first) { bounds_.Add(PositionOf(first)); }

  const Bounds& bounds() const { return bounds_; }

  bool Line(const CorePathPoint& from, const CorePathPoint& to) {
    bounds_.Add(PositionOf(from));
    bounds_.Add(PositionOf(to));
    return false;
  }
  bool Close(const CorePathPoint& from, const CorePathPoint& start) { return Line(from, start); }

  bool Quad(const CorePathPoint* points) {
    AddCurve(points, 2);
    return false;
  }
  bool Cubic(const CorePathPoint* points) {
    AddCurve(points, 3);
    return false;
  }
  bool Arc(const CorePathPoint* records) {
    CorePathPoint curves[1 + 3 * kCoreMaxArcCurves];
    const int count = FiniteArcCurves(records, curves);
    for (int i = 0; i < count; ++i) AddCurve(curves + 3 * i, 3);
    return false;
  }

 private:
  void AddCurve(const CorePathPoint* points, int degree) {
    Line(points[0], points[degree]);
    Position p[4];
    for (int i = 0; i <= degree; ++i) p[i] = PositionOf(points[i]);
    Position d[3];
    for (int i = 0; i < degree; ++i) d[i] = {p[i + 1].x - p[i].x, p[i + 1].y - p[i].y};
    // d0 (1-t)^2 + 2 d1 t(1-t) + d2 t^2, or d0 (1-t) + d1 t.
    const auto addTurns = [&](double d0, double d1, double d2) {
      if (degree == 2) return AddPoint(p, degree, d0 / (d0 - d1));
      const double a = d0 - 2 * d1 + d2;
      const double root = std::sqrt(d1 * d1 - d0 * d2);
      // The form of the roots that loses no digits when the leading coefficient is near 0.
      const double q = (d0 - d1) + (d0 > d1 ? root : -root);
      AddPoint(p, degree, q / a);
      AddPoint(p, degree, d0 / q);
    };
    addTurns(d[0].x, d[1].x, d[2].x);
    addTurns(d[0].y, d[1].y, d[2].y);
  }

  // Ignores a parameter outside the curve, or one that is no number.
  void AddPoint(const Position* points, int degree, double t) {
    if (!(t > 0 && t < 1)) return;
    Position p[4] = {points[0], points[1], points[2], points[3]};
    for (int left = degree; left > 0; --left) {
      for (int i = 0; i < left; ++i) p[i] = Between(p[i], p[i + 1], t);
    }
    bounds_.Add(p[0]);
  }

  Bounds bounds_;
};

}  // namespace

Bounds BoundsOf(const CorePath& path) {
  assert(path.GetPointCounter() >= 0);
  BoundsFinder finder(path.GetPoints()[0]);
  CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, finder);
  return finder.bounds();
}

}  // namespace jobs
