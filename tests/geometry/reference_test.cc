// SPDX-License-Identifier: MIT
// The hit test against the reference: the same answer every time, on every instruction set (ctest
// runs these tests once for each).
#include "random_paths.h"
#include "reference_hit.h"

#include <tovkit/geometry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

using reference::Numbers;
using reference::RandomPaths;

namespace {

// Sanitizers look at what the code does to memory, which the first thousands of cases have shown.
#ifdef __SANITIZE_ADDRESS__
constexpr int kDivisor = 20;
#else
constexpr int kDivisor = 1;
#endif

// Case counts are multiplied by TOVKIT_REFERENCE_FACTOR for a long run.
int Cases(int count) {
  const char* factor = std::getenv("TOVKIT_REFERENCE_FACTOR");
  return count / kDivisor * (factor == nullptr ? 1 : std::atoi(factor));
}

std::string Describe(const CorePath& path, const CorePointF& point, float tolerance, bool fill) {
  char text[200];
  std::snprintf(text, sizeof text, "point %a,%a tolerance %a fill %d\n", static_cast<double>(point.x),
                static_cast<double>(point.y), static_cast<double>(tolerance), fill);
  std::string all = text;
  for (int i = 0; i <= path.GetPointCounter(); ++i) {
    const CorePathPoint& p = path.GetPoints()[i];
    std::snprintf(text, sizeof text, "{%a, %a, 0x%x},\n", static_cast<double>(p.x), static_cast<double>(p.y),
                  p.flags);
    all += text;
  }
  return all;
}

struct Tally {
  int hits = 0;
  int misses = 0;
};

// False, with a message, when the two differ.
bool Agree(const CorePath& path, const CorePointF& point, float tolerance, Tally& tally) {
  for (const bool fill : {false, true}) {
    const bool expected = reference::ReferenceHitTestPath(point, tolerance, path, 0, fill, kCoreFillEvenOdd);
    ++(expected ? tally.hits : tally.misses);
    // The detail, which also measures, for some of the cases only: it takes a hundred times as long.
    const bool detailed = (tally.hits + tally.misses) % 32 > 1 ||
                          tovkit::HitTestPathDetail(point, tolerance, path, fill).hit == expected;
    if (detailed && tovkit::HitTestPath(point, tolerance, path, 0, fill, kCoreFillEvenOdd) == expected)
      continue;
    ADD_FAILURE() << "expected " << expected << "\n" << Describe(path, point, tolerance, fill);
    return false;
  }
  return true;
}

// The least or greatest float for which `holds` changes, found between `no` and `yes` to the last bit.
float Threshold(float no, float yes, const std::function<bool(float)>& holds) {
  for (int i = 0; i < 200; ++i) {
    const float middle = no + (yes - no) / 2.0f;
    if (middle == no || middle == yes) break;
    (holds(middle) ? yes : no) = middle;
  }
  return yes;
}

float Stepped(float value, int steps) {
  for (; steps > 0; --steps) value = std::nextafterf(value, INFINITY);
  for (; steps < 0; ++steps) value = std::nextafterf(value, -INFINITY);
  return value;
}

class Reference : public testing::TestWithParam<Numbers> {};

std::string NumbersName(const testing::TestParamInfo<Numbers>& kind) {
  static const char* const names[] = {"Ordinary", "Grid", "Tiny", "Huge", "Wild"};
  return names[static_cast<int>(kind.param)];
}

}  // namespace

TEST_P(Reference, RandomPathsAndPoints) {
  RandomPaths random(42 + static_cast<int>(GetParam()));
  Tally tally;
  const int paths = Cases(GetParam() == Numbers::kOrdinary ? 30000 : 8000);
  for (int i = 0; i < paths; ++i) {
    const CorePath path = random.Path(GetParam(), 1 + static_cast<int>(random.Below(8)));
    for (int k = 0; k < 6; ++k) {
      if (!Agree(path, random.Point(GetParam()), random.Tolerance(GetParam()), tally)) return;
    }
  }
  EXPECT_GT(tally.hits, paths / 20);
  EXPECT_GT(tally.misses, paths / 20);
}

