#include "hit_map.h"

#include "path_outline.h"
#include "progress.h"

#include <tovkit/geometry.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace cli {

namespace {

constexpr double kFinestScale = 1e30;  // every curve gets the most lines

// The part of the path's plane that the picture shows.
struct View {
  double left, top, scale;
  int width, height;

  double PixelX(double x) const { return (x - left) * scale; }
  double PixelY(double y) const { return (y - top) * scale; }
  float CentreX(int column) const { return static_cast<float>(left + (column + 0.5) / scale); }
  float CentreY(int row) const { return static_cast<float>(top + (row + 0.5) / scale); }
};

View ViewOf(const CorePath& path, float tolerance, int size) {
  const CorePathPoint& first = path.GetPoints()[0];
  OutlinePoint low = {first.x, first.y}, high = low;
  TraceOutline(path, kFinestScale, [&](const OutlineLine& line) {
    for (const OutlinePoint p : {line.from, line.to}) {
      low = {std::min(low.x, p.x), std::min(low.y, p.y)};
      high = {std::max(high.x, p.x), std::max(high.y, p.y)};
    }
  });
  double margin = 0.08 * std::max(high.x - low.x, high.y - low.y);
  if (tolerance > 0 && std::isfinite(tolerance)) margin += 1.5 * static_cast<double>(tolerance);
  if (!(margin > 0)) margin = 1;
  const double width = high.x - low.x + 2 * margin;
  const double height = high.y - low.y + 2 * margin;
  const double scale = size / std::max(width, height);
  const auto pixels = [&](double extent) {
    return std::clamp(static_cast<int>(std::lround(extent * scale)), 1, size);
  };
  return {low.x - margin, low.y - margin, scale, pixels(width), pixels(height)};
}

void Put(std::uint8_t* pixel, unsigned colour, double share) {
  for (int i = 0; i < 3; ++i) {
    const double part = static_cast<double>((colour >> (8 * i)) & 255u);
    pixel[i] = static_cast<std::uint8_t>(std::lround(pixel[i] + (part - pixel[i]) * share));
  }
}

// How much of each pixel the outline covers. Lines overlap at their joints, so the greater share counts.
class Ink {
 public:
  Ink(int width, int height)
      : width_(width),
        height_(height),
        shares_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

  float& At(int x, int y) {
    return shares_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                   static_cast<std::size_t>(x)];
  }

  // A line of 1.5 pixels: for each step along its longer direction, the pixels across.
  void Draw(double x0, double y0, double x1, double y1) {
    const bool steep = std::fabs(y1 - y0) > std::fabs(x1 - x0);
    if (steep) {
      std::swap(x0, y0);
      std::swap(x1, y1);
    }
    if (x0 > x1) {
      std::swap(x0, x1);
      std::swap(y0, y1);
    }
    const double slope = x1 > x0 ? (y1 - y0) / (x1 - x0) : 0;
    const double slant = 1 / std::hypot(1, slope);
    const int last = std::min(static_cast<int>(x1), (steep ? height_ : width_) - 1);
    for (int i = std::max(static_cast<int>(x0), 0); i <= last; ++i) {
      const double across = y0 + (std::clamp(i + 0.5, x0, x1) - x0) * slope;
      const int middle = static_cast<int>(std::floor(across));
      for (int j = middle - 2; j <= middle + 2; ++j) {
        if (j < 0 || j >= (steep ? width_ : height_)) continue;
        float& share = steep ? At(j, i) : At(i, j);
        const double covered = std::clamp(1.25 - std::fabs(j + 0.5 - across) * slant, 0.0, 1.0);
        share = std::max(share, static_cast<float>(covered));
      }
    }
  }

 private:
  int width_;
  int height_;
  std::vector<float> shares_;
};

unsigned ColourAt(const CorePath& path, float tolerance, CorePointF point) {
  if (!tovkit::HitTestPath(point, tolerance, path, 0, true, kCoreFillWinding)) return kMapNothing;
  return tovkit::HitTestPath(point, tolerance, path, 0, false, kCoreFillWinding) ? kMapOutline : kMapInside;
}

}  // namespace

bool DrawHitMap(const CorePath& path, float tolerance, int size, CoreDib& map) {
  const View view = ViewOf(path, tolerance, size);
  if (!map.Create(view.width, view.height, 24)) return false;
  Ink ink(view.width, view.height);
  TraceOutline(path, view.scale, [&](const OutlineLine& line) {
    ink.Draw(view.PixelX(line.from.x), view.PixelY(line.from.y), view.PixelX(line.to.x),
             view.PixelY(line.to.y));
  });
  Progress progress("map", view.height);
  for (int row = 0; row < view.height; ++row, progress.Advance()) {
    std::uint8_t* pixel = map.GetRow(row);
    for (int column = 0; column < view.width; ++column, pixel += 3) {
      Put(pixel, ColourAt(path, tolerance, {view.CentreX(column), view.CentreY(row)}), 1);
      Put(pixel, kMapLine, static_cast<double>(ink.At(column, row)));
    }
  }
  return true;
}

}  // namespace cli
