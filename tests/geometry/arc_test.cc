// SPDX-License-Identifier: MIT
// Arcs as curves: against the ellipse itself, evaluated in double from the SVG rule for arcs.
#include "geometry/arc.h"
#include "random_paths.h"
#include "reference_hit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace {

struct Arc {
  double rx, ry, rotation;
  bool large, sweep;
  double x1, y1, x2, y2;
};

// Center, radii and angles by the rule of SVG 1.1, F.6.5 and F.6.6.
struct Ellipse {
  double cx, cy, rx, ry, sine, cosine, start, sweepAngle;

  explicit Ellipse(const Arc& arc)
      : rx(std::fabs(arc.rx)),
        ry(std::fabs(arc.ry)),
        sine(std::sin(arc.rotation)),
        cosine(std::cos(arc.rotation)) {
    const double hx = (arc.x1 - arc.x2) / 2, hy = (arc.y1 - arc.y2) / 2;
    const double x = cosine * hx + sine * hy, y = -sine * hx + cosine * hy;
    const double scale = x * x / (rx * rx) + y * y / (ry * ry);
    if (scale > 1) {
      rx *= std::sqrt(scale);
      ry *= std::sqrt(scale);
    }
    const double under = rx * rx * y * y + ry * ry * x * x;
    double factor = std::sqrt(std::fmax(0, (rx * rx * ry * ry - under) / under));
    if (arc.large == arc.sweep) factor = -factor;
    const double ux = factor * rx * y / ry, uy = -factor * ry * x / rx;
    cx = cosine * ux - sine * uy + (arc.x1 + arc.x2) / 2;
    cy = sine * ux + cosine * uy + (arc.y1 + arc.y2) / 2;
    start = std::atan2((y - uy) / ry, (x - ux) / rx);
    sweepAngle = std::atan2((-y - uy) / ry, (-x - ux) / rx) - start;
    if (sweepAngle < 0 && arc.sweep) sweepAngle += 2 * M_PI;
    if (sweepAngle > 0 && !arc.sweep) sweepAngle -= 2 * M_PI;
  }

  // How far (x, y) is from the circle once the ellipse is made one; 0.01 is one hundredth of the radius.
  double Error(double x, double y, double& angle) const {
    const double dx = x - cx, dy = y - cy;
    const double u = (cosine * dx + sine * dy) / rx, v = (-sine * dx + cosine * dy) / ry;
    angle = std::atan2(v, u);
    return std::fabs(std::hypot(u, v) - 1);
  }
};

CorePath RecordsOf(const Arc& arc) {
  CorePath path;
  path.MoveTo(static_cast<float>(arc.x1), static_cast<float>(arc.y1));
  path.ArcTo(static_cast<float>(arc.rx), static_cast<float>(arc.ry), static_cast<float>(arc.rotation),
             arc.large, arc.sweep, static_cast<float>(arc.x2), static_cast<float>(arc.y2));
  return path;
}

// The curves as a path, the start first.
int Convert(const CorePathPoint* arc, CorePath& curves) {
  CorePathPoint points[1 + 3 * kCoreMaxArcCurves];
  const int count = CoreArcToCubics(arc, points);
  for (int i = 0; i <= 3 * count; ++i) curves.AddPoint(points[i]);
  return count;
}

double Cubic(double a, double b, double c, double d, double t) {
  const double u = 1 - t;
  return u * u * u * a + 3 * t * u * u * b + 3 * t * t * u * c + t * t * t * d;
}

// Each curve stays on the ellipse, the curves join, and together they sweep the arc from start to end.
void ExpectOnEllipse(const Arc& arc) {
  const Ellipse ellipse(arc);
  CorePath curves;
  const int count = Convert(RecordsOf(arc).GetPoints(), curves);
  ASSERT_GE(count, 1);
  ASSERT_LE(count, 4);
  ASSERT_EQ(curves.GetPointCounter(), 3 * count);
  const CorePathPoint* p = curves.GetPoints();
  EXPECT_EQ(p[0].flags, kCorePathMove);
  const double radius = std::fmax(ellipse.rx, ellipse.ry);
  EXPECT_NEAR(p[3 * count].x, arc.x2, 3e-4 * radius);
  EXPECT_NEAR(p[3 * count].y, arc.y2, 3e-4 * radius);
  double worst = 0, turned = 0, last = 0;
  ellipse.Error(p[0].x, p[0].y, last);
  for (int k = 0; k < count; ++k, p += 3) {
    EXPECT_EQ(p[1].flags, kCorePathCubic);
    for (int i = 0; i <= 100; ++i) {
      const double t = i / 100.0;
      double angle = 0;
      worst = std::fmax(worst, ellipse.Error(Cubic(p[0].x, p[1].x, p[2].x, p[3].x, t),
                                             Cubic(p[0].y, p[1].y, p[2].y, p[3].y, t), angle));
      turned += std::remainder(angle - last, 2 * M_PI);
      last = angle;
    }
  }
  EXPECT_LE(worst, 3e-4);
  EXPECT_NEAR(turned, ellipse.sweepAngle, 1e-3);
}

