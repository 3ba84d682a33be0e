// SPDX-License-Identifier: MIT
// What HitTestPath answers, condition by condition.
#include "hit_paths.h"

#include <tovkit/geometry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

}  // namespace

// --- the whole path ---

TEST(HitTest, EmptyPathIsNoHit) {
  EXPECT_FALSE(Outline(CorePath(), {0, 0}, kInfinity));
  EXPECT_FALSE(Inside(CorePath(), {0, 0}, kInfinity));
}

TEST(HitTest, PointOnAStraightEdgeOfAClosedSquareHitsEitherWay) {
  for (const CorePointF point : {CorePointF{5, 0}, {10, 5}, {5, 10}, {0, 5}, {0, 0}, {10, 10}}) {
    EXPECT_TRUE(Outline(Square(), point, 0)) << point.x << "," << point.y;
    EXPECT_TRUE(Inside(Square(), point, 0)) << point.x << "," << point.y;
  }
}

TEST(HitTest, MiddleOfAClosedSquareIsInsideButNotOnTheOutline) {
  EXPECT_TRUE(Inside(Square(), {5, 5}, 0.5f));
  EXPECT_FALSE(Outline(Square(), {5, 5}, 0.5f));
  EXPECT_TRUE(Outline(Square(), {5, 5}, 5));
}

TEST(HitTest, OpenSquareIsClosedOnlyByItsFlag) {
  const std::vector<CorePointF> corners = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};
  EXPECT_FALSE(Inside(Polyline(corners), {5, 5}, 0.1f));
  EXPECT_TRUE(Inside(Polyline(corners, true), {5, 5}, 0.1f));
  EXPECT_FALSE(Outline(Polyline(corners), {0.05f, 5}, 0.1f));
  EXPECT_TRUE(Outline(Polyline(corners, true), {0.05f, 5}, 0.1f));
}

TEST(HitTest, PointInsideAnOpenUIsOutside) {
  EXPECT_FALSE(Inside(Polyline({{0, 0}, {0, 10}, {10, 10}, {10, 0}}), {5, 5}, 0.1f));  // open upwards
  EXPECT_FALSE(Inside(Polyline({{0, 10}, {0, 0}, {10, 0}, {10, 10}}), {5, 5}, 0.1f));  // downwards
  EXPECT_FALSE(Inside(Polyline({{0, 0}, {10, 0}, {10, 10}, {0, 10}}), {5, 5}, 0.1f));  // to the left
  EXPECT_FALSE(Inside(Polyline({{10, 0}, {0, 0}, {0, 10}, {10, 10}}), {5, 5}, 0.1f));  // to the right
}

TEST(HitTest, OutsideOfAClosedSquareIsNoHit) {
  for (const CorePointF point : {CorePointF{-5, 5}, {15, 5}, {5, -5}, {5, 15}, {-5, -5}, {15, 15}})
    EXPECT_FALSE(Inside(Square(), point, 0.5f)) << point.x << "," << point.y;
}

TEST(HitTest, HoleOfARingIsInside) {
  CorePath ring = Square();
  for (const CorePointF p : {CorePointF{3, 3}, {7, 3}, {7, 7}, {3, 7}}) {
    if (p.x == 3 && p.y == 3)
      ring.MoveTo(p.x, p.y);
    else
      ring.LineTo(p.x, p.y);
  }
  ring.Close();
  EXPECT_TRUE(Inside(ring, {5, 5}, 0.1f));
}

