// SPDX-License-Identifier: MIT
// The picture of what hits a path, pixel by pixel beside the test of each pixel's center.
#include "jobs/hit_map.h"

#include "jobs/path_bounds.h"
#include "jobs/svg_path.h"

#include "image_support.h"

#include <tovkit/geometry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace {

struct Box {
  double left, top, right, bottom;
};

// What the picture shows of a path with these bounds.
Box ShownOf(const Box& box, double tolerance) {
  double margin = 0.08 * std::max(box.right - box.left, box.bottom - box.top);
  if (std::isfinite(tolerance)) margin += 1.5 * std::max(tolerance, 0.0);
  if (margin == 0) margin = 1;
  return {box.left - margin, box.top - margin, box.right + margin, box.bottom + margin};
}

int Rounded(double pixels, int size) { return std::clamp(static_cast<int>(std::lround(pixels)), 1, size); }

class Counter final : public jobs::Observer {
 public:
  void BeginPart(const char* name, std::int64_t count) override { said += name + std::to_string(count); }
  void Advance() override { ++steps; }
  void EndPart() override { said += '.'; }
  std::string said;
  int steps = 0;
};

void ExpectMap(const std::string& text, const Box& box, float tolerance, int size) {
  const std::string name = text + " " + std::to_string(tolerance) + " " + std::to_string(size);
  const CorePath path = jobs::ParseSvgPath(text);
  CoreDib map;
  Counter counter;
  ASSERT_TRUE(jobs::DrawHitMap(path, tolerance, size, counter, map)) << name;
  const Box shown = ShownOf(box, static_cast<double>(tolerance));
  const double width = shown.right - shown.left;
  const double height = shown.bottom - shown.top;
  const double scale = size / std::max(width, height);
  ASSERT_EQ(map.GetWidth(), Rounded(width * scale, size)) << name;
  ASSERT_EQ(map.GetHeight(), Rounded(height * scale, size)) << name;
  ASSERT_EQ(map.GetBitsPerPixel(), 24);
  EXPECT_EQ(counter.said, "map" + std::to_string(map.GetHeight()) + ".") << name;
  EXPECT_EQ(counter.steps, map.GetHeight()) << name;

  const auto hits = [&path](CorePointF point, double distance, bool fill) {
    return tovkit::HitTestPath(point, static_cast<float>(distance), path, 0, fill, kCoreFillWinding);
  };
  // The pen is 1.5 pixels wide, a pixel reaches 0.71 from its center, and a corner reaches 3 pixels at most.
  // At its ends the outline covers half of a pixel.
  for (int y = 0; y < map.GetHeight(); ++y) {
    for (int x = 0; x < map.GetWidth(); ++x) {
      const CorePointF center = {static_cast<float>(shown.left + (x + 0.5) / scale),
                                 static_cast<float>(shown.top + (y + 0.5) / scale)};
      const std::uint32_t pixel = map.GetArgb(x, y);
      if (hits(center, 0.03 / scale, false)) {
        const int red = static_cast<int>(pixel >> 16 & 0xFF);
        ASSERT_LE(red, 0xA8) << name << ": the outline at " << x << ',' << y;
      } else if (!hits(center, 4 / scale, false)) {
        const std::uint32_t expected = !hits(center, static_cast<double>(tolerance), true) ? jobs::kMapMiss
                                       : hits(center, static_cast<double>(tolerance), false)
                                           ? jobs::kMapOutline
                                           : jobs::kMapInside;
        ASSERT_EQ(pixel, expected) << name << " at " << x << ',' << y;
      }
    }
  }
}

// Every kind of segment, and several subpaths.
TEST(HitMap, EveryPixelIsAsItsCenterHits) {
  const struct {
    const char* text;
    Box box;
  } paths[] = {{"M0 0H10V10H0Z", {0, 0, 10, 10}},
               {"M0 0L100 20", {0, 0, 100, 20}},
               {"M-5 3L-4 43", {-5, 3, -4, 43}},
               {"M0 0C0 40 30 40 30 0Z", {0, 0, 30, 30}},
               {"M-5 0A5 5 0 1 0 5 0A5 5 0 1 0 -5 0Z", {-5, -5, 5, 5}},
               {"M0 0H4V4ZM10 10V14H14ZM20 0L24 4", {0, 0, 24, 14}},
               {"M0 0H8Zl4 4Q9 9 12 4C12 9 16 9 16 4ZM0 10H16", {0, 0, 16, 10}}};
  for (const auto& path : paths) {
    for (const float tolerance : {0.0f, 0.5f, 3.0f, -1.0f}) {
      for (const int size : {33, 90}) ExpectMap(path.text, path.box, tolerance, size);
    }
  }
}

