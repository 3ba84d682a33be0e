// SPDX-License-Identifier: MIT
// Many points at once: what HitTestPathPoints answers is what HitTestPath answers, for every point.
#include "hit_paths.h"
#include "random_paths.h"

#include <tovkit/geometry.h>
#include <tovmx/path_walk.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

using reference::Numbers;
using reference::RandomPaths;

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

#ifdef __SANITIZE_ADDRESS__
constexpr int kDivisor = 20;
#else
constexpr int kDivisor = 1;
#endif

// So many that a path is prepared, so many that its curves are looked at piece by piece, and so many that
// cells are known in which all points have one answer, few cells and as many as there may be.
constexpr std::size_t kSome = 300;
constexpr std::size_t kMany = 8192;
constexpr std::size_t kForCells = 1 << 14;
constexpr std::size_t kForMostCells = 1 << 18;

std::vector<bool> Answers(const std::vector<CorePointF>& points, float tolerance, const CorePath& path,
                          bool fill) {
  const std::unique_ptr<bool[]> hits(new bool[points.size() + 1]);
  hits[points.size()] = true;
  tovkit::HitTestPathPoints(points.data(), points.size(), tolerance, path, fill, hits.get());
  EXPECT_TRUE(hits[points.size()]) << "written behind the answers";
  return std::vector<bool>(hits.get(), hits.get() + points.size());
}

struct Tally {
  int hits = 0;
  int misses = 0;
};

// False, with a message, where an answer differs from that of the single call.
bool Agree(const std::vector<CorePointF>& points, float tolerance, const CorePath& path, Tally& tally) {
  for (const bool fill : {false, true}) {
    const std::vector<bool> answers = Answers(points, tolerance, path, fill);
    for (std::size_t i = 0; i < points.size(); ++i) {
      const bool expected = tovkit::HitTestPath(points[i], tolerance, path, 0, fill, kCoreFillWinding);
      ++(expected ? tally.hits : tally.misses);
      if (answers[i] == expected) continue;
      char text[200];
      std::snprintf(text, sizeof text, "point %a,%a tolerance %a fill %d of %zu expected %d\n",
                    static_cast<double>(points[i].x), static_cast<double>(points[i].y),
                    static_cast<double>(tolerance), fill, points.size(), expected);
      std::string all = text;
      for (int k = 0; k <= path.GetPointCounter() && k < 60; ++k) {
        const CorePathPoint& p = path.GetPoints()[k];
        std::snprintf(text, sizeof text, "{%a, %a, 0x%x},\n", static_cast<double>(p.x),
                      static_cast<double>(p.y), p.flags);
        all += text;
      }
      ADD_FAILURE() << all;
      return false;
    }
  }
  return true;
}

float Stepped(float value, int steps) {
  for (; steps > 0; --steps) value = std::nextafterf(value, kInfinity);
  for (; steps < 0; ++steps) value = std::nextafterf(value, -kInfinity);
  return value;
}

// Places on the segments: ends, the samples of curves as the hit test computes them, places on lines.
struct PlacesOn {
  std::vector<CorePointF> places;
  RandomPaths& random;