TEST(HitTest, FillModeAndReservedNeverChangeTheAnswer) {
  for (const CorePath& path : {Square(), Arch(), Polyline({{0, 0}, {0, 10}, {10, 10}, {10, 0}})}) {
    for (int i = 0; i < 200; ++i) {
      const int row = i / 20;
      const CorePointF point = {static_cast<float>(i % 20) - 4.0f, static_cast<float>(row) * 2.0f - 4.0f};
      for (const bool fill : {false, true}) {
        const bool answer = tovkit::HitTestPath(point, 1, path, 0, fill, kCoreFillEvenOdd);
        EXPECT_EQ(answer, tovkit::HitTestPath(point, 1, path, 0, fill, kCoreFillWinding));
        EXPECT_EQ(answer, tovkit::HitTestPath(point, 1, path, 1e9f, fill, kCoreFillEvenOdd));
        EXPECT_EQ(answer, tovkit::HitTestPath(point, 1, path, kNaN, fill, static_cast<CoreFillMode>(77)));
      }
    }
  }
}

// --- breaking records into segments ---

TEST(Segments, FirstRecordThatIsNoMoveDrawsNothingButIsTheCurrentPoint) {
  EXPECT_FALSE(Outline(Records({{3, 3, kCorePathLine}}), {3, 3}, 1));
  EXPECT_TRUE(Outline(Records({{0, 0, kCorePathLine}, {10, 10, kCorePathLine}}), {5, 5}, 0));
  EXPECT_FALSE(Outline(Records({{0, 0, kCorePathCubic}, {4, 9, 0}, {6, 9, 0}, {10, 0, 0}}), {0, 0}, 1));
}

TEST(Segments, ClosingBeforeAnyStartGoesToTheOrigin) {
  EXPECT_TRUE(Outline(Records({{10, 10, kCorePathLine | kCorePathClose}}), {5, 5}, 0));
}

TEST(Segments, MoveWinsOverOtherFlags) {
  EXPECT_FALSE(Outline(Records({{0, 0, kCorePathMove}, {10, 10, kCorePathMove | kCorePathLine}}), {5, 5}, 1));
}

TEST(Segments, MoveThatIsClosedIsAPoint) {
  const CorePath dot = Records({{5, 5, kCorePathMove | kCorePathClose}});
  EXPECT_TRUE(Outline(dot, {6, 6}, 1.5f));
  EXPECT_FALSE(Outline(dot, {6, 6}, 1.4f));
}

TEST(Segments, LineWinsOverCurveFlags) {
  const CorePath path =
      Records({{0, 0, kCorePathMove}, {10, 0, kCorePathLine | kCorePathQuad}, {20, 7, kCorePathLine}});
  EXPECT_TRUE(Outline(path, {15, 3.5f}, 0.01f));
}

TEST(Segments, CloseFlagCountsOnTheLastRecordThatWasConsumed) {
  // On the control point of a curve it means nothing.
  const CorePath onControl =
      Records({{0, 0, kCorePathMove}, {50, 100, kCorePathQuad | kCorePathClose}, {100, 0, 0}});
  EXPECT_FALSE(Outline(onControl, {50, 5}, 6));
  const CorePath onEnd = Records({{0, 0, kCorePathMove}, {50, 100, kCorePathQuad}, {100, 0, kCorePathClose}});
  EXPECT_TRUE(Outline(onEnd, {50, 5}, 6));
}

TEST(Segments, CloseGoesToTheStartOfTheLastSubpath) {
  CorePath path;
  path.MoveTo(-100, -100);
  path.MoveTo(0, 0);
  path.LineTo(10, 0);
  path.LineTo(10, 10);
  path.Close();
  EXPECT_TRUE(Outline(path, {5, 5}, 0.01f));
  EXPECT_FALSE(Outline(path, {-50, -50}, 0.01f));
}

TEST(Segments, CurvesWithMissingRecordsAreSkippedButMoveTheCurrentPoint) {
  for (const std::uint32_t flag : {kCorePathQuad, kCorePathCubic, kCorePathArc}) {
    const CorePath path = Records({{0, 0, kCorePathMove}, {10, 0, flag | kCorePathClose}});
    EXPECT_TRUE(Outline(path, {5, 0}, 0)) << "closed back to the start, flag " << flag;
    EXPECT_FALSE(Outline(Records({{0, 0, kCorePathMove}, {10, 5, flag}}), {5, 2.5f}, 1)) << flag;
  }
  // One record short: the cubic is skipped, its followers carry no flag, and the line starts at the last of
  // them.
  const CorePath path =
      Records({{0, 0, kCorePathMove}, {1, 50, 0}, {2, 60, kCorePathCubic}, {20, 80, kCorePathLine}});
  EXPECT_TRUE(Outline(path, {11, 70}, 0.1f));
}

