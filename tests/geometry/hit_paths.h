// SPDX-License-Identifier: MIT
// Paths that tests hit, and the two questions, asked of the reference implementation too.
#pragma once

#include "reference_hit.h"

#include <tovkit/geometry.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

inline CorePath Polyline(const std::vector<CorePointF>& points, bool close = false) {
  CorePath path;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (i == 0)
      path.MoveTo(points[i].x, points[i].y);
    else
      path.LineTo(points[i].x, points[i].y);
  }
  if (close) path.Close();
  return path;
}

inline CorePath Square() { return Polyline({{0, 0}, {10, 0}, {10, 10}, {0, 10}}, true); }

inline CorePath Records(const std::vector<CorePathPoint>& records) {
  CorePath path;
  for (const CorePathPoint& record : records) path.AddPoint(record);
  return path;
}

inline bool Outline(const CorePath& path, CorePointF point, float tolerance) {
  const bool hit = tovkit::HitTestPath(point, tolerance, path, 0, false, kCoreFillWinding);
  EXPECT_EQ(hit, reference::ReferenceHitTestPath(point, tolerance, path, 0, false, kCoreFillWinding));
  return hit;
}

inline bool Inside(const CorePath& path, CorePointF point, float tolerance) {
  const bool hit = tovkit::HitTestPath(point, tolerance, path, 0, true, kCoreFillWinding);
  EXPECT_EQ(hit, reference::ReferenceHitTestPath(point, tolerance, path, 0, true, kCoreFillWinding));
  return hit;
}

// An S-like cubic and an arch of a quadratic, both 0 to 100 in x.
inline CorePath Arch() {
  CorePath path;
  path.MoveTo(0, 0);
  path.QuadTo(50, 100, 100, 0);
  return path;
}
