// SPDX-License-Identifier: MIT
// What HitTestPath answers for curves: their samples, what lies between them, and what rays cross.
#include "hit_paths.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(Curve, NearestSampleWithinTheToleranceHits) {
  EXPECT_TRUE(Outline(Arch(), {50, 50}, 0));  // the sample at t = 0.5
  EXPECT_TRUE(Outline(Arch(), {50, 52}, 2));
  EXPECT_FALSE(Outline(Arch(), {50, 52}, 1.9f));
}

TEST(Curve, OutsideTheBoxInBothAxesIsNoHitWhateverTheTolerance) {
  EXPECT_FALSE(Outline(Arch(), {-0.1f, -0.1f}, 5));
  EXPECT_FALSE(Outline(Arch(), {100.1f, -0.1f}, std::numeric_limits<float>::infinity()));
  EXPECT_TRUE(Outline(Arch(), {-0.1f, 0}, 5));
  EXPECT_TRUE(Outline(Arch(), {0, -0.1f}, 5));
}

TEST(Curve, IsSampledAt51PointsAndRefinedNearTheNearestOne) {
  CorePath path;
  path.MoveTo(0, 0);
  path.QuadTo(5000, 0, 10000, 0);  // a sample every 200
  int sampled = 0;
  for (int x = -10; x <= 10010; x += 10) {
    const bool hit = Outline(path, {static_cast<float>(x), 0}, 0.5f);
    if (x % 200 == 0) {
      EXPECT_TRUE(hit) << x;
      ++sampled;
    } else if (x % 200 <= 50) {
      EXPECT_FALSE(hit) << "between two samples, nearer to the lower one: " << x;
    }
  }
  EXPECT_EQ(sampled, 51);
  EXPECT_TRUE(Outline(path, {345, 0}, 8)) << "55 from the nearest sample, found by refinement";
}

TEST(Curve, RefinementFindsWhatLiesBetweenSamples) {
  CorePath path;
  path.MoveTo(0, 0);
  path.CubicTo(1000, 0.001f, 2000, 0.001f, 3000, 0);
  int refined = 0;
  for (int i = 0; i < 3000; ++i) refined += Outline(path, {static_cast<float>(i), 0}, 8.0f) ? 1 : 0;
  int samplesOnly = 0;
  for (int i = 0; i < 3000; ++i) {
    for (int k = 0; k <= 50; ++k) {
      if (std::fabs(static_cast<float>(i) - 60.0f * static_cast<float>(k)) <= 8.0f) {
        ++samplesOnly;
        break;
      }
    }
  }
  EXPECT_GT(refined, samplesOnly);
}

TEST(Curve, ClosedShapeOfCurvesHasAnInside) {
  CorePath quads, cubics;
  quads.MoveTo(0, 50);
  quads.QuadTo(0, 0, 50, 0);
  quads.QuadTo(100, 0, 100, 50);
  quads.QuadTo(100, 100, 50, 100);
  quads.QuadTo(0, 100, 0, 50);
  cubics.MoveTo(0, 50);
  cubics.CubicTo(0, 20, 20, 0, 50, 0);
  cubics.CubicTo(80, 0, 100, 20, 100, 50);
  cubics.CubicTo(100, 80, 80, 100, 50, 100);
  cubics.CubicTo(20, 100, 0, 80, 0, 50);
  for (const CorePath& path : {quads, cubics}) {
    EXPECT_TRUE(Inside(path, {47, 52}, 1));
    EXPECT_TRUE(Inside(path, {30, 64}, 1));
    EXPECT_FALSE(Inside(path, {2, 3}, 1));
    EXPECT_FALSE(Inside(path, {130, 52}, 1));
    EXPECT_FALSE(Outline(path, {47, 52}, 1));
  }
}

TEST(Curve, HalfOpenShapeHasNoInside) {
  CorePath path;  // a bowl: open upwards
  path.MoveTo(0, 0);
  path.CubicTo(0, 130, 100, 130, 100, 0);
  EXPECT_FALSE(Inside(path, {47, 40}, 1));
  path.CubicTo(100, -130, 0, -130, 0, 0);
  EXPECT_TRUE(Inside(path, {47, 40}, 1));
}

// x and y of the third power: the samples are the farther apart, the nearer they are to the end.
TEST(Curve, ARayCrossesWhereTheSamplesOnEitherSideAreCloserThanTheTwoNeighborsThatAreFarthestApart) {
  CorePath path;
  path.MoveTo(0, 0);
  path.CubicTo(0, 0, 0, 0, 100, 100);
  const auto raysFrom = [&path](float level) {
    const unsigned right = tovkit::HitTestPathDetail({-9, level}, 1, path, true).rays;
    EXPECT_EQ(tovkit::HitTestPathDetail({level, -9}, 1, path, true).rays, right == 1 ? 2U : right);
    return right;
  };
  EXPECT_EQ(raysFrom(90), 1U) << "between 88.5 and 94.1, which are 5.6 apart";
  for (const float level : {94.2f, 97.0f, 99.9f}) {
    EXPECT_EQ(raysFrom(level), 0U) << "between the last two, which are farthest apart: " << level;
  }
  for (const float end : {0.0f, 100.0f}) EXPECT_EQ(raysFrom(end), 0U) << "exactly at an end";
  EXPECT_EQ(raysFrom(12.5f), 1U) << "at a sample whose neighbors are closer than the last two";
}

TEST(Curve, ARayDoesNotCrossExactlyAtASampleWhoseTwoNeighborsAreAsFarApart) {
  CorePath path;
  path.MoveTo(0, 0);
  path.CubicTo(0, 130, 100, 130, 100, 0);
  path.CubicTo(100, -130, 0, -130, 0, 0);
  EXPECT_FALSE(Inside(path, {50, 40}, 1));
  EXPECT_TRUE(Inside(path, {50.01f, 40}, 1));
}