// Single segments show their own crossings and hits; in a long path they hide behind each other.
TEST_P(Reference, SingleSegments) {
  RandomPaths random(4242 + static_cast<int>(GetParam()));
  Tally tally;
  for (int i = 0; i < Cases(10000); ++i) {
    CorePath path = random.Path(GetParam(), 2);
    if (random.Below(2) == 0) path.Close();
    for (int k = 0; k < 4; ++k) {
      if (!Agree(path, random.Point(GetParam()), random.Tolerance(GetParam()), tally)) return;
    }
  }
}

// A point on a record's own coordinate meets every comparison with equal values.
TEST_P(Reference, PointsThatShareCoordinatesWithThePath) {
  RandomPaths random(77 + static_cast<int>(GetParam()));
  Tally tally;
  for (int i = 0; i < Cases(8000); ++i) {
    const CorePath path = random.Path(GetParam(), 2 + static_cast<int>(random.Below(4)));
    const auto any = [&] { return path.GetPoints()[random.Below(path.GetPointCounter() + 1)]; };
    for (int k = 0; k < 4; ++k) {
      const CorePointF point = {Stepped(any().x, static_cast<int>(random.Below(5)) - 2),
                                Stepped(any().y, static_cast<int>(random.Below(5)) - 2)};
      if (!Agree(path, point, random.Tolerance(GetParam()), tally)) return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Numbers, Reference,
                         testing::Values(Numbers::kOrdinary, Numbers::kGrid, Numbers::kTiny, Numbers::kHuge,
                                         Numbers::kWild),
                         NumbersName);

// Enough of either answer, so that the cases are about the turn from one to the other.
static void ExpectBoth(const Tally& tally) {
  EXPECT_GT(tally.hits, 500 / kDivisor);
  EXPECT_GT(tally.misses, 500 / kDivisor);
}

// The tolerance that just hits, and its neighbors a few units in the last place away.
TEST(ReferenceNearMisses, TolerancesAroundTheDecision) {
  RandomPaths random(7);
  Tally tally;
  for (int i = 0; i < Cases(1500); ++i) {
    const CorePath path = random.Path(Numbers::kOrdinary, 2 + static_cast<int>(random.Below(2)));
    const CorePointF point = random.Point(Numbers::kOrdinary);
    const float least = Threshold(0.0f, 1000.0f, [&](float tolerance) {
      return tovkit::HitTestPath(point, tolerance, path, 0, false, kCoreFillEvenOdd);
    });
    for (int step = -3; step <= 3; ++step) {
      if (!Agree(path, point, Stepped(least, step), tally)) return;
    }
  }
  ExpectBoth(tally);
}

// The place along a line where the answer turns, and its neighbors.
TEST(ReferenceNearMisses, PointsAroundTheDecision) {
  RandomPaths random(8);
  Tally tally;
  for (int i = 0; i < Cases(1500); ++i) {
    const CorePath path = random.Path(Numbers::kOrdinary, 3 + static_cast<int>(random.Below(6)));
    const float tolerance = random.Tolerance(Numbers::kOrdinary) * 0.1f;
    const CorePointF from = random.Point(Numbers::kOrdinary);
    const float far = random.Unit() * 400.0f - 200.0f;
    const auto at = [&](float x) { return CorePointF{x, from.y}; };
    const bool answer = tovkit::HitTestPath(at(far), tolerance, path, 0, true, kCoreFillEvenOdd);
    if (answer == tovkit::HitTestPath(from, tolerance, path, 0, true, kCoreFillEvenOdd)) continue;
    const float turn = Threshold(from.x, far, [&](float x) {
      return tovkit::HitTestPath(at(x), tolerance, path, 0, true, kCoreFillEvenOdd) == answer;
    });
    for (int step = -3; step <= 3; ++step) {
      if (!Agree(path, at(Stepped(turn, step)), tolerance, tally)) return;
    }
  }
  ExpectBoth(tally);
}

// Points at the edge of what the shipped code skips on the strength of a segment's box: just within and just
// beyond the tolerance from the box, a few units in the last place either way.
TEST(ReferenceNearMisses, PointsAtTheReachOfTheBox) {
  RandomPaths random(9);
  Tally tally;
  for (int i = 0; i < Cases(6000); ++i) {
    const float scale = std::ldexp(1.0f, static_cast<int>(random.Below(60)) - 40);
    const float offset = random.Below(2) == 0 ? 0.0f : random.Unit() * 1000.0f * scale;
    CorePathPoint p[4];
    for (CorePathPoint& point : p) point = {random.Unit() * scale + offset, random.Unit() * scale, 0};
    if (random.Below(3) == 0) p[0].x = p[3].x = std::fmax(std::fmax(p[0].x, p[1].x), p[2].x);
    CorePath path;
    path.MoveTo(p[0].x, p[0].y);
    if (i % 3 == 0)
      path.CubicTo(p[1].x, p[1].y, p[2].x, p[2].y, p[3].x, p[3].y);
    else if (i % 3 == 1)
      path.QuadTo(p[1].x, p[1].y, p[3].x, p[3].y);
    else
      path.LineTo(p[3].x, p[3].y);
    const float maxX = std::fmax(p[0].x, p[3].x);
    const float tolerance = random.Below(3) == 0 ? 0.0f : random.Unit() * scale * 4.0f;
    const float reach = random.Below(2) == 0 ? tolerance : tolerance * 1.41421356f;
    for (int step = -4; step <= 4; ++step) {
      const CorePointF point = {Stepped(maxX + reach, step),
                                random.Below(2) ? p[3].y : random.Unit() * scale};
      if (!Agree(path, point, tolerance, tally)) return;
    }
  }
  ExpectBoth(tally);
}

// Curves whose points all lie within a few units in the last place of one coordinate, but for one that may be
// far away, and points beyond that coordinate by about the tolerance: rounding decides on which side of the
// tolerance the nearest sample is, and the shipped code must not skip such a curve too early.
TEST(ReferenceNearMisses, FlatCurvesAtTheReach) {
  RandomPaths random(10);
  Tally tally;
  for (int i = 0; i < Cases(20000); ++i) {
    const float scale = std::ldexp(1.0f, static_cast<int>(random.Below(40)) - 20);
    const float sign = random.Below(2) == 0 ? -1.0f : 1.0f;  // the side that the point is on
    const float flat = random.Below(4) == 0 ? 0.0f : (random.Unit() - 0.5f) * scale;
    CorePointF p[4];
    for (CorePointF& point : p)
      point = {Stepped(flat, static_cast<int>(random.Below(5)) - 2), random.Unit() * scale};
    if (random.Below(2) == 0)
      p[1 + random.Below(2)].x -= sign * std::ldexp(scale, static_cast<int>(random.Below(30)));
    const float tolerance =
        random.Below(3) == 0 ? 0.0f : random.Unit() * std::ldexp(scale, -static_cast<int>(random.Below(12)));
    const int end = random.Below(2) == 0 ? 0 : 3;
    const float beyond = tolerance + (std::fabs(flat) + tolerance) * random.Unit() *
                                         std::ldexp(1.0f, -16 - static_cast<int>(random.Below(12)));
    const CorePointF at = {flat + sign * beyond, p[end].y};
    CorePath path, turned;
    path.MoveTo(p[0].x, p[0].y);
    turned.MoveTo(p[0].y, p[0].x);
    if (random.Below(2) == 0) {
      path.CubicTo(p[1].x, p[1].y, p[2].x, p[2].y, p[3].x, p[3].y);
      turned.CubicTo(p[1].y, p[1].x, p[2].y, p[2].x, p[3].y, p[3].x);
    } else {
      path.QuadTo(p[1].x, p[1].y, p[3].x, p[3].y);
      turned.QuadTo(p[1].y, p[1].x, p[3].y, p[3].x);
    }
    if (!Agree(path, at, tolerance, tally) || !Agree(turned, {at.y, at.x}, tolerance, tally)) return;
  }
  ExpectBoth(tally);
}

// Arcs of every size and shape, and points from inside them to far beyond: the box that rules an arc out must
// hold all of its curves.
TEST(ReferenceNearMisses, ArcsAroundTheirBox) {
  RandomPaths random(11);
  Tally tally;
  for (int i = 0; i < Cases(20000); ++i) {
    const float scale = std::ldexp(1.0f, static_cast<int>(random.Below(100)) - 50);
    const auto radius = [&] {
      return random.Unit() * std::ldexp(scale, static_cast<int>(random.Below(24)) - 12);
    };
    const auto near = [&](float from) { return from + (random.Unit() - 0.5f) * scale; };
    const CorePointF offset = {random.Below(2) == 0 ? 0.0f : (random.Unit() - 0.5f) * 1000 * scale, 0.0f};
    CorePath path;
    const float rx = radius(), ry = radius();
    path.MoveTo(near(offset.x), near(offset.y));
    path.ArcTo(rx, ry, random.Below(2) == 0 ? 0.0f : random.Unit() * 6, static_cast<float>(random.Below(2)),
               static_cast<float>(random.Below(2)), near(offset.x), near(offset.y));
    if (random.Below(3) == 0) path.Close();
    const float away = std::fmax(std::fmax(rx, ry), scale);
    for (int k = 0; k < 6; ++k) {
      const auto beside = [&](float from) {
        return from + (random.Unit() - 0.5f) * away * (k < 3 ? 2.0f : 7.0f);
      };
      const CorePointF point = {beside(offset.x), beside(offset.y)};
      const float tolerance = k % 2 == 0 ? 0.0f : random.Unit() * away;
      if (!Agree(path, point, tolerance, tally)) return;
    }
  }
  ExpectBoth(tally);
}

// Lines from level to steep, and points beyond both their ranges: where rounding decides whether the line
// through them is still met, the box must not rule the rays out.
TEST(ReferenceNearMisses, LinesFromTheirCorners) {
  RandomPaths random(12);
  Tally tally;
  for (int i = 0; i < Cases(40000); ++i) {
    const float scale = std::ldexp(1.0f, static_cast<int>(random.Below(80)) - 50);
    const auto some = [&](int bits) {
      return random.Unit() * std::ldexp(scale, -static_cast<int>(random.Below(bits)));
    };
    const CorePointF a = {random.Below(2) == 0 ? 0.0f : some(8), random.Below(2) == 0 ? 0.0f : some(8)};
    const CorePointF b = {a.x + some(26), a.y + some(26)};
    CorePath line, turned;
    line.MoveTo(a.x, a.y), line.LineTo(b.x, b.y);
    turned.MoveTo(a.y, a.x), turned.LineTo(b.y, b.x);
    // Walls on three sides: the answer is that of the fourth ray.
    const CorePointF point = {b.x + some(26), b.y + some(26)};
    for (CorePath* path : {&line, &turned}) {
      const CorePointF p = path == &line ? point : CorePointF{point.y, point.x};
      const float r = 4 * scale;
      for (const float tolerance : {0.0f, -1.0f, scale * 0x1p-20f}) {
        if (!Agree(*path, p, tolerance, tally)) return;
        for (int open = 0; open < 4; ++open) {
          CorePath walled = *path;
          const CorePointF corners[5] = {{p.x + r, p.y - r},
                                         {p.x + r, p.y + r},
                                         {p.x - r, p.y + r},
                                         {p.x - r, p.y - r},
                                         {p.x + r, p.y - r}};
          for (int side = 0; side < 4; ++side) {
            if (side == open) continue;
            walled.MoveTo(corners[side].x, corners[side].y);
            walled.LineTo(corners[side + 1].x, corners[side + 1].y);
          }
          if (!Agree(walled, p, tolerance, tally)) return;
        }
      }
    }
  }
  ExpectBoth(tally);
}

// What the table of weights relies on: at these parameters pow() rounds a cube as one multiplication does.
TEST(ReferenceWeights, CubesOfTheSampleParameters) {
  for (int k = 0; k <= 50; ++k) {
    const float t = static_cast<float>(k) / 50.0f;
    const double dt = t;
    const double du = 1.0f - t;
    EXPECT_EQ(std::pow(dt, 3), dt * dt * dt) << k;
    EXPECT_EQ(std::pow(du, 3), du * du * du) << k;
  }
}