std::uint32_t Bits(float value) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

}  // namespace

TEST(ArcConversion, EachFlagCombinationSelectsItsArc) {
  for (const bool large : {false, true}) {
    for (const bool sweep : {false, true}) {
      SCOPED_TRACE(testing::Message() << "large " << large << " sweep " << sweep);
      ExpectOnEllipse({30, 30, 0, large, sweep, 0, 0, 40, 10});
      ExpectOnEllipse({50, 20, 0.7, large, sweep, 10, 20, 40, 30});
    }
  }
}

TEST(ArcConversion, RadiiThatAreTooSmallGrow) { ExpectOnEllipse({1, 2, 0.3, false, true, 0, 0, 40, 10}); }

TEST(ArcConversion, NegativeRadiiCountAsPositive) {
  ExpectOnEllipse({-30, -20, 0.3, true, true, 0, 0, 40, 10});
}

TEST(ArcConversion, AnExactQuarterTurnIsOneCurve) {
  CorePath curves;
  EXPECT_EQ(Convert(RecordsOf({10, 10, 0, false, true, 10, 0, 0, 10}).GetPoints(), curves), 1);
}

TEST(ArcConversion, CountsOfCurves) {
  const auto count = [](double degrees) {
    CorePath curves;
    const double a = degrees * M_PI / 180;
    return Convert(
        RecordsOf({10, 10, 0, degrees > 180, true, 10, 0, 10 * std::cos(a), 10 * std::sin(a)}).GetPoints(),
        curves);
  };
  EXPECT_EQ(count(10), 1);
  EXPECT_EQ(count(95), 2);
  EXPECT_EQ(count(175), 2);
  EXPECT_EQ(count(190), 3);
  EXPECT_EQ(count(300), 4);
  EXPECT_EQ(count(359), 4);
}

TEST(ArcConversion, AnyNonZeroFlagIsSet) {
  CorePath arc, other;
  arc.MoveTo(0, 0);
  arc.ArcTo(30, 30, 0, -2.5f, 0.001f, 40, 10);
  other.MoveTo(0, 0);
  other.ArcTo(30, 30, 0, 1, 1, 40, 10);
  CorePath a, b;
  ASSERT_EQ(Convert(arc.GetPoints(), a), Convert(other.GetPoints(), b));
  for (int i = 0; i <= a.GetPointCounter(); ++i) EXPECT_EQ(a.GetPoints()[i].x, b.GetPoints()[i].x);
}

TEST(ArcConversion, DegenerateArcsGiveOnlyTheMove) {
  const Arc arcs[] = {{0, 10, 0, false, true, 0, 0, 20, 0},
                      {10, 0, 0, false, true, 0, 0, 20, 0},
                      {10, 10, 0, false, true, 5, 5, 5, 5},
                      {10, 10, INFINITY, false, true, 0, 0, 20, 0},
                      {10, 10, 0, false, true, NAN, 0, 20, 0}};
  for (const Arc& arc : arcs) {
    CorePath curves;
    EXPECT_EQ(Convert(RecordsOf(arc).GetPoints(), curves), 0);
    EXPECT_EQ(curves.GetPointCounter(), 0);
  }
}

