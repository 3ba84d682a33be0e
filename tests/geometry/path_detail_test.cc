// SPDX-License-Identifier: MIT
// What HitTestPathDetail tells beside the verdict; the verdict itself is compared in reference_test.cc.
#include "random_paths.h"

#include <tovkit/geometry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

using reference::Numbers;
using reference::RandomPaths;

namespace {

tovkit::HitTestDetail Detail(const CorePath& path, CorePointF point, float tolerance = 1, bool fill = false) {
  return tovkit::HitTestPathDetail(point, tolerance, path, fill);
}

// A move, a line, a quadratic, a cubic, an arc, a close: one after the other along the x axis.
CorePath EveryKind() {
  CorePath path;
  path.MoveTo(0, 0);
  path.LineTo(100, 0);                     // record 1
  path.QuadTo(150, 50, 200, 0);            // 2
  path.CubicTo(230, 50, 270, 50, 300, 0);  // 4
  path.ArcTo(50, 50, 0, 0, 1, 400, 0);     // 7 to 10
  path.LineTo(400, 1000);                  // 11
  path.Close();
  return path;
}

double Sampled(const CorePathPoint* p, int degree, CorePointF at) {
  double nearest = std::numeric_limits<double>::infinity();
  for (int i = 0; i <= 20000; ++i) {
    const double t = i / 20000.0, u = 1 - t;
    const double w2[] = {u * u, 2 * u * t, t * t},
                 w3[] = {u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t};
    double x = 0, y = 0;
    for (int k = 0; k <= degree; ++k) {
      const double w = degree == 2 ? w2[k] : w3[k];
      x += w * static_cast<double>(p[k].x);
      y += w * static_cast<double>(p[k].y);
    }
    nearest = std::min(nearest, std::hypot(x - static_cast<double>(at.x), y - static_cast<double>(at.y)));
  }
  return nearest;
}

}  // namespace

TEST(HitTestDetail, TellsTheRecordThatTheSegmentBeginsWith) {
  const CorePath path = EveryKind();
  const struct {
    CorePointF point;
    int record;
  } rows[] = {{{50, 0.5f}, 1}, {{150, 25}, 2},   {{250, 37.5f}, 4},
              {{350, -50}, 7}, {{400, 500}, 11}, {{200, 500}, 11}};
  for (const auto& row : rows) {
    const tovkit::HitTestDetail detail = Detail(path, row.point);
    EXPECT_TRUE(detail.hit) << row.record;
    EXPECT_EQ(detail.record, row.record);
  }
}

TEST(HitTestDetail, TheFirstSegmentThatIsHitDecides) {
  CorePath path;
  path.MoveTo(0, 0);
  path.LineTo(10, 0);
  path.LineTo(10, 10);
  EXPECT_EQ(Detail(path, {10, 0}).record, 1);
  EXPECT_EQ(Detail(path, {10, 0}, 1, true).record, 1);
}

TEST(HitTestDetail, RaysDecideWithoutARecord) {
  CorePath square;
  square.MoveTo(0, 0);
  square.LineTo(100, 0);
  square.LineTo(100, 100);
  square.LineTo(0, 100);
  tovkit::HitTestDetail open = Detail(square, {50, 40}, 1, true);
  EXPECT_FALSE(open.hit);
  EXPECT_EQ(open.rays, static_cast<unsigned>(tovkit::kHitTestRayRight | tovkit::kHitTestRayDown |
                                             tovkit::kHitTestRayUp));
  square.Close();
  const tovkit::HitTestDetail inside = Detail(square, {50, 40}, 1, true);
  EXPECT_TRUE(inside.hit);
  EXPECT_EQ(inside.record, -1);
  EXPECT_EQ(inside.rays, 15U);
  EXPECT_EQ(inside.distance, 40);
  EXPECT_EQ(Detail(square, {50, 40}, 1, false).rays, 0U) << "the inside was not asked for";
  EXPECT_EQ(Detail(square, {50, 0}, 1, true).rays, 0U) << "a segment is hit";
}