TEST(Segments, UnknownFlagsMeanNothing) {
  const CorePath path =
      Records({{0, 0, kCorePathMove | 0x80000001u}, {10, 10, 0xffffe000u}, {20, 0, kCorePathLine | 0x40}});
  EXPECT_FALSE(Outline(path, {5, 5}, 0.1f));
  EXPECT_TRUE(Outline(path, {15, 5}, 0.1f));
}

TEST(Segments, ArcIsTestedAsCurves) {
  CorePath path;
  path.MoveTo(10, 0);
  path.ArcTo(10, 10, 0, 0, 1, 0, 10);
  const float onArc = 10.0f * std::sqrt(0.5f);
  EXPECT_TRUE(Outline(path, {onArc, onArc}, 0.05f));
  EXPECT_FALSE(Outline(path, {onArc, onArc - 1}, 0.05f));
  path.LineTo(-20, 10);  // from the arc's end
  EXPECT_TRUE(Outline(path, {-10, 10}, 0));
}

// --- segments ---

struct SegmentCase {
  const char* condition;
  CorePointF a, b, point;
  float tolerance;
  bool hit;
};

TEST(Segment, HitByThePlaceOfThePoint) {
  const SegmentCase cases[] = {
      {"corner region, end within the tolerance", {0, 0}, {10, 10}, {-3, -4}, 5, true},
      {"corner region, end just beyond", {0, 0}, {10, 10}, {-3, -4}, 4.999f, false},
      {"corner region, other end within", {0, 0}, {10, 10}, {13, 14}, 5, true},
      {"corner region, diagonal reach does not count", {0, 0}, {10, 10}, {-3, -4}, 4, false},
      {"above, within the tolerance of an end", {0, 0}, {10, 1}, {1, -2}, 2.3f, true},
      {"above, within 1.41 times the tolerance along y", {0, 0}, {10, 1}, {5, -0.8f}, 1, true},
      {"above, beyond 1.41 times the tolerance", {0, 0}, {10, 1}, {5, -1}, 1, false},
      {"below", {0, 0}, {10, 1}, {5, 1.8f}, 1, true},
      {"left, within 1.41 times the tolerance along x", {0, 0}, {1, 10}, {-0.8f, 5}, 1, true},
      {"left, beyond", {0, 0}, {1, 10}, {-1, 5}, 1, false},
      {"right", {0, 0}, {1, 10}, {1.8f, 5}, 1, true},
      {"left, within the tolerance of an end", {0, 0}, {1, 10}, {-2, 1}, 2.3f, true},
      {"inside the box, near along x", {0, 0}, {1, 10}, {0.9f, 5}, 0.4f, true},
      {"inside the box, near along y", {0, 0}, {10, 1}, {5, 0.1f}, 0.4f, true},
      {"inside the box, far", {0, 0}, {10, 10}, {9, 1}, 1, false},
      {"on the border of the box, far", {0, 0}, {10, 10}, {10, 0}, 1, false},
      {"level with a horizontal segment, far away", {0, 0}, {10, 0}, {1000, 0}, 0, true},
      {"below a vertical segment, far away", {0, 0}, {0, 10}, {0, 1000}, 0, true},
      {"beside a vertical segment", {0, 0}, {0, 10}, {1, 5}, 1, true},
      {"beside a vertical segment, beyond", {0, 0}, {0, 10}, {1.5f, 5}, 1, false},
      {"a point of zero length, at it", {3, 3}, {3, 3}, {3, 3}, 0, false},
      {"a point of zero length, in a corner", {3, 3}, {3, 3}, {4, 4}, 1.5f, true},
      {"negative tolerance", {0, 0}, {10, 10}, {5, 5}, -1, false},
      {"NaN tolerance", {0, 0}, {10, 10}, {5, 5}, kNaN, false},
      {"infinite tolerance", {0, 0}, {10, 10}, {5000, 5}, kInfinity, true},
      {"NaN point", {0, 0}, {10, 10}, {kNaN, 5}, 1, false},
  };
  for (const SegmentCase& c : cases) {
    EXPECT_EQ(Outline(Polyline({c.a, c.b}), c.point, c.tolerance), c.hit) << c.condition;
    EXPECT_EQ(Outline(Polyline({c.b, c.a}), c.point, c.tolerance), c.hit) << c.condition << ", reversed";
  }
}

