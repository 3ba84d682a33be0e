// SPDX-License-Identifier: MIT
// Where a chart's lines and texts stand, as a device is told to draw them.
#include "jobs/chart.h"
#include "jobs/chart_scale.h"

#include <tovmx/device.h>
#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace {

struct Stroke {
  std::vector<CorePointF> points;
  float width;
  std::uint32_t argb;
};

struct Words {
  std::wstring text;
  float x, y;
  std::uint32_t argb;
  float size;
};

// What was drawn.
struct Drawing {
  // The text that says this, which must be there once.
  Words Find(const std::wstring& text) const {
    Words found = {L"", -1, -1, 0, 0};
    int count = 0;
    for (const Words& each : words) {
      if (each.text != text) continue;
      found = each;
      ++count;
    }
    EXPECT_EQ(count, 1) << std::string(text.begin(), text.end());
    return found;
  }

  // How many strokes go from one point to the other like this.
  int Count(CorePointF from, CorePointF to, std::uint32_t argb, float width) const {
    int count = 0;
    const auto near = [](CorePointF a, CorePointF b) {
      return std::fabs(a.x - b.x) < 0.01f && std::fabs(a.y - b.y) < 0.01f;
    };
    for (const Stroke& each : strokes) {
      count += each.points.size() == 2 && near(each.points[0], from) && near(each.points[1], to) &&
               each.argb == argb && each.width == width;
    }
    return count;
  }

  std::vector<Stroke> strokes;
  std::vector<Words> words;
};

class Recorder final : public CorePathDevice {
 public:
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& /*fonts*/,
                const CoreMatrix& matrix, std::uint32_t argb, float pixelSize) override {
    seen.words.push_back(
        {std::wstring(characters, static_cast<std::size_t>(count)), matrix.e, matrix.f, argb, pixelSize});
    open = true;
    return true;
  }
  bool EndText() override {
    EXPECT_TRUE(open);
    open = false;
    return true;
  }
  bool Flush() override {
    ++flushes;
    return true;
  }
  bool FillPath(const CorePath& /*path*/, CoreFillMode /*mode*/, const CoreMatrix& /*matrix*/,
                std::uint32_t /*argb*/) override {
    return true;
  }
  bool StrokePath(const CorePath& path, float width, const CoreMatrix& /*matrix*/,
                  std::uint32_t argb) override {
    Stroke stroke{{}, width, argb};
    for (int i = 0; i <= path.GetPointCounter(); ++i) {
      CorePointF point;
      std::uint32_t flags = 0;
      EXPECT_TRUE(path.GetPoint(i, point, flags));
      stroke.points.push_back(point);
    }
    seen.strokes.push_back(stroke);
    return true;
  }

  Drawing seen;
  int flushes = 0;
  bool open = false;
};

constexpr std::uint32_t kInk = 0xFF333333;
constexpr std::uint32_t kGrid = 0xFFDDDDDD;
constexpr std::uint32_t kLimit = 0xFFCC0000;
constexpr CoreSizeF kSize = {600, 300};
// The plot: 70 from the left, 44 from the top, 50 from the bottom; 190 for the names and 20 on the right.
constexpr float kLeft = 70, kTop = 44, kRight = 390, kBottom = 250;

float WidthOf(const std::wstring& text, float size) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(L"Arial", L"Arial", kCoreFontAny, 400, false);
  CoreTextExtents extents;
  EXPECT_TRUE(fonts.MeasureText(text.c_str(), static_cast<int>(text.size()), size, extents));
  return extents.logical.right;
}

void ExpectAt(const Words& words, float x, float y, std::uint32_t argb = kInk, float size = 13) {
  const std::string name(words.text.begin(), words.text.end());
  EXPECT_NEAR(words.x, x, 0.01) << name;
  EXPECT_NEAR(words.y, y, 0.01) << name;
  EXPECT_EQ(words.argb, argb) << name;
  EXPECT_EQ(words.size, size) << name;
}

Drawing Drawn(const jobs::Chart& chart) {
  Recorder recorder;
  jobs::DrawChart(chart, kSize, recorder);
  EXPECT_EQ(recorder.flushes, 1);
  EXPECT_FALSE(recorder.open);
  return recorder.seen;
}

