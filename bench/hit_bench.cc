// SPDX-License-Identifier: MIT
// Hit tests beside Cairo and Qt, on paths of 1 to 1,000 segments, at random points of the path's box.
//
// hit/shape_*    is the point inside or on the outline?  HitTestPath with the inside test; cairo_in_fill,
// then
//                cairo_in_stroke; QPainterPath::contains of the path, then of its stroke
// hit/outline_*  is the point on the outline?
//
// Paths are set up before the clock starts; for Qt the stroke of QPainterPathStroker is, too. per_segment is
// the time that one segment of the path costs.
#include <tovkit/geometry.h>

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <QPainterPath>
#include <QPainterPathStroker>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr float kTolerance = 2;
constexpr std::size_t kPoints = 1024;

struct Segment {
  CorePointF c1, c2, to;
};

// One drawing for all three: a walk through a square of 1,000 units whose steps get shorter as segments get
// more.
struct Drawing {
  Drawing(int count, bool isCurved) : curved(isCurved), segments(static_cast<std::size_t>(count)) {
    std::mt19937 random(17);
    std::uniform_real_distribution<float> unit(0, 1);
    const float step = 2000.0f / std::sqrt(static_cast<float>(count));
    CorePointF at = start;
    const auto next = [&] {
      const auto moved = [&](float from) {
        return std::clamp(from + (unit(random) - 0.5f) * step, 0.0f, 1000.0f);
      };
      at = {moved(at.x), moved(at.y)};
      return at;
    };
    for (Segment& segment : segments) {
      segment.c1 = next();
      segment.c2 = next();
      segment.to = next();
    }
    for (CorePointF& point : points) point = InBox(unit(random), unit(random));
  }

  CorePointF InBox(float u, float v) const {
    CorePointF low = start, high = start;
    for (const Segment& segment : segments) {
      for (const CorePointF p : {segment.c1, segment.c2, segment.to}) {
        low = {std::min(low.x, p.x), std::min(low.y, p.y)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y)};
      }
    }
    return {low.x + (high.x - low.x) * u, low.y + (high.y - low.y) * v};
  }

  bool curved;
  CorePointF start = {500, 500};
  std::vector<Segment> segments;
  std::vector<CorePointF> points = std::vector<CorePointF>(kPoints);
};

class Tovkit {
 public:
  explicit Tovkit(const Drawing& drawing) {
    path_.MoveTo(drawing.start.x, drawing.start.y);
    for (const Segment& f : drawing.segments) {
      if (drawing.curved)
        path_.CubicTo(f.c1.x, f.c1.y, f.c2.x, f.c2.y, f.to.x, f.to.y);
      else
        path_.LineTo(f.to.x, f.to.y);
    }
  }
  bool Shape(CorePointF p) const {
    return tovkit::HitTestPath(p, kTolerance, path_, 0, true, kCoreFillWinding);
  }
  bool Outline(CorePointF p) const {
    return tovkit::HitTestPath(p, kTolerance, path_, 0, false, kCoreFillWinding);
  }

 private:
  CorePath path_;
};

class Cairo {
 public:
  explicit Cairo(const Drawing& drawing)
      : surface_(cairo_image_surface_create(CAIRO_FORMAT_A8, 1000, 1000), cairo_surface_destroy),
        context_(cairo_create(surface_.get()), cairo_destroy) {
    cairo_set_line_width(context_.get(), 2.0 * static_cast<double>(kTolerance));
    cairo_move_to(context_.get(), drawing.start.x, drawing.start.y);
    for (const Segment& f : drawing.segments) {
      if (drawing.curved)
        cairo_curve_to(context_.get(), f.c1.x, f.c1.y, f.c2.x, f.c2.y, f.to.x, f.to.y);
      else
        cairo_line_to(context_.get(), f.to.x, f.to.y);
    }
  }
  bool Shape(CorePointF p) const { return cairo_in_fill(context_.get(), p.x, p.y) != 0 || Outline(p); }
  bool Outline(CorePointF p) const { return cairo_in_stroke(context_.get(), p.x, p.y) != 0; }

 private:
  std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t*)> surface_;
  std::unique_ptr<cairo_t, void (*)(cairo_t*)> context_;
};

class Qt {
 public:
  explicit Qt(const Drawing& drawing) {
    path_.moveTo(static_cast<qreal>(drawing.start.x), static_cast<qreal>(drawing.start.y));
    for (const Segment& f : drawing.segments) {
      if (drawing.curved)
        path_.cubicTo(At(f.c1), At(f.c2), At(f.to));
      else
        path_.lineTo(At(f.to));
    }
    QPainterPathStroker stroker;
    stroker.setWidth(2.0 * static_cast<double>(kTolerance));
    stroke_ = stroker.createStroke(path_);
    stroke_.setFillRule(::Qt::WindingFill);
  }
  bool Shape(CorePointF p) const { return path_.contains(At(p)) || Outline(p); }
  bool Outline(CorePointF p) const { return stroke_.contains(At(p)); }

 private:
  static QPointF At(CorePointF p) { return {static_cast<qreal>(p.x), static_cast<qreal>(p.y)}; }
  QPainterPath path_;
  QPainterPath stroke_;
};

template <typename Library>
void Run(benchmark::State& state, int count, bool curved, bool shape) {
  const Drawing drawing(count, curved);
  const Library library(drawing);
  std::size_t next = 0;
  for (auto _ : state) {
    const CorePointF point = drawing.points[next++ % kPoints];
    benchmark::DoNotOptimize(shape ? library.Shape(point) : library.Outline(point));
  }
  state.counters["per_segment"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * count,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <typename Library>
void Register(const char* who) {
  for (const bool shape : {true, false}) {
    for (const bool curved : {true, false}) {
      for (const int count : {1, 10, 100, 1000}) {
        const std::string name = std::string("hit/") + (shape ? "shape_" : "outline_") +
                                 (curved ? "curves_" : "segments_") + std::to_string(count) + "/" + who;
        benchmark::RegisterBenchmark(
            name.c_str(), [=](benchmark::State& state) { Run<Library>(state, count, curved, shape); });
      }
    }
  }
}

const bool registered = [] {
  Register<Tovkit>("tovkit");
  Register<Cairo>("cairo");
  Register<Qt>("qt");
  return true;
}();

}  // namespace