// Nothing is written beside the pixels, and the outline leaves what is beside them alone, too.
TEST(HitMap, WhatFillsARowUpStaysZero) {
  CoreDib map;
  jobs::Observer silent;
  ASSERT_TRUE(jobs::DrawHitMap(jobs::ParseSvgPath("M0 0H10V10H0Z"), 1, 33, silent, map));
  ASSERT_EQ(map.GetStride(), 100);
  for (int y = 0; y < map.GetHeight(); ++y) EXPECT_EQ(map.GetRow(y)[99], 0) << y;
}

// A corner is mitered whatever kinds of segments meet there: the outline is one line.
TEST(HitMap, SegmentsOfEveryKindJoin) {
  const auto drawn = [](const char* text) {
    CoreDib map;
    jobs::Observer silent;
    EXPECT_TRUE(jobs::DrawHitMap(jobs::ParseSvgPath(text), 0, 60, silent, map)) << text;
    return map;
  };
  const CoreDib lines = drawn("M0 0L8 20L16 0L24 20L24 0");
  // Curves whose control points stand on the line, and an arc that nobody can tell from one.
  for (const char* text :
       {"M0 0C2 5 6 15 8 20L16 0L24 20L24 0", "M0 0L8 20C10 15 14 5 16 0L24 20L24 0",
        "M0 0Q4 10 8 20L16 0L24 20L24 0", "M0 0L8 20Q12 10 16 0L24 20L24 0",
        "M0 0A100000 100000 0 0 1 8 20L16 0L24 20L24 0", "M0 0L8 20A100000 100000 0 0 0 16 0L24 20L24 0",
        "M0 0C2 5 6 15 8 20Q12 10 16 0A100000 100000 0 0 1 24 20C24 15 24 5 24 0"}) {
    const CoreDib curves = drawn(text);
    EXPECT_EQ(image::Difference(lines, curves, 3), "") << text;
  }
}

TEST(HitMap, WithoutAnExtentTheMarginIsOne) {
  ExpectMap("M7 7L7 7", {7, 7, 7, 7}, 0, 40);
  ExpectMap("M7 7L7 7", {7, 7, 7, 7}, 2, 40);
}

TEST(HitMap, ThePathOfOneMoveAndAThinOneHaveAPictureToo) {
  CoreDib map;
  jobs::Observer silent;
  ASSERT_TRUE(jobs::DrawHitMap(jobs::ParseSvgPath("M1 1"), 1, 20, silent, map));
  EXPECT_EQ(map.GetWidth(), 20);
  EXPECT_EQ(map.GetHeight(), 20);
  EXPECT_EQ(map.GetArgb(0, 0), jobs::kMapMiss);
  // 0.16 of 1,000 at 10 pixels to 1,160.
  ASSERT_TRUE(jobs::DrawHitMap(jobs::ParseSvgPath("M0 0L1000 0"), 0, 10, silent, map));
  EXPECT_EQ(map.GetWidth(), 10);
  EXPECT_EQ(map.GetHeight(), 1);
  for (const int size : {1, 2, 3}) {
    ASSERT_TRUE(jobs::DrawHitMap(jobs::ParseSvgPath("M0 0L1000 0"), 0, size, silent, map));
    EXPECT_EQ(map.GetWidth(), size);
    EXPECT_EQ(map.GetHeight(), 1);
  }
}

TEST(HitMap, AnEndlessToleranceHitsEverywhere) {
  CoreDib map;
  jobs::Observer silent;
  ASSERT_TRUE(jobs::DrawHitMap(jobs::ParseSvgPath("M0 0L10 10"), std::numeric_limits<float>::infinity(), 29,
                               silent, map));
  ASSERT_EQ(map.GetWidth(), 29);
  EXPECT_EQ(map.GetArgb(0, 28), jobs::kMapOutline);
}

}  // namespace