void ExpectAxes(double seconds, double value) {
  const Drawing seen = Drawn({"the title", {{"one", {{0, 0}, {seconds, value}}}}});
  ExpectAt(seen.Find(L"the title"), kLeft, 26, kInk, 17);
  EXPECT_EQ(seen.Count({kLeft, kTop}, {kLeft, kBottom}, kInk, 1), 1) << "the axis on the left";
  const jobs::ChartScale memory = jobs::MemoryScale(value);
  const jobs::ChartScale time = jobs::TimeScale(seconds);
  const std::wstring unit(memory.unit.begin(), memory.unit.end());
  const std::wstring below = L"time in " + std::wstring(time.unit.begin(), time.unit.end());
  ExpectAt(seen.Find(unit), kLeft - 8 - WidthOf(unit, 13), kTop - 12);
  ExpectAt(seen.Find(below), (kLeft + kRight - WidthOf(below, 13)) / 2, kBottom + 40);
  int ticks = 0;
  for (double at = 0; at <= memory.end + memory.step / 2; at += memory.step, ++ticks) {
    const auto y = static_cast<float>(kBottom - (kBottom - kTop) * at / memory.end);
    EXPECT_EQ(seen.Count({kLeft, y}, {kRight, y}, at == 0 ? kInk : kGrid, 1), 1) << at;
    const std::string number = memory.TickText(at);
    const std::wstring text(number.begin(), number.end());
    int found = 0;
    for (const Words& words : seen.words) {
      if (words.text != text || std::fabs(words.y - (y + 4)) > 0.01f) continue;
      ++found;
      ExpectAt(words, kLeft - 8 - WidthOf(text, 13), y + 4);
    }
    EXPECT_EQ(found, 1) << number;
  }
  for (double at = 0; at <= time.end + time.step / 2; at += time.step, ++ticks) {
    const auto x = static_cast<float>(kLeft + (kRight - kLeft) * at / time.end);
    EXPECT_EQ(seen.Count({x, kBottom}, {x, kBottom + 5}, kInk, 1), 1) << at;
    const std::string number = time.TickText(at);
    const std::wstring text(number.begin(), number.end());
    int found = 0;
    for (const Words& words : seen.words) {
      if (words.text != text || std::fabs(words.y - (kBottom + 20)) > 0.01f) continue;
      ++found;
      ExpectAt(words, x - WidthOf(text, 13) / 2, kBottom + 20);
    }
    EXPECT_EQ(found, 1) << number;
  }
  EXPECT_EQ(seen.words.size(), static_cast<std::size_t>(ticks) + 4) << "ticks, title, two units and a name";
  EXPECT_EQ(seen.strokes.size(), static_cast<std::size_t>(ticks) + 3) << "the axis, a line and its mark";
}

TEST(ChartPaint, TheAxesHaveTicksLinesAndUnits) {
  ExpectAxes(100, 1000);
  ExpectAxes(20000, 3e6);
}

TEST(ChartPaint, ALineGoesThroughItsPoints) {
  const Drawing seen = Drawn({"", {{"one", {{0, 0}, {25, 1000}, {100, 500}}}, {"two", {{50, 250}}}}});
  ASSERT_GE(seen.strokes.size(), 4u);
  const jobs::ChartScale memory = jobs::MemoryScale(1000);
  const jobs::ChartScale time = jobs::TimeScale(100);
  const auto x = [&](double seconds) {
    return static_cast<float>(kLeft + (kRight - kLeft) * seconds / (time.end * time.unitSize));
  };
  const auto y = [&](double value) {
    return static_cast<float>(kBottom - (kBottom - kTop) * value / (memory.end * memory.unitSize));
  };
  std::vector<Stroke> lines;
  for (const Stroke& stroke : seen.strokes) {
    if (stroke.width == 2) lines.push_back(stroke);
  }
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].argb, 0xFF0072B2u);
  ASSERT_EQ(lines[0].points.size(), 4u) << "where it begins, and each point";
  const CorePointF places[] = {{x(0), y(0)}, {x(0), y(0)}, {x(25), y(1000)}, {x(100), y(500)}};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(lines[0].points[i].x, places[i].x, 0.01) << i;
    EXPECT_NEAR(lines[0].points[i].y, places[i].y, 0.01) << i;
  }
  EXPECT_EQ(lines[1].argb, 0xFFE69F00u);
  ASSERT_EQ(lines[1].points.size(), 3u);
  EXPECT_NEAR(lines[1].points.back().x, x(50) + 3, 0.01) << "a single sample is as long as can be seen";
  EXPECT_NEAR(lines[1].points.back().y, y(250), 0.01);
}