// Each ray is blocked by a segment of its own.
TEST(HitTest, InsideMeansThatTheRaysToTheLeftRightUpAndDownEachCrossTheOutline) {
  const std::vector<CorePointF> around[4] = {
      {{-3, -9}, {4, -8}}, {{-3, 9}, {4, 8}}, {{-9, -3}, {-8, 4}}, {{9, -3}, {8, 4}}};
  for (int without = -1; without < 4; ++without) {
    CorePath path;
    for (int i = 0; i < 4; ++i) {
      if (i == without) continue;
      path.MoveTo(around[i][0].x, around[i][0].y);
      path.LineTo(around[i][1].x, around[i][1].y);
    }
    EXPECT_EQ(Inside(path, {0, 0}, 0.1f), without == -1) << without;
  }
}

TEST(Segment, CurvesAndTheEndsOfLinesAreHitWithinTheToleranceLinesBesideThemWithin1Point41TimesIt) {
  const float less = std::nextafter(5.0f, 0.0f);
  EXPECT_TRUE(Outline(Square(), {13, 14}, 5)) << "beyond a corner";
  EXPECT_FALSE(Outline(Square(), {13, 14}, less));
  EXPECT_TRUE(Outline(Arch(), {50, 55}, 5));
  EXPECT_FALSE(Outline(Arch(), {50, 55}, less));
  for (const float beside : {-7.07f, 17.07f}) {
    EXPECT_TRUE(Outline(Square(), {5, beside}, 5));
    EXPECT_TRUE(Outline(Square(), {beside, 5}, 5));
  }
  for (const float beyond : {-7.08f, 17.08f}) {
    EXPECT_FALSE(Outline(Square(), {5, beyond}, 5));
    EXPECT_FALSE(Outline(Square(), {beyond, 5}, 5));
  }
}

TEST(HitTest, WithANegativeOrNaNToleranceTheOutlineIsNeverHit) {
  for (const float never : {-1.0f, -1e-30f, -kInfinity, kNaN}) {
    for (const CorePointF point : {CorePointF{5, 0}, {0, 0}, {10, 7}, {5, 5}}) {
      EXPECT_FALSE(Outline(Square(), point, never)) << never;
      EXPECT_FALSE(Outline(Arch(), {50, 50}, never)) << never;
    }
  }
}

TEST(Segment, APointBesideAnEdgeSlopingOrNotHitsItWithin1Point41TimesTheToleranceAlongAnAxis) {
  for (const float rise : {0.0f, 10.0f, -60.0f}) {
    const float middle = rise / 2;
    const CorePath flat = Polyline({{0, 0}, {100, rise}}), steep = Polyline({{0, 0}, {rise, 100}});
    for (const float sign : {-1.0f, 1.0f}) {
      EXPECT_TRUE(Outline(flat, {50, middle + sign * 2.82f}, 2)) << rise;
      EXPECT_FALSE(Outline(flat, {50, middle + sign * 2.84f}, 2)) << rise;
      EXPECT_TRUE(Outline(steep, {middle + sign * 2.82f, 50}, 2)) << rise;
      EXPECT_FALSE(Outline(steep, {middle + sign * 2.84f, 50}, 2)) << rise;
    }
  }
}

