// SPDX-License-Identifier: MIT
// Paints grid, lines and names from back to front, with the paths and the text of the core.
#include "chart.h"

#include "chart_scale.h"

#include <tovkit/util.h>
#include <tovmx/font.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace jobs {

namespace {

constexpr std::uint32_t kInk = 0xFF333333;
constexpr std::uint32_t kGrid = 0xFFDDDDDD;
constexpr std::uint32_t kLimit = 0xFFCC0000;
// Colors that color-blind people can tell apart (Okabe and Ito).
constexpr std::uint32_t kColors[] = {0xFF0072B2, 0xFFE69F00, 0xFF009E73, 0xFFCC79A7,
                                     0xFF56B4E9, 0xFFD55E00, 0xFF000000};
constexpr float kText = 13;
constexpr float kTitle = 17;
constexpr float kRow = 18;
constexpr std::size_t kMostNames = 12;
constexpr std::size_t kLongestName = 28;  // characters

enum class Align { kLeft, kCenter, kRight };

class ChartPainter {
 public:
  ChartPainter(const Chart& chart, CoreSizeF size, CorePathDevice& device)
      : chart_(chart), device_(device), fonts_(nullptr) {
    fonts_.LoadFont(L"Arial", L"Arial", kCoreFontAny, 400, false);
    double value = chart.limit.value_or(0);
    double seconds = 0;
    for (const ChartSeries& series : chart.series) {
      for (const ChartPoint& point : series.points) {
        value = std::max(value, point.value);
        seconds = std::max(seconds, point.seconds);
      }
    }
    memory_ = MemoryScale(value);
    time_ = TimeScale(seconds);
    const float legend = chart.series.empty() ? 0 : 190;
    plot_ = {70, 44, size.width - legend - 20, size.height - 50};
  }

  void Paint() {
    Text(chart_.title, plot_.left, 26, Align::kLeft, kInk, kTitle);
    PaintGrid();
    for (std::size_t i = 0; i < chart_.series.size(); ++i) PaintSeries(i);
    if (chart_.limit) {
      const float y = Y(*chart_.limit);
      Line(plot_.left, y, plot_.right, y, kLimit, 1);
      Text("limit", plot_.right, y - 4, Align::kRight, kLimit, kText);
    }
    PaintNames();
  }

 private:
  float X(double seconds) const {
    return static_cast<float>(plot_.left +
                              (plot_.right - plot_.left) * seconds / (time_.end * time_.unitSize));
  }
  float Y(double value) const {
    return static_cast<float>(plot_.bottom -
                              (plot_.bottom - plot_.top) * value / (memory_.end * memory_.unitSize));
  }

  void PaintGrid() {
    for (int i = 0; i * memory_.step <= memory_.end * 1.0001; ++i) {
      const double units = i * memory_.step;
      const float y = Y(units * memory_.unitSize);
      Line(plot_.left, y, plot_.right, y, i == 0 ? kInk : kGrid, 1);
      Text(memory_.TickText(units), plot_.left - 8, y + 4, Align::kRight, kInk, kText);
    }
    for (int i = 0; i * time_.step <= time_.end * 1.0001; ++i) {
      const double units = i * time_.step;
      const float x = X(units * time_.unitSize);
      Line(x, plot_.bottom, x, plot_.bottom + 5, kInk, 1);
      Text(time_.TickText(units), x, plot_.bottom + 20, Align::kCenter, kInk, kText);
    }
    Line(plot_.left, plot_.top, plot_.left, plot_.bottom, kInk, 1);
    Text(memory_.unit, plot_.left - 8, plot_.top - 12, Align::kRight, kInk, kText);
    Text("time in " + time_.unit, (plot_.left + plot_.right) / 2, plot_.bottom + 40, Align::kCenter, kInk,
         kText);
  }

  void PaintSeries(std::size_t index) {
    const std::vector<ChartPoint>& points = chart_.series[index].points;
    if (points.empty()) return;
    CorePath path;
    path.MoveTo(X(points[0].seconds), Y(points[0].value));
    for (const ChartPoint& point : points) path.LineTo(X(point.seconds), Y(point.value));
    // A line without length would be invisible.
    if (points.size() == 1) path.LineTo(X(points[0].seconds) + 3, Y(points[0].value));
    device_.StrokePath(path, 2, CoreMatrix(), ColorOf(index));
  }

  void PaintNames() {
    const float left = plot_.right + 16;
    float y = plot_.top + 10;
    const std::size_t count = std::min(chart_.series.size(), kMostNames);
    for (std::size_t i = 0; i < count; ++i, y += kRow) {
      Line(left, y - 4, left + 16, y - 4, ColorOf(i), 3);
      Text(chart_.series[i].name, left + 22, y, Align::kLeft, kInk, kText);
    }
    if (count < chart_.series.size()) {
      Text("and " + std::to_string(chart_.series.size() - count) + " more", left + 22, y, Align::kLeft, kInk,
           kText);
    }
  }

  static std::uint32_t ColorOf(std::size_t index) { return kColors[index % std::size(kColors)]; }

  void Line(float x, float y, float toX, float toY, std::uint32_t argb, float width) {
    CorePath path;
    path.MoveTo(x, y);
    path.LineTo(toX, toY);
    device_.StrokePath(path, width, CoreMatrix(), argb);
  }

  void Text(const std::string& utf8, float x, float y, Align align, std::uint32_t argb, float size) {
    std::wstring text = tovkit::Utf8ToWide(utf8.c_str(), static_cast<int>(utf8.size()));
    if (align == Align::kLeft && size == kText && text.size() > kLongestName) {
      text.resize(kLongestName);
      text.back() = L'\u2026';
    }
    const int count = static_cast<int>(text.size());
    CoreTextExtents extents;
    if (!fonts_.MeasureText(text.c_str(), count, size, extents)) return;
    if (align == Align::kRight) x -= extents.logical.right;
    if (align == Align::kCenter) x -= extents.logical.right / 2;
    CoreMatrix place;
    place.Translate(x, y);
    device_.DrawText(text.c_str(), count, fonts_, place, argb, size);
    device_.EndText();
  }

  const Chart& chart_;
  CorePathDevice& device_;
  CoreFontLoader fonts_;
  ChartScale memory_;
  ChartScale time_;
  CoreRectF plot_;
};

}  // namespace

void DrawChart(const Chart& chart, CoreSizeF size, CoreDevice& device) {
  auto* const paths = dynamic_cast<CorePathDevice*>(&device);
  if (paths != nullptr) ChartPainter(chart, size, *paths).Paint();
  device.Flush();
}

}  // namespace jobs
