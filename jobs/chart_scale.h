// SPDX-License-Identifier: MIT
// The scale of a chart's axis: its unit, and where its ticks stand.
#pragma once

#include <string>

namespace jobs {

struct ChartScale {
  std::string unit;
  double unitSize = 1;  // how many of what is measured make a unit
  double step = 1;      // from tick to tick, in units: 1, 2 or 5 times a power of ten
  double end = 1;       // where the axis ends, in units: a whole number of steps

  // The text of a tick at so many units, with as many decimals as the step needs.
  std::string TickText(double units) const;
};

// Scales for 0 to `most` kilobytes and seconds, with about five ticks. Anything below 1 counts as 1.
ChartScale MemoryScale(double most);
ChartScale TimeScale(double most);

}  // namespace jobs