TEST(Segment, CrossingWithinTheDiagonalToleranceIsNotCounted) {
  // The upper edge is 2 away along y: beyond the tolerance of its ends, but within 1.41 times it of the ray.
  CorePath path = Polyline({{-9, -2}, {9, -2.2f}});
  for (const CorePointF p : {CorePointF{-9, 9}, {9, 9}}) path.LineTo(p.x, p.y);
  path.Close();
  EXPECT_TRUE(Inside(path, {0, 0}, 1.4f));
  EXPECT_TRUE(Inside(path, {0, 0}, 1.6f)) << "then it is a hit";
}

// --- bad input ---

TEST(BadInput, NaNAndInfiniteNumbersOnlyMakeComparisonsFalse) {
  const float odd[] = {kNaN, kInfinity, -kInfinity, 0.0f, -0.0f, 1e-45f, 3e38f, -3e38f, 1.0f};
  for (const float a : odd) {
    for (const float b : odd) {
      CorePath path;
      path.MoveTo(a, b);
      path.LineTo(b, 1);
      path.QuadTo(1, a, b, b);
      path.CubicTo(a, 2, b, a, 3, b);
      path.ArcTo(a, b, 1, 0, 1, 7, 7);
      path.ArcTo(2, 3, 1, a, b, b, a);
      path.Close();
      for (const float x : odd) {
        for (const float tolerance : odd) {
          Outline(path, {x, b}, tolerance);
          Inside(path, {a, x}, tolerance);
        }
      }
    }
  }
}