  bool Line(const CorePathPoint& a, const CorePathPoint& b) {
    places.push_back({a.x, a.y});
    places.push_back({b.x, b.y});
    const float t = random.Unit();
    places.push_back({a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t});
    return false;
  }
  bool Close(const CorePathPoint& from, const CorePathPoint& start) { return Line(from, start); }
  bool Quad(const CorePathPoint* p) {
    const float t = Parameter();
    const float u = 1.0f - t, w0 = u * u, w1 = 2.0f * t * u, w2 = t * t;
    places.push_back({w0 * p[0].x + w1 * p[1].x + w2 * p[2].x, w0 * p[0].y + w1 * p[1].y + w2 * p[2].y});
    return false;
  }
  bool Cubic(const CorePathPoint* p) {
    const double t = Parameter(), u = 1.0f - static_cast<float>(t);
    const double w0 = u * u * u, w1 = 3.0 * t * u * u, w2 = 3.0 * t * t * u, w3 = t * t * t;
    places.push_back({static_cast<float>(w0 * p[0].x + w1 * p[1].x + w2 * p[2].x + w3 * p[3].x),
                      static_cast<float>(w0 * p[0].y + w1 * p[1].y + w2 * p[2].y + w3 * p[3].y)});
    return false;
  }
  bool Arc(const CorePathPoint* arc) {
    CorePathPoint curves[1 + 3 * kCoreMaxArcCurves];
    const int count = CoreArcToCubics(arc, curves);
    for (int k = 0; k < count; ++k) Cubic(curves + 3 * k);
    return false;
  }

 private:
  float Parameter() { return static_cast<float>(random.Below(51)) / 50.0f; }
};

// Points anywhere, and those that meet comparisons with equal values or nearly so: on segments, at the reach
// of the tolerance from them, level with them, and with coordinates of two of them.
std::vector<CorePointF> PointsFor(const CorePath& path, Numbers kind, float tolerance, std::size_t count,
                                  RandomPaths& random) {
  PlacesOn on{{}, random};
  for (int i = 0; i < 4; ++i) CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, on);
  on.places.push_back(random.Point(kind));
  const auto any = [&] { return on.places[random.Below(static_cast<std::uint32_t>(on.places.size()))]; };
  const auto step = [&](float value) { return Stepped(value, static_cast<int>(random.Below(5)) - 2); };
  std::vector<CorePointF> points;
  while (points.size() < count) {
    const float reach = tolerance * (random.Below(2) == 0 ? 1.0f : 1.41421356f);
    switch (random.Below(6)) {
      case 0:
        points.push_back({step(any().x), step(any().y)});
        break;
      case 1: {
        const CorePointF place = any();
        points.push_back({step(place.x), step(place.y)});
        break;
      }
      case 2: {
        const CorePointF place = any();
        points.push_back({step(place.x + reach), random.Below(2) == 0 ? place.y : place.y - reach});
        break;
      }
      case 3:
        points.push_back({any().x, random.Number(kind)});
        break;
      case 4:
        points.push_back({random.Number(kind), any().y});
        break;
      default:
        points.push_back(random.Point(kind));
        break;
    }
  }
  return points;
}

std::string NumbersName(const testing::TestParamInfo<Numbers>& kind) {
  static const char* const names[] = {"Ordinary", "Grid", "Tiny", "Huge", "Wild"};
  return names[static_cast<int>(kind.param)];
}

class ReferencePoints : public testing::TestWithParam<Numbers> {
 protected:
  // Paths of up to `operations`, each asked for `count` points.
  void Compare(std::uint64_t seed, int paths, int operations, std::size_t count) {
    RandomPaths random(seed + static_cast<std::uint64_t>(GetParam()));
    Tally tally;
    for (int i = 0; i < paths; ++i) {
      CorePath path = random.Path(GetParam(), 1 + static_cast<int>(random.Below(operations)));
      if (random.Below(2) == 0) path.Close();
      const float tolerance = random.Tolerance(GetParam());
      if (!Agree(PointsFor(path, GetParam(), tolerance, count, random), tolerance, path, tally)) return;
    }
    if (kDivisor > 1) return;
    EXPECT_GT(tally.hits, 500);
    EXPECT_GT(tally.misses, 500);
  }
};

}  // namespace