TEST(ArcConversion, HasTheBitsOfTheReference) {
  reference::RandomPaths random(23);
  const auto number = [&] { return random.Number(static_cast<reference::Numbers>(random.Below(4))); };
  for (int i = 0; i < 20000; ++i) {
    CorePath arc, expected, curves;
    arc.MoveTo(number(), number());
    const float rotation = random.Below(2) == 0 ? 0.0f : random.Unit() * 20 - 10;
    arc.ArcTo(number(), number(), rotation, static_cast<float>(random.Below(2)),
              static_cast<float>(random.Below(2)), number(), number());
    const int count = reference::ConvertArc(arc, expected);
    ASSERT_EQ(Convert(arc.GetPoints(), curves), count);
    ASSERT_EQ(curves.GetPointCounter(), expected.GetPointCounter());
    for (int k = 0; k <= curves.GetPointCounter(); ++k) {
      const CorePathPoint &a = curves.GetPoints()[k], &b = expected.GetPoints()[k];
      ASSERT_EQ(a.flags, b.flags);
      // A NaN has no sign and no payload that anybody sees.
      ASSERT_TRUE(Bits(a.x) == Bits(b.x) || (std::isnan(a.x) && std::isnan(b.x))) << i;
      ASSERT_TRUE(Bits(a.y) == Bits(b.y) || (std::isnan(a.y) && std::isnan(b.y))) << i;
    }
  }
}

TEST(ArcConversion, RandomArcsStayOnTheirEllipse) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> coordinate(-100, 100), radius(5, 200), turn(-7, 7);
  for (int i = 0; i < 2000 && !testing::Test::HasFailure(); ++i) {
    // Rounded first, so that both sides see the same arc.
    const auto draw = [&](auto& from) { return static_cast<double>(static_cast<float>(from(random))); };
    const Arc arc = {draw(radius),      draw(radius),      draw(turn),
                     random() % 2 == 0, random() % 2 == 0, draw(coordinate),
                     draw(coordinate),  draw(coordinate),  draw(coordinate)};
    ExpectOnEllipse(arc);
    if (testing::Test::HasFailure())
      ADD_FAILURE() << arc.rx << " " << arc.ry << " " << arc.rotation << " " << arc.large << arc.sweep << " "
                    << arc.x1 << "," << arc.y1 << " " << arc.x2 << "," << arc.y2;
  }
}

TEST(ReduceTurns, SmallRotationsStayAsTheyAre) {
  for (const float rotation : {0.0f, -0.0f, 1.0f, 6.2831850f, -0.0001f, -0.00005f})
    EXPECT_EQ(Bits(tovmx::ReduceTurns(rotation)), Bits(rotation)) << rotation;
}

TEST(ReduceTurns, ATurnIsTakenOffOrAdded) {
  EXPECT_EQ(tovmx::ReduceTurns(6.2831855f), 0.0f);
  EXPECT_EQ(tovmx::ReduceTurns(7.0f), 7.0f - 6.2831855f);
  EXPECT_EQ(tovmx::ReduceTurns(-1.0f), -1.0f + 6.2831855f);
}

TEST(ReduceTurns, RotationsThatATurnCannotChangeStayAsTheyAre) {
  for (const float rotation : {0x1.000002p27f, 1e30f, -1e30f, 3.4e38f, INFINITY, -INFINITY})
    EXPECT_EQ(tovmx::ReduceTurns(rotation), rotation);
  EXPECT_TRUE(std::isnan(tovmx::ReduceTurns(NAN)));
}

// Bit for bit as turn after turn, rounding included; around every power of two, where the rounding changes.
TEST(ReduceTurns, EqualsRepeatedSubtraction) {
  std::mt19937 random(6);
  const auto same = [](float rotation) {
    return Bits(tovmx::ReduceTurns(rotation)) == Bits(reference::ReduceTurns(rotation));
  };
  for (int exponent = -16; exponent < 27; ++exponent) {
    const int cases = exponent < 10 ? 3000 : exponent < 16 ? 200 : exponent < 20 ? 40 : 2;
    for (int i = 0; i < cases; ++i) {
      float rotation = std::ldexp(1.0f + static_cast<float>(random() % (1u << 23)) * 0x1p-23f, exponent);
      if (i % 4 == 0)
        rotation = std::ldexp(1.0f, exponent) * (1.0f + static_cast<float>(random() % 64) * 0x1p-23f);
      if (i % 4 == 1) rotation = std::nextafterf(std::ldexp(1.0f, exponent), 0.0f);
      ASSERT_TRUE(same(rotation)) << rotation;
      ASSERT_TRUE(same(-rotation)) << rotation;
    }
  }
}