TEST(ChartPaint, TheLimitIsALineWithItsName) {
  const Drawing seen = Drawn({"", {{"one", {{0, 0}, {100, 500}}}}, 1000});
  const jobs::ChartScale memory = jobs::MemoryScale(1000);
  const auto y = static_cast<float>(kBottom - (kBottom - kTop) * 1000 / (memory.end * memory.unitSize));
  EXPECT_EQ(seen.Count({kLeft, y}, {kRight, y}, kLimit, 1), 1);
  ExpectAt(seen.Find(L"limit"), kRight - WidthOf(L"limit", 13), y - 4, kLimit);
  for (const Words& words : Drawn({"", {{"one", {{0, 0}, {100, 500}}}}}).words)
    EXPECT_NE(words.text, L"limit");
}

TEST(ChartPaint, NamesStandBesideTheirColors) {
  jobs::Chart chart{"", {}};
  for (int i = 0; i < 12; ++i) chart.series.push_back({"name " + std::to_string(i), {}});
  const std::uint32_t colors[] = {0xFF0072B2, 0xFFE69F00, 0xFF009E73, 0xFFCC79A7,
                                  0xFF56B4E9, 0xFFD55E00, 0xFF000000};
  const float left = kRight + 16;
  const Drawing twelve = Drawn(chart);
  for (int i = 0; i < 12; ++i) {
    const float y = kTop + 10 + 18.0f * static_cast<float>(i);
    EXPECT_EQ(twelve.Count({left, y - 4}, {left + 16, y - 4}, colors[i % 7], 3), 1) << i;
    ExpectAt(twelve.Find(L"name " + std::to_wstring(i)), left + 22, y);
  }
  chart.series.push_back({"name 12", {}});
  chart.series.push_back({"name 13", {}});
  const Drawing more = Drawn(chart);
  EXPECT_EQ(more.words.size(), twelve.words.size() + 1);
  ExpectAt(more.Find(L"and 2 more"), left + 22, kTop + 10 + 18 * 12);
}

TEST(ChartPaint, LongNamesAreCutAndNothingElseIs) {
  const auto drawn = [](std::size_t length) {
    return Drawn({std::string(99, 't'), {{std::string(length, 'n'), {}}}});
  };
  EXPECT_EQ(drawn(28).Find(std::wstring(28, L'n')).size, 13);
  EXPECT_EQ(drawn(29).Find(std::wstring(27, L'n') + L'\u2026').size, 13);
  EXPECT_EQ(drawn(500).Find(std::wstring(27, L'n') + L'\u2026').size, 13);
  EXPECT_EQ(drawn(5).Find(std::wstring(99, L't')).size, 17) << "a title is long";
}

TEST(ChartPaint, WithoutSeriesThereIsNoRoomForNames) {
  const Drawing seen = Drawn({"", {}});
  EXPECT_EQ(seen.Count({kLeft, kBottom}, {580, kBottom}, kInk, 1), 1);
  class Lines final : public CoreDevice {
   public:
    bool DrawText(const wchar_t* /*characters*/, int /*count*/, const CoreFontLoader& /*fonts*/,
                  const CoreMatrix& /*matrix*/, std::uint32_t /*argb*/, float /*size*/) override {
      ADD_FAILURE();
      return true;
    }
    bool EndText() override { return true; }
    bool Flush() override {
      ++flushes;
      return true;
    }
    int flushes = 0;
  } lines;
  jobs::DrawChart({"no paths", {}}, kSize, lines);
  EXPECT_EQ(lines.flushes, 1) << "a device without paths gets nothing";
}

}  // namespace
