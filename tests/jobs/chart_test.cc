// SPDX-License-Identifier: MIT
// The scales of a chart, and that a chart is drawn whatever it holds.
#include "jobs/chart.h"
#include "jobs/chart_scale.h"
#include "jobs/page.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

TEST(ChartScale, UnitsAndTicksFollowTheGreatestValue) {
  const struct {
    double most;
    const char* unit;
    const char* last;
  } memory[] = {{0, "kB", "1.0"},     {1, "kB", "1.0"},    {1000, "kB", "1000"},
                {2047, "kB", "2500"}, {2048, "MB", "2.0"}, {51200, "MB", "50"},
                {51300, "MB", "60"},  {3e6, "GB", "3"},    {1e13, "TB", "10000"}};
  for (const auto& one : memory) {
    const jobs::ChartScale scale = jobs::MemoryScale(one.most);
    EXPECT_EQ(scale.unit, one.unit) << one.most;
    EXPECT_EQ(scale.TickText(scale.end), one.last) << one.most;
    EXPECT_GE(scale.end * scale.unitSize * (1 + 1e-6), one.most);
  }
  EXPECT_EQ(jobs::TimeScale(119).unit, "s");
  EXPECT_EQ(jobs::TimeScale(7199).unit, "min");
  EXPECT_EQ(jobs::TimeScale(172799).unit, "h");
  EXPECT_EQ(jobs::TimeScale(172800).unit, "d");
  EXPECT_EQ(jobs::MemoryScale(2097151).unit, "MB");
  EXPECT_EQ(jobs::MemoryScale(2097152).unit, "GB");
  EXPECT_EQ(jobs::MemoryScale(2147483647).unit, "GB");
  EXPECT_EQ(jobs::MemoryScale(2147483648).unit, "TB");
  EXPECT_EQ(jobs::TimeScale(120).unit, "min");
  EXPECT_EQ(jobs::TimeScale(7200).unit, "h");
  EXPECT_EQ(jobs::TimeScale(1e6).unit, "d");
}

TEST(ChartScale, ThereAreAFewTicksWhateverTheValue) {
  for (double most = 1; most < 1e12; most *= 1.37) {
    for (const jobs::ChartScale& scale : {jobs::MemoryScale(most), jobs::TimeScale(most)}) {
      const double ticks = scale.end / scale.step;
      EXPECT_GE(ticks, 2) << most;
      EXPECT_LE(ticks, 6) << most;
      EXPECT_NEAR(ticks, std::round(ticks), 1e-6) << most;
    }
  }
}

CoreDib Drawn(const jobs::Chart& chart) {
  CoreDib picture;
  constexpr CoreSizeF kSize = {600, 300};
  jobs::RenderPage(
      {kSize, 96, 0xFFFFFFFF}, [&](CoreDevice& device) { jobs::DrawChart(chart, kSize, device); }, "chart",
      picture);
  return picture;
}

int CountOf(const CoreDib& picture, std::uint32_t argb) {
  int count = 0;
  for (int y = 0; y < picture.GetHeight(); ++y) {
    for (int x = 0; x < picture.GetWidth(); ++x) count += picture.GetArgb(x, y) == argb;
  }
  return count;
}

// Pixels of the limit's red, be it of its edge: how a line meets the pixels is the rasterizer's.
int CountOfLimit(const CoreDib& picture) {
  int count = 0;
  for (int y = 0; y < picture.GetHeight(); ++y) {
    for (int x = 0; x < picture.GetWidth(); ++x) {
      const std::uint32_t argb = picture.GetArgb(x, y);
      const int red = static_cast<int>(argb >> 16 & 0xFF), green = static_cast<int>(argb >> 8 & 0xFF);
      count += green == static_cast<int>(argb & 0xFF) && red - green > 48;
    }
  }
  return count;
}

TEST(Chart, ALineGoesFromCornerToCorner) {
  jobs::Chart chart{"title", {{"one", {{0, 0}, {100, 1000}}}}};
  const CoreDib picture = Drawn(chart);
  const std::uint32_t color = 0xFF0072B2;
  EXPECT_GT(CountOf(picture, color), 100);
  // Half way in time half way in value, on the straight line between: the plot is 70 to 390 by 44 to 250.
  bool middle = false;
  for (int y = 142; y < 152; ++y) middle |= picture.GetArgb(230, y) != 0xFFFFFFFF;
  EXPECT_TRUE(middle);
}

TEST(Chart, AnythingCanBeDrawn) {
  EXPECT_GT(CountOf(Drawn({"nothing", {}}), 0xFF333333), 50) << "the axes";
  EXPECT_GT(CountOf(Drawn({"no sample", {{"none", {}}}}), 0xFF333333), 50);
  EXPECT_GT(CountOf(Drawn({"one sample", {{"one", {{0, 5}}}}}), 0xFF0072B2), 20);
  jobs::Chart many{"many", {}};
  for (int i = 0; i < 300; ++i) many.series.push_back({std::string(500, 'n'), {{0, 1e9}, {1e6, 2e12}}});
  many.limit = 1e12;
  EXPECT_EQ(CountOfLimit(Drawn({"none", {{"one", {{0, 5}}}}})), 0);
  EXPECT_GT(CountOfLimit(Drawn(many)), 100);
}

TEST(NumberedFile, IsPaddedToTheCountBeforeTheExtension) {
  EXPECT_EQ(jobs::NumberedFile("out.png", 1, 9), "out-1.png");
  EXPECT_EQ(jobs::NumberedFile("a.b/out.png", 7, 10), "a.b/out-07.png");
  EXPECT_EQ(jobs::NumberedFile("a.b/out", 100, 1000), "a.b/out-0100");
  EXPECT_EQ(jobs::NumberedFile(".png", 1, 2), "-1.png");
}

}  // namespace