TEST_P(ReferencePoints, SinglePointsInSmallPaths) { Compare(1, 800 / kDivisor, 3, kSome); }
TEST_P(ReferencePoints, SomePointsInPathsOfAnySize) { Compare(2, 250 / kDivisor, 60, kSome); }
TEST_P(ReferencePoints, ManyPointsInSmallPaths) { Compare(3, 60 / kDivisor, 3, kMany); }
TEST_P(ReferencePoints, ManyPointsInPathsOfAnySize) { Compare(4, 20 / kDivisor + 1, 60, kMany); }
TEST_P(ReferencePoints, PointsForCellsInSmallPaths) { Compare(5, 40 / kDivisor, 3, kForCells + 1); }
TEST_P(ReferencePoints, PointsForCellsInPathsOfAnySize) { Compare(6, 20 / kDivisor + 1, 60, kForCells + 3); }

INSTANTIATE_TEST_SUITE_P(Numbers, ReferencePoints,
                         testing::Values(Numbers::kOrdinary, Numbers::kGrid, Numbers::kTiny, Numbers::kHuge,
                                         Numbers::kWild),
                         NumbersName);

// --- single conditions ---

TEST(HitTestPoints, NoPointsAndNullAreNothing) {
  tovkit::HitTestPathPoints(nullptr, 0, 1, Square(), true, nullptr);
}

TEST(HitTestPoints, FewAndManyHaveTheAnswersInTheirOrder) {
  for (const std::size_t count : {std::size_t{1}, kSome, kMany + 1}) {
    std::vector<CorePointF> points(count, CorePointF{20, 21});
    points.front() = {5, 4};
    points.back() = {5, 5};
    std::vector<bool> expected(count, false);
    expected.front() = true;
    expected.back() = true;
    EXPECT_EQ(Answers(points, 0.5f, Square(), true), expected) << count;
    EXPECT_EQ(Answers(points, 0.5f, Square(), false), std::vector<bool>(count, false)) << count;
  }
}

// With these, numbers decide that no place can be looked up for.
TEST(HitTestPoints, ToleranceAndPointsThatAreNoUsualNumbers) {
  const float kNaN = std::numeric_limits<float>::quiet_NaN();
  const float kMax = std::numeric_limits<float>::max();
  CorePath path = Square();
  path.MoveTo(2, 2);
  path.CubicTo(3, 8, 7, 1, 8, 8);
  Tally tally;
  for (const float tolerance :
       {0.0f, -0.0f, 1e-30f, 1e15f, 2e15f, -1.0f, -1e20f, kMax, kInfinity, -kInfinity, kNaN}) {
    std::vector<CorePointF> points;
    const float numbers[] = {kNaN,  kInfinity, -kInfinity, kMax, -kMax, 1e15f,
                             2e15f, -3e20f,    0,          5,    10,    1e-40f};
    for (std::size_t i = 0; i < kSome; ++i) points.push_back({numbers[i % 12], numbers[i / 12 % 12]});
    if (!Agree(points, tolerance, path, tally)) return;
    points.resize(kMany, {4, 4});
    if (!Agree(points, tolerance, path, tally)) return;
    points.resize(kForCells, {4, 4});
    if (!Agree(points, tolerance, path, tally)) return;
  }
  EXPECT_GT(tally.hits, 0);
}

// A line is taken to go on for points level with its end, far beyond what is near it.
TEST(HitTestPoints, PointsLevelWithAnEndAreFarFromTheLine) {
  const CorePath line = Polyline({{0, 0}, {100, 1}});
  const std::vector<CorePointF> points = {{150, 1}, {150, 1.01f}, {-50, 0}, {1e6f, 1}};
  std::vector<CorePointF> many(kSome, CorePointF{500, 500});
  std::copy(points.begin(), points.end(), many.begin());
  std::vector<bool> hits = Answers(many, 1, line, false);
  hits.resize(4);
  EXPECT_EQ(hits, (std::vector<bool>{true, false, true, false}));
}

