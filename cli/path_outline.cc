#include "path_outline.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace cli {

namespace {

OutlinePoint Between(OutlinePoint a, OutlinePoint b, double t) {
  return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

// An arc by its centre. Degenerate arcs have radii or angles that are not finite.
class ArcByCentre {
 public:
  ArcByCentre(OutlinePoint from, const CorePathPoint* arc)
      : rx_(std::fabs(arc[0].x)),
        ry_(std::fabs(arc[0].y)),
        sin_(std::sin(arc[1].x)),
        cos_(std::cos(arc[1].x)) {
    const OutlinePoint to = {arc[3].x, arc[3].y};
    const bool large = arc[1].y != 0;
    const bool sweep = arc[2].x != 0;
    const double hx = (from.x - to.x) / 2, hy = (from.y - to.y) / 2;
    const double x = cos_ * hx + sin_ * hy, y = -sin_ * hx + cos_ * hy;
    const double scale = std::hypot(x / rx_, y / ry_);
    if (scale > 1) {
      rx_ *= scale;
      ry_ *= scale;
    }
    const double length = std::hypot(x / rx_, y / ry_);
    double factor = std::sqrt(std::max(0.0, 1 / (length * length) - 1));
    if (large == sweep) factor = -factor;
    const double ux = factor * y / ry_, uy = -factor * x / rx_;
    centre_ = {cos_ * rx_ * ux - sin_ * ry_ * uy + (from.x + to.x) / 2,
               sin_ * rx_ * ux + cos_ * ry_ * uy + (from.y + to.y) / 2};
    start_ = std::atan2(y / ry_ - uy, x / rx_ - ux);
    sweep_ = std::atan2(-y / ry_ - uy, -x / rx_ - ux) - start_;
    if (sweep_ < 0 && sweep) sweep_ += 2 * M_PI;
    if (sweep_ > 0 && !sweep) sweep_ -= 2 * M_PI;
  }

  bool IsFinite() const {
    return std::isfinite(centre_.x) && std::isfinite(centre_.y) && std::isfinite(sweep_);
  }
  double Length() const { return std::max(rx_, ry_) * std::fabs(sweep_); }
  OutlinePoint At(double t) const {
    const double x = rx_ * std::cos(start_ + sweep_ * t), y = ry_ * std::sin(start_ + sweep_ * t);
    return {centre_.x + cos_ * x - sin_ * y, centre_.y + sin_ * x + cos_ * y};
  }

 private:
  double rx_, ry_, sin_, cos_;
  OutlinePoint centre_ = {};
  double start_ = 0;
  double sweep_ = 0;
};

class Outliner {
 public:
  Outliner(double scale, const std::function<void(const OutlineLine&)>& line) : scale_(scale), line_(line) {}

  void Line(OutlinePoint to) {
    line_({current_, to});
    current_ = to;
  }

  template <typename Curve>
  void Curved(double length, const Curve& at) {
    const int count = std::clamp(static_cast<int>(std::min(2 * std::sqrt(length * scale_), 1e3)), 8, 256);
    for (int k = 1; k <= count; ++k) Line(at(static_cast<double>(k) / count));
  }

  void Bezier(const CorePathPoint* points, int degree) {
    OutlinePoint p[4] = {current_};
    double length = 0;
    for (int i = 1; i <= degree; ++i) {
      p[i] = {points[i - 1].x, points[i - 1].y};
      length += std::hypot(p[i].x - p[i - 1].x, p[i].y - p[i - 1].y);
    }
    Curved(length, [&](double t) {
      OutlinePoint q[4] = {p[0], p[1], p[2], p[3]};
      for (int left = degree; left > 0; --left) {
        for (int i = 0; i < left; ++i) q[i] = Between(q[i], q[i + 1], t);
      }
      return q[0];
    });
  }

  void Arc(const CorePathPoint* arc) {
    const ArcByCentre ellipse(current_, arc);
    if (ellipse.IsFinite()) Curved(ellipse.Length(), [&](double t) { return ellipse.At(t); });
  }

  void Follow(const CorePathPoint* records, int count) {
    for (int i = 0; i < count; ++i) {
      const std::uint32_t flags = records[i].flags;
      if (flags & kCorePathMove) {
        start_ = {records[i].x, records[i].y};
      } else if (flags & kCorePathLine) {
        Line({records[i].x, records[i].y});
      } else if ((flags & kCorePathQuad) && i + 1 < count) {
        Bezier(records + i, 2);
        i += 1;
      } else if ((flags & kCorePathCubic) && i + 2 < count) {
        Bezier(records + i, 3);
        i += 2;
      } else if ((flags & kCorePathArc) && i + 3 < count) {
        Arc(records + i);
        i += 3;
      }
      current_ = {records[i].x, records[i].y};
      if (records[i].flags & kCorePathClose) Line(start_);
    }
  }

 private:
  double scale_;
  const std::function<void(const OutlineLine&)>& line_;
  OutlinePoint start_ = {};
  OutlinePoint current_ = {};
};

}  // namespace

void TraceOutline(const CorePath& path, double scale, const std::function<void(const OutlineLine&)>& line) {
  Outliner(scale, line).Follow(path.GetPoints(), path.GetPointCounter() + 1);
}

}  // namespace cli