TEST(BadInput, ArcsWithEqualEndsARadiusOf0OrNumbersThatAreNotFiniteDrawNothing) {
  const float arcs[][7] = {
      {0, 10, 0, 0, 1, 20, 0},          {10, 0, 0, 0, 1, 20, 0},    {0, 0, 0, 0, 1, 20, 0},
      {10, 10, 0, 0, 1, 0, 0},          {kNaN, 10, 0, 0, 1, 20, 0}, {10, 10, kNaN, 0, 1, 20, 0},
      {10, 10, kInfinity, 0, 1, 20, 0}, {10, 10, 0, 0, 1, kNaN, 0}, {10, 10, 0, 0, 1, 20, kInfinity}};
  for (const auto& a : arcs) {
    CorePath path;
    path.MoveTo(0, 0);
    path.ArcTo(a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
    EXPECT_FALSE(Outline(path, {10, 5}, 1000)) << a[0] << " " << a[1] << " " << a[2];
  }
}

TEST(BadInput, HugeRotationsEnd) {
  for (const float rotation : {1e30f, -1e30f, 3.4e38f, 134217728.0f, 134217720.0f, -134217720.0f}) {
    CorePath path;
    path.MoveTo(0, 0);
    for (int i = 0; i < 1000; ++i) path.ArcTo(10, 20, rotation, 0, 1, static_cast<float>(i % 7), 5);
    tovkit::HitTestPath({1000, 2}, 1, path, 0, true, kCoreFillEvenOdd);
  }
}

TEST(BadInput, AMillionRecords) {
  CorePath path;
  path.MoveTo(0, 0);
  for (int i = 1; i < 1000000; ++i)
    path.AddPoint({static_cast<float>(i), static_cast<float>(i % 2), 1u << (i % 13)});
  EXPECT_FALSE(tovkit::HitTestPath({500, 50}, 1, path, 0, false, kCoreFillEvenOdd));
  tovkit::HitTestPath({500, 50}, 1, path, 0, true, kCoreFillEvenOdd);
}

// --- what is not obvious ---

// A quarter's largest step is the one at its end, where it runs straight along the axis.
TEST(Oddities, TheCenterOfACircleMadeOfFourQuartersIsNotInside) {
  CorePath circle;
  circle.MoveTo(10, 0);
  circle.ArcTo(10, 10, 0, 0, 1, 0, 10);
  circle.ArcTo(10, 10, 0, 0, 1, -10, 0);
  circle.ArcTo(10, 10, 0, 0, 1, 0, -10);
  circle.ArcTo(10, 10, 0, 0, 1, 10, 0);
  EXPECT_FALSE(Inside(circle, {0, 0}, 0.5f));
  EXPECT_FALSE(Inside(circle, {0.1f, 5}, 0.5f));
  EXPECT_TRUE(Inside(circle, {0.5f, 0.5f}, 0.5f));
  EXPECT_TRUE(Inside(circle, {3, -4}, 0.5f));
  EXPECT_FALSE(Inside(circle, {9, -9}, 0.5f));
}

TEST(Oddities, AVerticalEdgeIsCrossedByTheRayTowardsItEvenFromAboveOrBelowAHorizontalOneFromBesideIt) {
  using tovkit::HitTestPathDetail;
  const CorePath vertical = Polyline({{9, 20}, {9, 30}}), horizontal = Polyline({{20, 9}, {30, 9}});
  for (const float beyond : {-100.0f, 10.0f, 40.0f, 1000.0f}) {
    EXPECT_EQ(HitTestPathDetail({0, beyond}, 0.5f, vertical, true).rays, +tovkit::kHitTestRayRight);
    EXPECT_EQ(HitTestPathDetail({20, beyond}, 0.5f, vertical, true).rays, +tovkit::kHitTestRayLeft);
    EXPECT_EQ(HitTestPathDetail({beyond, 0}, 0.5f, horizontal, true).rays, +tovkit::kHitTestRayDown);
    EXPECT_EQ(HitTestPathDetail({beyond, 20}, 0.5f, horizontal, true).rays, +tovkit::kHitTestRayUp);
  }
  const CorePath sloping = Polyline({{9, 20}, {9.5f, 30}});
  EXPECT_EQ(HitTestPathDetail({0, 10}, 0.5f, sloping, true).rays, 0U) << "a sloping one is not";
}

// The line that closes a circle of curves at its seam has no length.
TEST(Oddities, AClosedCircleOfCurvesIsHitInTheCornerRegionsOfItsSeam) {
  CorePath open;
  open.MoveTo(0, 0);
  open.CubicTo(10, 0, 10, 10, 0, 10);
  open.CubicTo(4, 8, 4, 2, 0, 0);
  CorePath closed(open);
  closed.Close();
  const CorePointF corner = {-0.5f, -0.5f};  // outside the boxes of both curves
  EXPECT_FALSE(Outline(open, corner, 1));
  EXPECT_TRUE(Outline(closed, corner, 1));
  EXPECT_FALSE(Outline(closed, corner, 0.7f)) << "beyond the tolerance";
}

TEST(Oddities, ASegmentWithoutLengthIsHitByPointsOffItInBothXAndYAndByNoOthers) {
  // The one that closes a subpath where it began, and a line of its own.
  for (const CorePath& point : {Polyline({{3, 3}}, true), Polyline({{3, 3}, {3, 3}})}) {
    for (const float dx : {-1.0f, 0.0f, 1.0f}) {
      for (const float dy : {-1.0f, 0.0f, 1.0f}) {
        EXPECT_EQ(Outline(point, {3 + dx, 3 + dy}, 1.5f), dx != 0 && dy != 0) << dx << ", " << dy;
        EXPECT_FALSE(Outline(point, {3 + dx, 3 + dy}, 1.4f)) << "beyond the tolerance";
      }
    }
  }
}

TEST(Oddities, LongCurveCanBeMissedBetweenSamples) {
  CorePath path;
  path.MoveTo(0, 0);
  path.QuadTo(5000, 1, 10000, 0);
  int missed = 0;
  for (int x = 0; x < 10000; x += 7) {
    const float t = static_cast<float>(x) / 10000.0f;
    missed += Outline(path, {static_cast<float>(x), 2.0f * t * (1.0f - t)}, 1) ? 0 : 1;
  }
  EXPECT_GT(missed, 0);
}