// From flat to steep, so that the line that goes on leaves the level at once, far away or hardly at all; the
// points lie around the place where it is as far from the level as it may be.
TEST(HitTestPoints, PointsLevelWithAnEndAreAsFarAsTheLineAllows) {
  RandomPaths random(15);
  Tally tally;
  for (int i = 0; i < 400 / kDivisor; ++i) {
    CorePath path;
    const float scale = std::ldexp(1.0f, static_cast<int>(random.Below(40)) - 20);
    const float tolerance =
        random.Below(4) == 0 ? 0.0f : scale * std::ldexp(1.0f, static_cast<int>(random.Below(30)) - 20);
    std::vector<CorePointF> points;
    for (int k = 0; k < 6; ++k) {
      const CorePointF from = random.Point(Numbers::kGrid);
      const float steep = std::ldexp(random.Unit() + 0.5f, static_cast<int>(random.Below(24)) - 12);
      const float size = scale * (random.Unit() + 0.1f);
      const CorePointF to = {from.x * scale + size, from.y * scale + size * steep};
      path.MoveTo(from.x * scale, from.y * scale);
      path.LineTo(to.x, to.y);
      const float allowed = tolerance * 1.41421356f;
      for (int n = 0; n < 60; ++n) {
        const CorePointF end = n % 2 == 0 ? to : CorePointF{from.x * scale, from.y * scale};
        const float away = random.Below(3) == 0 ? random.Unit() * 2 : 1.0f;
        const float sign = random.Below(2) == 0 ? 1.0f : -1.0f;
        const int steps = static_cast<int>(random.Below(9)) - 4;
        if (random.Below(2) == 0) {
          points.push_back({Stepped(end.x + sign * away * allowed / steep, steps), end.y});
        } else {
          points.push_back({end.x, Stepped(end.y + sign * away * allowed * steep, steps)});
        }
      }
    }
    if (!Agree(points, tolerance, path, tally)) return;
  }
  if (kDivisor > 1) return;
  EXPECT_GT(tally.hits, 500);
  EXPECT_GT(tally.misses, 500);
}

// An upright edge is crossed by the ray towards it from above and below it, and the farthest one decides.
TEST(HitTestPoints, UprightEdgesAreCrossedFromAnywhere) {
  RandomPaths random(5);
  Tally tally;
  for (int i = 0; i < 40 / kDivisor + 1; ++i) {
    CorePath path;
    const float scale = std::ldexp(1.0f, static_cast<int>(random.Below(60)) - 30);
    for (int k = 0; k < 12; ++k) {
      const CorePointF from = {random.Number(Numbers::kGrid) * scale, random.Number(Numbers::kGrid) * scale};
      path.MoveTo(from.x, from.y);
      const float to = random.Number(Numbers::kGrid) * scale;
      k % 2 == 0 ? path.LineTo(from.x, to) : path.LineTo(to, from.y);
    }
    for (const float tolerance : {0.0f, 0.3f * scale, -0.3f * scale, 3.0f * scale}) {
      std::vector<CorePointF> points;
      while (points.size() < kMany) {
        const auto some = [&] {
          return Stepped(
              random.Number(Numbers::kGrid) * scale + (random.Below(2) == 0 ? 0 : tolerance * 1.41421356f),
              static_cast<int>(random.Below(5)) - 2);
        };
        points.push_back({some(), some()});
      }
      if (!Agree(points, tolerance, path, tally)) return;
    }
  }
  EXPECT_GT(tally.hits, 500);
  EXPECT_GT(tally.misses, 500);
}

