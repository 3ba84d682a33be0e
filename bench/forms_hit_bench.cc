// SPDX-License-Identifier: MIT
// Many points asked of a path at once, in forms of every kind, each beside the form that costs least.
//
// Shapes lie in a square of 1,000 units, and where nothing else is said 65,536 points are asked of one of
// 1,000 segments, with the inside and with a tolerance of 1.
#include "forms.h"

#include <tovkit/geometry.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>

namespace {

using bench::Form;
using bench::Work;
using Points = std::vector<CorePointF>;

constexpr float kSide = 1000;
constexpr std::size_t kAsked = 65536;
constexpr int kSegments = 1000;
constexpr float kTurn = 6.2831853F;

// ---- Paths

// On a ring around the middle of the square, which waves in and out.
CorePointF OnRing(float part, float radius) {
  return {kSide / 2 + radius * std::cos(part * kTurn), kSide / 2 + radius * std::sin(part * kTurn)};
}

enum class Segment { kLine, kQuad, kCubic, kArc };

template <Segment kKind, int kCount>
CorePath Ring() {
  const auto at = [](float i) {
    return OnRing(i / static_cast<float>(kCount), static_cast<int>(i) % 2 == 0 ? 400.0F : 440.0F);
  };
  CorePath path;
  path.MoveTo(at(0).x, at(0).y);
  for (int i = 1; i <= kCount; ++i) {
    const auto number = static_cast<float>(i);
    const CorePointF a = at(number - 0.6F), b = at(number - 0.3F), to = at(number);
    switch (kKind) {
      case Segment::kLine:
        path.LineTo(to.x, to.y);
        break;
      case Segment::kQuad:
        path.QuadTo(a.x, a.y, to.x, to.y);
        break;
      case Segment::kCubic:
        path.CubicTo(a.x, a.y, b.x, b.y, to.x, to.y);
        break;
      case Segment::kArc:
        path.ArcTo(60, 30, 0.5F, 0, static_cast<float>(i % 2), to.x, to.y);
        break;
    }
  }
  path.Close();
  return path;
}

// Squares in rows and columns, moved off the whole numbers by so many ten thousandths.
template <int kOdd>
CorePath Squares() {
  constexpr float odd = static_cast<float>(kOdd) / 10000;
  const int side = static_cast<int>(std::sqrt(static_cast<float>(kSegments) / 4));
  const float step = std::floor(kSide / static_cast<float>(side));
  CorePath path;
  for (int i = 0; i < side * side; ++i) {
    const float left = static_cast<float>(i % side) * step + odd * static_cast<float>(i % 97);
    const float top = static_cast<float>(i / side) * step + odd * static_cast<float>(i % 89);
    const float size = std::floor(step / 2);
    path.MoveTo(left, top);
    path.LineTo(left + size, top);
    path.LineTo(left + size, top + size);
    path.LineTo(left, top + size);
    path.Close();
  }
  return path;
}

// As on a chart: each line a step further to the right.
CorePath Walk() {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> height(0, kSide);
  CorePath path;
  path.MoveTo(0, kSide / 2);
  for (int i = 1; i <= kSegments; ++i)
    path.LineTo(static_cast<float>(i) * kSide / static_cast<float>(kSegments), height(random));
  return path;
}

constexpr float kZigzag = 900;  // its lower ends

CorePath Zigzag() {
  CorePath path;
  path.MoveTo(0, kZigzag);
  for (int i = 1; i <= kSegments; ++i) path.LineTo(static_cast<float>(i), i % 2 == 0 ? kZigzag : 100);
  return path;
}

// From anywhere to anywhere.
CorePath Tangle() {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> place(0, kSide);
  CorePath path;
  path.MoveTo(0, 0);
  for (int i = 0; i < kSegments; ++i) {
    const float x = place(random);
    path.LineTo(x, place(random));
  }
  return path;
}

// ---- Points

Points Random() {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> place(0, kSide);
  Points points(kAsked);
  for (CorePointF& point : points) {
    point.x = place(random);
    point.y = place(random);
  }
  return points;
}

Points FarAway() {
  Points points = Random();
  for (CorePointF& point : points) point.x += 100 * kSide;
  return points;
}

Points InOnePlace() { return Points(kAsked, {kSide / 2 + 0.25F, kSide / 2 + 0.25F}); }

// From the left edge to the right one, through the middle.
Points AlongALine() {
  Points points(kAsked);
  for (std::size_t i = 0; i < kAsked; ++i)
    points[i] = {kSide * static_cast<float>(i) / static_cast<float>(kAsked), kSide / 2 + 0.25F};
  return points;
}

// The pixels of a picture.
Points OnWholeNumbers() {
  Points points(kAsked);
  for (std::size_t i = 0; i < kAsked; ++i)
    points[i] = {static_cast<float>(i * 7 % 1000), static_cast<float>(i / 100 * 3 % 1000)};
  return points;
}

// Beside the zigzag.
Points LevelWithEnds() {
  Points points = Random();
  for (CorePointF& point : points) point = {point.x + 2 * kSide, kZigzag};
  return points;
}

// Of the ring of lines: within a hair of it.
Points OnTheOutline() {
  const CorePath ring = Ring<Segment::kLine, kSegments>();
  const CorePathPoint* const corners = ring.GetPoints();
  Points points(kAsked);
  for (std::size_t i = 0; i < kAsked; ++i) {
    const CorePathPoint& a = corners[i % kSegments];
    const CorePathPoint& b = corners[i % kSegments + 1];
    const float part = static_cast<float>(i * 31 % 1009) / 1009;
    points[i] = {a.x + (b.x - a.x) * part, a.y + (b.y - a.y) * part};
  }
  return points;
}

// ---- Forms

// `atOnce` points to a call.
Form Ask(const std::string& name, CorePath (*makePath)(), Points (*makePoints)(),
         std::size_t atOnce = kAsked) {
  return {name, [=]() -> Work {
            struct Question {
              CorePath path;
              Points points;
              std::unique_ptr<bool[]> hits;
            };
            const auto asked = std::make_shared<Question>(
                Question{makePath(), makePoints(), std::make_unique<bool[]>(kAsked)});
            return [asked, atOnce] {
              for (std::size_t from = 0; from < kAsked; from += atOnce) {
                tovkit::HitTestPathPoints(asked->points.data() + from, std::min(atOnce, kAsked - from), 1,
                                          asked->path, true, asked->hits.get() + from);
              }
              benchmark::DoNotOptimize(asked->hits.get());
            };
          }};
}

template <Segment kKind>
std::vector<Form> Places() {
  constexpr auto path = Ring<kKind, kSegments>;
  return {Ask("far_away", path, FarAway),
          Ask("in_one_place", path, InOnePlace),
          Ask("along_a_line", path, AlongALine),
          Ask("random", path, Random),
          Ask("on_whole_numbers", path, OnWholeNumbers),
          Ask("on_the_outline", path, OnTheOutline)};
}

[[maybe_unused]] const bool kOfLines = bench::RegisterForms("form_points_in_lines", Places<Segment::kLine>());
[[maybe_unused]] const bool kOfCubics =
    bench::RegisterForms("form_points_in_cubics", Places<Segment::kCubic>());

[[maybe_unused]] const bool kPaths = bench::RegisterForms(
    "form_points_in_a_path_of",
    {Ask("squares_and_points_on_whole_numbers", Squares<0>, OnWholeNumbers),
     Ask("squares_on_whole_numbers", Squares<0>, Random), Ask("squares", Squares<137>, Random),
     Ask("lines", Ring<Segment::kLine, kSegments>, Random), Ask("steps", Walk, Random),
     Ask("a_tangle", Tangle, Random), Ask("a_zigzag", Zigzag, Random),
     Ask("a_zigzag_and_points_level_with_its_ends", Zigzag, LevelWithEnds),
     Ask("quads", Ring<Segment::kQuad, kSegments>, Random),
     Ask("cubics", Ring<Segment::kCubic, kSegments>, Random),
     Ask("arcs", Ring<Segment::kArc, kSegments>, Random)});

[[maybe_unused]] const bool kSizes = bench::RegisterForms(
    "form_points_in_lines_of",
    {Ask("10", Ring<Segment::kLine, 10>, Random), Ask("1000", Ring<Segment::kLine, 1000>, Random),
     Ask("10000", Ring<Segment::kLine, 10000>, Random), Ask("100000", Ring<Segment::kLine, 100000>, Random)});

template <Segment kKind>
std::vector<Form> AtOnce() {
  std::vector<Form> forms;
  for (const std::size_t atOnce : {65536, 8192, 8191, 1024, 256, 255, 16, 1})
    forms.push_back(Ask(std::to_string(atOnce), Ring<kKind, 100>, Random, atOnce));
  return forms;
}

[[maybe_unused]] const bool kLinesAtOnce =
    bench::RegisterForms("form_points_in_100_lines_by", AtOnce<Segment::kLine>());
[[maybe_unused]] const bool kCubicsAtOnce =
    bench::RegisterForms("form_points_in_100_cubics_by", AtOnce<Segment::kCubic>());

}  // namespace
