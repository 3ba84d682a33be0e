// SPDX-License-Identifier: MIT
// The core hit-tests the center of every pixel and draws the outline over the verdicts. The outline is
// turned into pixels in double precision first: a matrix of floats would lose a path that lies far out.
#include "hit_map.h"

#include "arc_curves.h"
#include "path_bounds.h"

#include <tovkit/geometry.h>
#include <tovmx/device.h>
#include <tovmx/path_walk.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>

namespace jobs {

namespace {

constexpr float kStrokeWidth = 1.5f;  // pixels

struct View : HitMapView {
  CorePathPoint ToPixels(const CorePathPoint& p) const {
    return {static_cast<float>((p.x - left) * scale), static_cast<float>((p.y - top) * scale), 0};
  }
  CorePointF CenterOf(int column, int row) const {
    return {static_cast<float>(left + (column + 0.5) / scale), static_cast<float>(top + (row + 0.5) / scale)};
  }
};

}  // namespace

HitMapView ViewOfHitMap(const CorePath& path, float tolerance, int size) {
  const Bounds bounds = BoundsOf(path);
  double margin = 0.08 * std::max(bounds.Width(), bounds.Height());
  if (tolerance > 0 && std::isfinite(tolerance)) margin += 1.5 * static_cast<double>(tolerance);
  if (!(margin > 0)) margin = 1;
  const double width = bounds.Width() + 2 * margin;
  const double height = bounds.Height() + 2 * margin;
  const double scale = size / std::max(width, height);
  const auto pixels = [&](double extent) {
    return std::clamp(static_cast<int>(std::lround(extent * scale)), 1, size);
  };
  return {bounds.from.x - margin, bounds.from.y - margin, scale, pixels(width), pixels(height)};
}

namespace {

// The outline in pixels. The path's own coordinates may be beyond what a matrix of floats brings back.
class OutlineBuilder {
 public:
  explicit OutlineBuilder(const View& view) : view_(view) {}

  const CorePath& outline() const { return outline_; }

  bool Line(const CorePathPoint& from, const CorePathPoint& to) {
    Continue(from);
    const CorePathPoint end = view_.ToPixels(to);
    outline_.LineTo(end.x, end.y);
    last_ = &to;
    return false;
  }
  bool Quad(const CorePathPoint* points) {
    Continue(points[0]);
    const CorePathPoint control = view_.ToPixels(points[1]);
    const CorePathPoint end = view_.ToPixels(points[2]);
    outline_.QuadTo(control.x, control.y, end.x, end.y);
    last_ = points + 2;
    return false;
  }
  bool Cubic(const CorePathPoint* points) {
    Continue(points[0]);
    AddCubic(points);
    last_ = points + 3;
    return false;
  }
  bool Arc(const CorePathPoint* records) {
    CorePathPoint curves[1 + 3 * kCoreMaxArcCurves];
    const int count = FiniteArcCurves(records, curves);
    if (count == 0) return false;
    Continue(records[0]);
    for (int i = 0; i < count; ++i) AddCubic(curves + 3 * i);
    last_ = records + 4;
    return false;
  }
  // Draws a line instead of closing, since the subpath may go on from there. The start may be the walk's own
  // origin.
  bool Close(const CorePathPoint& from, const CorePathPoint& start) {
    Line(from, start);
    last_ = nullptr;
    return false;
  }

 private:
  // The walk reports no moves: a segment that does not start where the last one ended begins a subpath.
  void Continue(const CorePathPoint& from) {
    if (&from == last_) return;
    const CorePathPoint start = view_.ToPixels(from);
    outline_.MoveTo(start.x, start.y);
  }

  void AddCubic(const CorePathPoint* points) {
    const CorePathPoint c1 = view_.ToPixels(points[1]);
    const CorePathPoint c2 = view_.ToPixels(points[2]);
    const CorePathPoint end = view_.ToPixels(points[3]);
    outline_.CubicTo(c1.x, c1.y, c2.x, c2.y, end.x, end.y);
  }

  const View& view_;
  CorePath outline_;
  const CorePathPoint* last_ = nullptr;  // the end of the last segment
};

// The verdicts on the pixels of some rows, of both tests, which are asked for many pixels at once.
class Verdicts {
 public:
  static constexpr int kPixels = 1 << 18;  // of the rows together; of a longer row, its own

  // Of the rows from `first` on; false when memory is short.
  bool Ask(const CorePath& path, float tolerance, const View& view, int first, int rows) {
    const auto count = static_cast<std::size_t>(view.width) * static_cast<std::size_t>(rows);
    if (!points_) {
      points_.reset(new (std::nothrow) CorePointF[count]);
      shape_.reset(new (std::nothrow) bool[count]);
      outline_.reset(new (std::nothrow) bool[count]);
    }
    if (!points_ || !shape_ || !outline_) return false;
    for (int row = 0; row < rows; ++row) {
      for (int column = 0; column < view.width; ++column)
        points_[static_cast<std::size_t>(row) * static_cast<std::size_t>(view.width) +
                static_cast<std::size_t>(column)] = view.CenterOf(column, first + row);
    }
    tovkit::HitTestPathPoints(points_.get(), count, tolerance, path, true, shape_.get());
    tovkit::HitTestPathPoints(points_.get(), count, tolerance, path, false, outline_.get());
    return true;
  }

  std::uint32_t ColorOf(std::size_t pixel) const {
    if (!shape_[pixel]) return kMapMiss;
    return outline_[pixel] ? kMapOutline : kMapInside;
  }

 private:
  std::unique_ptr<CorePointF[]> points_;
  std::unique_ptr<bool[]> shape_;
  std::unique_ptr<bool[]> outline_;
};

void Put(std::uint8_t* pixel, std::uint32_t argb) {
  for (int i = 0; i < 3; ++i) pixel[i] = static_cast<std::uint8_t>(argb >> (8 * i));
}

}  // namespace

bool DrawHitMap(const CorePath& path, float tolerance, int size, Observer& observer, CoreDib& map) {
  assert(path.GetPointCounter() >= 0 && size >= 1 && size <= CoreBitmapDevice::kMaxSide);
  const View view = {ViewOfHitMap(path, tolerance, size)};
  if (!map.Create(view.width, view.height, 24)) return false;
  observer.BeginPart("map", view.height);
  const int atOnce = std::clamp(Verdicts::kPixels / view.width, 1, view.height);
  Verdicts verdicts;
  for (int first = 0; first < view.height; first += atOnce) {
    const int rows = std::min(atOnce, view.height - first);
    if (!verdicts.Ask(path, tolerance, view, first, rows)) return false;
    std::size_t asked = 0;
    for (int row = first; row < first + rows; ++row) {
      std::uint8_t* pixel = map.GetRow(row);
      for (int column = 0; column < view.width; ++column, pixel += 3) Put(pixel, verdicts.ColorOf(asked++));
      observer.Advance();
    }
  }
  observer.EndPart();
  OutlineBuilder builder(view);
  CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, builder);
  if (builder.outline().GetPointCounter() < 0) return true;
  CoreBitmapDevice device(&map);
  return device.StrokePath(builder.outline(), kStrokeWidth, CoreMatrix(), kMapStroke) && device.Flush();
}

}  // namespace jobs