TEST(HitTestDetail, DistanceToLines) {
  CorePath path;
  path.MoveTo(10, 10);
  path.LineTo(20, 10);
  EXPECT_EQ(Detail(path, {15, 13}).distance, 3);
  EXPECT_EQ(Detail(path, {15, 10}).distance, 0);
  EXPECT_DOUBLE_EQ(Detail(path, {6, 7}).distance, 5);
  EXPECT_DOUBLE_EQ(Detail(path, {23, 14}).distance, 5);
  path.Close();
  path.MoveTo(0, 0);
  EXPECT_DOUBLE_EQ(Detail(path, {0, 0}).distance, std::hypot(10, 10)) << "a move draws nothing";
}

TEST(HitTestDetail, DistanceToACircle) {
  CorePath circle;
  circle.MoveTo(-50, 0);
  circle.ArcTo(50, 50, 0, 0, 1, 50, 0);
  circle.ArcTo(50, 50, 0, 0, 1, -50, 0);
  for (const float x : {0.0f, 10.0f, 49.0f, 51.0f, 500.0f}) {
    for (const float y : {0.0f, -20.0f, 300.0f}) {
      const double expected = std::fabs(std::hypot(static_cast<double>(x), static_cast<double>(y)) - 50);
      EXPECT_NEAR(Detail(circle, {x, y}).distance, expected, 0.02) << x << "," << y;
    }
  }
}

TEST(HitTestDetail, DistanceToRandomCurvesIsThatOfTheirNearestSample) {
  RandomPaths random(31);
  for (int i = 0; i < 400; ++i) {
    const int degree = 2 + i % 2;
    CorePathPoint p[4];
    CorePath path;
    for (int k = 0; k <= degree; ++k) {
      const CorePointF at = random.Point(Numbers::kOrdinary);
      p[k] = {at.x, at.y, 0};
    }
    path.MoveTo(p[0].x, p[0].y);
    if (degree == 2) {
      path.QuadTo(p[1].x, p[1].y, p[2].x, p[2].y);
    } else {
      path.CubicTo(p[1].x, p[1].y, p[2].x, p[2].y, p[3].x, p[3].y);
    }
    const CorePointF point = random.Point(Numbers::kOrdinary);
    const double expected = Sampled(p, degree, point);
    const double distance = Detail(path, point).distance;
    ASSERT_LE(distance, expected * (1 + 1e-6));
    ASSERT_GE(distance, expected - 0.02) << "no nearer than the samples allow";
  }
}

TEST(HitTestDetail, APointOnACurveIsAtNoDistance) {
  CorePath path;
  path.MoveTo(0, 0);
  path.CubicTo(0, 100, 100, 100, 100, 0);
  EXPECT_NEAR(Detail(path, {50, 75}).distance, 0, 1e-6);
  EXPECT_EQ(Detail(path, {100, 0}).distance, 0);
}

TEST(HitTestDetail, WhatDrawsNothingIsInfinitelyFar) {
  const double infinity = std::numeric_limits<double>::infinity();
  CorePath path;
  EXPECT_EQ(Detail(path, {0, 0}).distance, infinity);
  EXPECT_EQ(Detail(path, {0, 0}).record, -1);
  path.MoveTo(3, 3);
  EXPECT_EQ(Detail(path, {0, 0}).distance, infinity);
  path.LineTo(NAN, 3);
  EXPECT_EQ(Detail(path, {0, 0}).distance, infinity);
  path.MoveTo(3, 0);
  path.LineTo(3, 9);
  EXPECT_EQ(Detail(path, {0, 0}).distance, 3) << "the broken line does not hide the good one";
  EXPECT_EQ(Detail(path, {NAN, 0}).distance, infinity);
}

TEST(HitTestDetail, CurvesOfWildNumbersEnd) {
  RandomPaths random(5);
  for (int i = 0; i < 3000; ++i) {
    const auto kind = static_cast<Numbers>(random.Below(5));
    const tovkit::HitTestDetail detail = Detail(random.Path(kind, 4), random.Point(kind), 1, true);
    ASSERT_FALSE(std::isnan(detail.distance));
    ASSERT_GE(detail.distance, 0);
  }
}
