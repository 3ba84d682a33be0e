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

// The distance of a curve's point from another one.
double DistanceAt(const CorePathPoint* p, int degree, double t, CorePointF at) {
  const double u = 1 - t;
  const double w2[] = {u * u, 2 * u * t, t * t}, w3[] = {u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t};
  double x = 0, y = 0;
  for (int k = 0; k <= degree; ++k) {
    const double w = degree == 2 ? w2[k] : w3[k];
    x += w * static_cast<double>(p[k].x);
    y += w * static_cast<double>(p[k].y);
  }
  return std::hypot(x - static_cast<double>(at.x), y - static_cast<double>(at.y));
}

// The least distance: every minimum of 2,000 samples, narrowed by thirds.
double LeastDistance(const CorePathPoint* p, int degree, CorePointF at) {
  constexpr int kSteps = 2000;
  const auto sample = [&](int i) { return DistanceAt(p, degree, i / static_cast<double>(kSteps), at); };
  double least = std::min(sample(0), sample(kSteps));
  for (int i = 1; i < kSteps; ++i) {
    if (sample(i) > sample(i - 1) || sample(i) > sample(i + 1)) continue;
    double from = (i - 1) / static_cast<double>(kSteps), to = (i + 1) / static_cast<double>(kSteps);
    for (int step = 0; step < 80; ++step) {
      const double a = from + (to - from) / 3, b = to - (to - from) / 3;
      (DistanceAt(p, degree, a, at) < DistanceAt(p, degree, b, at) ? to : from) =
          DistanceAt(p, degree, a, at) < DistanceAt(p, degree, b, at) ? b : a;
    }
    least = std::min(least, DistanceAt(p, degree, from, at));
  }
  return least;
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

TEST(HitTestDetail, TheVerdictIsAlwaysThatOfHitTestPath) {
  RandomPaths random(77);
  int hits = 0;
  for (int i = 0; i < 3000; ++i) {
    const auto kind = static_cast<Numbers>(random.Below(reference::kNumberKinds));
    const CorePath path = random.Path(kind, 4);
    const CorePointF point = random.Point(kind);
    const float tolerance = random.Tolerance(kind);
    for (const bool fill : {false, true}) {
      const bool hit = tovkit::HitTestPath(point, tolerance, path, 0, fill, kCoreFillWinding);
      ASSERT_EQ(Detail(path, point, tolerance, fill).hit, hit) << i;
      hits += hit ? 1 : 0;
    }
  }
  EXPECT_GT(hits, 500);
  EXPECT_LT(hits, 5500);
}

TEST(HitTestDetail, APointMayBeNearerThanTheToleranceAndNoHitOrFartherAndAHit) {
  CorePath line, curve;
  line.MoveTo(0, 0);
  line.LineTo(10, 0);
  const tovkit::HitTestDetail level = Detail(line, {1000, 0}, 1);
  EXPECT_TRUE(level.hit);
  EXPECT_EQ(level.distance, 990);
  curve.MoveTo(0, 0);
  curve.QuadTo(50, 100, 100, 0);
  const tovkit::HitTestDetail corner = Detail(curve, {-0.3f, -0.4f}, 1);
  EXPECT_FALSE(corner.hit);
  EXPECT_NEAR(corner.distance, 0.5, 1e-6);
}

TEST(HitTestDetail, APointInsideTheShapeIsAHitAsWellAndTheRaysDecideWithoutARecord) {
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

TEST(HitTestDetail, TheDistanceToRandomCurvesIsTheEuclideanOneToSomeSevenDigits) {
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
    const double expected = LeastDistance(p, degree, point);
    ASSERT_NEAR(Detail(path, point).distance, expected, expected * 2e-7 + 1e-9);
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
  path.LineTo(3, 9);
  EXPECT_EQ(Detail(path, {NAN, 0}).distance, infinity);
}

TEST(HitTestDetail, SegmentsWhoseNumbersAreNotFiniteDoNotCountForTheDistance) {
  const float infinity = std::numeric_limits<float>::infinity();
  CorePath path;
  path.MoveTo(3, 3);
  for (const float odd : {NAN, infinity, -infinity}) {
    path.LineTo(odd, 3);
    path.LineTo(1, 1);
    path.QuadTo(1, odd, 2, 2);
    path.CubicTo(0, 0, odd, 0, 2, 2);
    path.ArcTo(5, odd, 0, 0, 1, 0, 0);
    path.MoveTo(3, 3);
  }
  EXPECT_EQ(Detail(path, {0, 0}).distance, std::numeric_limits<double>::infinity());
  path.MoveTo(3, 0);
  path.LineTo(3, 9);
  EXPECT_EQ(Detail(path, {0, 0}).distance, 3) << "the broken ones do not hide the good one";
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
