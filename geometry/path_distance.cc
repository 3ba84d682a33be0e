// SPDX-License-Identifier: MIT
// The nearest point of a curve is found by halving: a piece that cannot hold a point nearer than the nearest
// so far is dropped; any other is cut in two at its middle. The ends of the pieces are points of the curve.
// What a piece can hold is told by its control points' box and by its chord: a box shrinks with the length of
// a piece, what a curve strays from its chord with the square of it. Some twenty pieces are looked at, or
// some thousand when the whole curve is equally far away, as an arc is from its center.
#include "path_distance.h"

#include <tovmx/path_walk.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace tovkit {

namespace {

using Point = CoreBasicPoint<double>;

constexpr int kDeepest = 50;    // halvings of a curve: the parameter has 53 bits
constexpr double kFine = 1e-7;  // of the distance: what is nearer by less is not looked for

double Between(Point a, Point b) { return std::hypot(a.x - b.x, a.y - b.y); }
Point Middle(Point a, Point b) { return {(a.x + b.x) / 2, (a.y + b.y) / 2}; }

Point NearestOnLine(Point a, Point b, Point at) {
  const double dx = b.x - a.x, dy = b.y - a.y, square = dx * dx + dy * dy;
  const double along = square > 0 ? ((at.x - a.x) * dx + (at.y - a.y) * dy) / square : 0;
  const double t = std::clamp(along, 0.0, 1.0);
  return {a.x + t * dx, a.y + t * dy};
}

struct CurvePiece {
  std::array<Point, 4> p;
  int depth = 0;

  // No point of the curve is nearer than this.
  double LeastDistance(Point at) const { return std::max(DistanceToBox(at), DistanceToChord(at) - Stray()); }

  double DistanceToBox(Point at) const {
    const auto [left, right] = std::minmax({p[0].x, p[1].x, p[2].x, p[3].x});
    const auto [top, bottom] = std::minmax({p[0].y, p[1].y, p[2].y, p[3].y});
    return std::hypot(std::max({left - at.x, 0.0, at.x - right}), std::max({top - at.y, 0.0, at.y - bottom}));
  }

  double DistanceToChord(Point at) const { return Between(at, NearestOnLine(p[0], p[3], at)); }

  // How far the curve is from the point of its chord with the same parameter, at most: the inner control
  // points have weights of 3/4 together.
  double Stray() const {
    const auto third = [](Point near, Point far) {
      return Point{(2 * near.x + far.x) / 3, (2 * near.y + far.y) / 3};
    };
    return 0.75 * std::max(Between(p[1], third(p[0], p[3])), Between(p[2], third(p[3], p[0])));
  }

  // De Casteljau's rule at 1/2.
  std::array<CurvePiece, 2> Halves() const {
    const Point a = Middle(p[0], p[1]), b = Middle(p[1], p[2]), c = Middle(p[2], p[3]);
    const Point d = Middle(a, b), e = Middle(b, c), f = Middle(d, e);
    return {CurvePiece{{p[0], a, d, f}, depth + 1}, CurvePiece{{f, e, c, p[3]}, depth + 1}};
  }
};

// The visitor of CoreWalkPath that keeps the smallest distance.
class NearestVisitor {
 public:
  explicit NearestVisitor(Point at) : at_(at) {}
  double Nearest() const { return nearest_; }

  bool Line(const CorePathPoint& from, const CorePathPoint& to) {
    Take(NearestOnLine(PointOf(from), PointOf(to), at_));
    return false;
  }
  bool Close(const CorePathPoint& from, const CorePathPoint& start) { return Line(from, start); }
  bool Quad(const CorePathPoint* q) {
    const Point a = PointOf(q[0]), control = PointOf(q[1]), b = PointOf(q[2]);
    const auto third = [&control](Point end) {
      return Point{(end.x + 2 * control.x) / 3, (end.y + 2 * control.y) / 3};
    };
    return Search({{a, third(a), third(b), b}});
  }
  bool Cubic(const CorePathPoint* q) {
    return Search({{PointOf(q[0]), PointOf(q[1]), PointOf(q[2]), PointOf(q[3])}});
  }
  bool Arc(const CorePathPoint* arc) {
    CorePathPoint curves[1 + 3 * kCoreMaxArcCurves];
    const int count = CoreArcToCubics(arc, curves);
    for (int k = 0; k < count; ++k) Cubic(curves + 3 * k);
    return false;
  }

 private:
  static Point PointOf(const CorePathPoint& p) { return {p.x, p.y}; }

  // A NaN is never smaller.
  void Take(Point p) {
    const double distance = Between(at_, p);
    if (distance < nearest_) nearest_ = distance;
  }

  bool Search(const CurvePiece& whole) {
    const auto finite = [](Point p) { return std::isfinite(p.x) && std::isfinite(p.y); };
    if (!finite(at_) || !std::all_of(whole.p.begin(), whole.p.end(), finite)) return false;
    Take(whole.p[0]);
    Take(whole.p[3]);
    // A half is looked at before the other's halves, so one waits at each depth.
    std::array<CurvePiece, kDeepest + 2> waiting;
    int count = 0;
    waiting[0] = whole;
    for (count = 1; count > 0;) {
      const CurvePiece piece = waiting[static_cast<std::size_t>(--count)];
      if (!(piece.LeastDistance(at_) < nearest_ * (1 - kFine)) || piece.depth == kDeepest) continue;
      const auto [first, second] = piece.Halves();
      Take(first.p[3]);
      const bool nearFirst = first.LeastDistance(at_) <= second.LeastDistance(at_);
      waiting[static_cast<std::size_t>(count++)] = nearFirst ? second : first;
      waiting[static_cast<std::size_t>(count++)] = nearFirst ? first : second;
    }
    return false;
  }

  Point at_;
  double nearest_ = std::numeric_limits<double>::infinity();
};

}  // namespace

double DistanceToPath(const CorePointF& point, const CorePath& path) {
  NearestVisitor visitor({point.x, point.y});
  CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, visitor);
  return visitor.Nearest();
}

}  // namespace tovkit
