// SPDX-License-Identifier: MIT
// Chart: lines over time on a page, with axes, units and names.
//
//   Chart chart{"Memory", "kB"};
//   chart.series.push_back({"make (4711)", {{0, 1200}, {1, 1800}}});
//   WritePage(output, format, {{800, 400}, 96, 0xFFFFFFFF},
//             [&](CoreDevice& device) { DrawChart(chart, {800, 400}, device); });
#pragma once

#include <tovmx/device.h>
#include <tovmx/geometry.h>

#include <optional>
#include <string>
#include <vector>

namespace jobs {

struct ChartPoint {
  double seconds;  // since the chart's beginning, never less than that of the point before
  double value;    // from 0 on
};

struct ChartSeries {
  std::string name;  // UTF-8
  std::vector<ChartPoint> points;
};

struct Chart {
  std::string title;  // UTF-8
  std::vector<ChartSeries> series;
  std::optional<double> limit = std::nullopt;  // a line across, when there is one
};

// Draws the chart, whose values are kilobytes (1024 bytes), on a device that paths can be drawn onto, the
// size in device units. The axes begin at 0, and their units follow the greatest value: kB, MB, GB or TB, and
// seconds, minutes, hours or days. Beyond a dozen series the others have lines but no names.
void DrawChart(const Chart& chart, CoreSizeF size, CoreDevice& device);

}  // namespace jobs
