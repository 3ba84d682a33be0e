// SPDX-License-Identifier: MIT
// Asks, for each place of a small grid, whether it touches a shape: its outline (#) or its inside (.).
#include <tovkit/geometry.h>

#include <cstdio>

using namespace tovkit;

int main() {
  CorePath shape;  // a triangle, and a ribbon below it
  shape.MoveTo(2, 10);
  shape.LineTo(16, 1);
  shape.LineTo(30, 10);
  shape.Close();
  shape.MoveTo(2, 13);
  shape.CubicTo(12, 8, 20, 18, 30, 13);

  for (int y = 0; y < 17; ++y) {
    char row[34] = {};
    for (int x = 0; x < 33; ++x) {
      const CorePointF point{x + 0.01f, y + 0.01f};  // never exactly level with an edge
      const bool outline = HitTestPath(point, 0.5f, shape, 0, false, kCoreFillWinding);
      const bool inside = HitTestPath(point, 0, shape, 0, true, kCoreFillWinding);
      row[x] = outline ? '#' : inside ? '.' : ' ';
    }
    std::printf("%s|\n", row);
  }
  return 0;
}
