// SPDX-License-Identifier: MIT
// The box of a path, beside the box of very many points of it.
#include "jobs/path_bounds.h"

#include "jobs/svg_path.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

namespace {

using jobs::Bounds;

Bounds BoundsOfText(const std::string& text) { return jobs::BoundsOf(jobs::ParseSvgPath(text)); }

void ExpectBox(const std::string& text, double left, double top, double right, double bottom) {
  const Bounds box = BoundsOfText(text);
  EXPECT_NEAR(box.from.x, left, 1e-3) << text;
  EXPECT_NEAR(box.from.y, top, 1e-3) << text;
  EXPECT_NEAR(box.to.x, right, 1e-3) << text;
  EXPECT_NEAR(box.to.y, bottom, 1e-3) << text;
}

TEST(PathBounds, SegmentsOfEveryKind) {
  ExpectBox("M1 2", 1, 2, 1, 2);
  ExpectBox("M0 0L10 -5", 0, -5, 10, 0);
  ExpectBox("M0 0Q10 20 20 0", 0, 0, 20, 10);
  ExpectBox("M0 0C0 40 30 40 30 0", 0, 0, 30, 30);
  ExpectBox("M0 0C40 0 -10 0 30 0", 0, 0, 30, 0);
  ExpectBox("M-5 0A5 5 0 0 1 5 0", -5, -5, 5, 0);
  ExpectBox("M-5 0A5 5 0 1 0 5 0A5 5 0 1 0 -5 0Z", -5, -5, 5, 5);
  ExpectBox("M0 0L10 0L10 10Zl0 -20", 0, -20, 10, 10);
}

TEST(PathBounds, CubicsTouchTheirBoxAndStayInside) {
  std::mt19937 random(4);
  std::uniform_real_distribution<float> number(-100, 100);
  for (int round = 0; round < 2000; ++round) {
    double p[2][4];
    CorePath path;
    for (auto& axis : p) {
      for (double& value : axis) value = static_cast<double>(number(random));
    }
    const auto f = [&](int axis, int i) { return static_cast<float>(p[axis][i]); };
    path.MoveTo(f(0, 0), f(1, 0));
    path.CubicTo(f(0, 1), f(1, 1), f(0, 2), f(1, 2), f(0, 3), f(1, 3));
    Bounds sampled;
    for (int k = 0; k <= 4000; ++k) {
      const double t = k / 4000.0, s = 1 - t;
      const auto at = [&](const double* q) {
        return s * s * s * q[0] + 3 * s * s * t * q[1] + 3 * s * t * t * q[2] + t * t * t * q[3];
      };
      sampled.Add({at(p[0]), at(p[1])});
    }
    const Bounds box = jobs::BoundsOf(path);
    EXPECT_NEAR(box.from.x, sampled.from.x, 1e-3);
    EXPECT_NEAR(box.from.y, sampled.from.y, 1e-3);
    EXPECT_NEAR(box.to.x, sampled.to.x, 1e-3);
    EXPECT_NEAR(box.to.y, sampled.to.y, 1e-3);
  }
}

TEST(PathBounds, ExtremeNumbersStayNumbers) {
  for (const char* text : {"M-3e38 -3e38L3e38 3e38", "M0 0L1e-40 1e-40", "M0 0C3e38 3e38 -3e38 3e38 0 0",
                           "M0 0A1e-30 1e30 0 01 5 5", "M0 0Q0 0 0 0"}) {
    const Bounds box = BoundsOfText(text);
    EXPECT_TRUE(std::isfinite(box.Width()) && std::isfinite(box.Height())) << text;
  }
}

}  // namespace
