// SPDX-License-Identifier: MIT
#include "every_call.h"

#include <tovkit/geometry.h>

namespace soak {

void CallGeometry() {
  CorePath path;
  path.MoveTo(0, 0);
  path.LineTo(10, 0);
  path.QuadTo(15, 5, 10, 10);
  path.CubicTo(8, 12, 4, 12, 2, 10);
  path.ArcTo(5, 5, 0, 0, 1, 0, 4);
  path.Close();
  const CorePointF points[] = {{5, 5}, {50, 50}, {10, 0}};
  bool hits[3] = {};
  tovkit::HitTestPathPoints(points, 3, 1, path, true, hits);
  for (int i = 0; i < 3; ++i) {
    const bool hit = tovkit::HitTestPath(points[i], 1, path, 0, true, kCoreFillEvenOdd);
    Require(hit == hits[i], "HitTestPath");
    Require(tovkit::HitTestPathDetail(points[i], 1, path, true).hit == hit, "HitTestPathDetail");
  }
}

}  // namespace soak