// More curves than are looked at piece by piece.
// Curves of which one coordinate goes there and back, so that the sums over their points are 0 where one is
// forgotten. Points just within the tolerance, where a curve is farthest from the lines between its samples.
TEST(HitTestPoints, CurvesAreHitBesideTheLinesBetweenTheirSamples) {
  const std::vector<std::vector<CorePointF>> curves = {{{100, 0}, {50, 100}, {100, 200}},
                                                       {{0, 100}, {100, 50}, {200, 100}},
                                                       {{-100, 0}, {-50, 100}, {-100, 200}}};
  constexpr int kPlaces = 20000;
  for (const std::vector<CorePointF>& p : curves) {
    CorePath path;
    path.MoveTo(p[0].x, p[0].y);
    path.QuadTo(p[1].x, p[1].y, p[2].x, p[2].y);
    for (const float tolerance : {3.0f, 5.0f}) {
      std::vector<CorePointF> points;
      for (int i = 0; i <= kPlaces; ++i) {
        const float t = static_cast<float>(i) / kPlaces, u = 1 - t;
        const CorePointF way = {u * (p[1].x - p[0].x) + t * (p[2].x - p[1].x),
                                u * (p[1].y - p[0].y) + t * (p[2].y - p[1].y)};
        const float beside = (tolerance - 0.001f * static_cast<float>(i % 8)) / std::hypot(way.x, way.y);
        for (const float side : {beside, -beside}) {
          points.push_back({u * u * p[0].x + 2 * u * t * p[1].x + t * t * p[2].x + side * way.y,
                            u * u * p[0].y + 2 * u * t * p[1].y + t * t * p[2].y - side * way.x});
        }
      }
      Tally tally;
      EXPECT_TRUE(Agree(points, tolerance, path, tally));
      EXPECT_GT(tally.hits, kPlaces / 4);
    }
  }
}

TEST(HitTestPoints, ThousandsOfCurves) {
  RandomPaths random(6);
  CorePath path;
  for (int i = 0; i < 2100; ++i) {
    const CorePointF at = random.Point(Numbers::kOrdinary);
    path.MoveTo(at.x, at.y);
    path.CubicTo(at.x + 1, at.y, at.x, at.y + random.Unit(), at.x + 2, at.y + 2);
  }
  Tally tally;
  Agree(PointsFor(path, Numbers::kOrdinary, 0.1f, kMany, random), 0.1f, path, tally);
  EXPECT_GT(tally.hits, 500);
  EXPECT_GT(tally.misses, 500);
}

// Curves around the points, so that most cells are inside, but for points exactly level with one of their
// samples.
TEST(HitTestPoints, PointsInCellsAreHitButWhereARayPassesBetweenSamples) {
  RandomPaths random(8);
  for (const std::size_t count : {kForCells, 4 * kForCells, kForMostCells}) {
    CorePath path;
    const int curves = static_cast<int>(count / 1024);  // so many that samples lie close together
    const auto onRing = [&](float part, float radius) {
      return CorePointF{radius * std::cos(part * 6.2831853f), radius * std::sin(part * 6.2831853f)};
    };
    for (int i = 0; i <= curves; ++i) {
      const auto at = [&](float part) {
        return onRing((static_cast<float>(i) + part) / static_cast<float>(curves), 80 + 20 * random.Unit());
      };
      const CorePointF a = at(-0.66f), b = at(-0.33f), end = at(0);
      i == 0 ? path.MoveTo(end.x, end.y) : path.CubicTo(a.x, a.y, b.x, b.y, end.x, end.y);
    }
    PlacesOn on{{}, random};
    for (int i = 0; i < 30; ++i) CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, on);
    std::vector<CorePointF> points;
    while (points.size() < count / (kDivisor > 1 ? 2 : 1)) {
      CorePointF point = onRing(random.Unit(), 120 * random.Unit());
      const CorePointF place = on.places[random.Below(static_cast<std::uint32_t>(on.places.size()))];
      const int steps = static_cast<int>(random.Below(3)) - 1;
      if (random.Below(3) == 0) point.x = Stepped(place.x, steps);
      if (random.Below(3) == 0) point.y = Stepped(place.y, steps);
      points.push_back(point);
    }
    for (const float tolerance : {0.0f, 1.5f, -1.0f}) {
      Tally tally;
      if (!Agree(points, tolerance, path, tally)) return;
      EXPECT_GT(tally.hits, 500);
      EXPECT_GT(tally.misses, 500);
    }
  }
}
