// SPDX-License-Identifier: MIT
// Paths on a canvas: their segments are handed over to Cairo, which fills and strokes them.
//
// Points are mapped to the surface on their way. Cairo keeps coordinates as 24 bits and a fraction of 8 and
// lets larger ones wrap around, so a path with a point out of reach is refused.
#include "device/canvas.h"

#include "tovmx/path_walk.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kMiterLimit = 4;

using Point = CoreBasicPoint<double>;

bool IsInReach(double x, double y) {
  constexpr double kReach = CorePathDevice::kMaxReach;
  return std::fabs(x) <= kReach && std::fabs(y) <= kReach;  // NaN is not
}

// The greatest length that the map makes of a unit, or a little more.
double LargestScale(const cairo_matrix_t& m) {
  return std::hypot(std::hypot(m.xx, m.yx), std::hypot(m.xy, m.yy));
}

// The visitor of CoreWalkPath. Its operations end the walk at a point out of reach.
class PathBuilder {
 public:
  PathBuilder(cairo_t* cairo, cairo_matrix_t place) : cairo_(cairo), place_(place) {}

  bool Line(const CorePathPoint& from, const CorePathPoint& to) {
    if (!StartAt(from)) return true;
    const Point p = Placed(to);
    cairo_line_to(cairo_, p.x, p.y);
    return !EndAt(p);
  }
  bool Quad(const CorePathPoint* p) {
    const Point a = Placed(p[0]), control = Placed(p[1]), b = Placed(p[2]);
    const auto third = [&control](Point end) {
      return Point{(end.x + 2 * control.x) / 3, (end.y + 2 * control.y) / 3};
    };
    return !StartAt(p[0]) || !CurveTo(third(a), third(b), b);
  }
  bool Cubic(const CorePathPoint* p) {
    return !StartAt(p[0]) || !CurveTo(Placed(p[1]), Placed(p[2]), Placed(p[3]));
  }
  bool Arc(const CorePathPoint* arc) {
    CorePathPoint curves[1 + 3 * kCoreMaxArcCurves];
    const int count = CoreArcToCubics(arc, curves);
    for (int k = 0; k < count; ++k) {
      if (Cubic(curves + 3 * k)) return true;
    }
    // The last curve ends beside the record by a rounding. A degenerate arc draws nothing.
    return count > 0 && Line(curves[3 * count], arc[4]);
  }
  bool Close(const CorePathPoint& from, const CorePathPoint& start) {
    if (Line(from, start)) return true;
    if (end_ == subpathStart_) cairo_close_path(cairo_);
    return false;
  }

 private:
  Point Placed(const CorePathPoint& p) const {
    Point placed = {p.x, p.y};
    cairo_matrix_transform_point(&place_, &placed.x, &placed.y);
    return placed;
  }

  // Segments that continue each other are one line to Cairo, so that their joints are drawn.
  bool StartAt(const CorePathPoint& record) {
    const Point p = Placed(record);
    if (started_ && p == end_) return true;
    cairo_move_to(cairo_, p.x, p.y);
    subpathStart_ = p;
    return EndAt(p);
  }
  bool CurveTo(Point control1, Point control2, Point end) {
    cairo_curve_to(cairo_, control1.x, control1.y, control2.x, control2.y, end.x, end.y);
    return IsInReach(control1.x, control1.y) && IsInReach(control2.x, control2.y) && EndAt(end);
  }
  bool EndAt(Point p) {
    started_ = true;
    end_ = p;
    return IsInReach(p.x, p.y);
  }

  cairo_t* cairo_;
  cairo_matrix_t place_;
  bool started_ = false;
  Point subpathStart_;
  Point end_;
};

}  // namespace

bool CoreCanvas::TakePath(const CorePath& path, const CoreMatrix& matrix) {
  if (!IsGood() || !tovmx::IsFinite(matrix)) return false;
  cairo_new_path(cairo_.get());
  PathBuilder builder(cairo_.get(), tovmx::PlaceOf(matrix, scale_));
  if (!CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, builder)) return true;
  cairo_new_path(cairo_.get());
  return false;
}

bool CoreCanvas::FillPath(const CorePath& path, CoreFillMode fillMode, const CoreMatrix& matrix,
                          std::uint32_t argb) {
  if (!TakePath(path, matrix)) return false;
  tovmx::Box ink;
  cairo_path_extents(cairo_.get(), &ink.left, &ink.top, &ink.right, &ink.bottom);
  if (!Prepare(ink)) return false;
  cairo_t* cr = cairo_.get();
  tovmx::SetSource(cr, argb);
  cairo_set_fill_rule(cr, fillMode == kCoreFillEvenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
  cairo_fill(cr);
  return IsGood();
}

bool CoreCanvas::StrokePath(const CorePath& path, float width, const CoreMatrix& matrix, std::uint32_t argb) {
  const cairo_matrix_t place = tovmx::PlaceOf(matrix, scale_);
  const double pen = width * LargestScale(place);
  if (!(width > 0 && pen <= CorePathDevice::kMaxReach) || !TakePath(path, matrix)) return false;
  tovmx::Box ink;
  cairo_path_extents(cairo_.get(), &ink.left, &ink.top, &ink.right, &ink.bottom);
  cairo_matrix_t inverse = place;
  if (cairo_matrix_invert(&inverse) != CAIRO_STATUS_SUCCESS) {
    cairo_new_path(cairo_.get());  // a pen without an area
    return true;
  }
  const double beyond = pen * kMiterLimit / 2;
  if (!Prepare({ink.left - beyond, ink.top - beyond, ink.right + beyond, ink.bottom + beyond})) return false;
  cairo_t* cr = cairo_.get();
  tovmx::SetSource(cr, argb);
  cairo_set_matrix(cr, &place);
  cairo_set_line_width(cr, width);
  cairo_set_miter_limit(cr, kMiterLimit);
  cairo_stroke(cr);
  cairo_identity_matrix(cr);
  return IsGood();
}
