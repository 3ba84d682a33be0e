// SPDX-License-Identifier: MIT
// MemoryHistory: the memory of a process over time, in bounded room however long it is watched.
#pragma once

#include "jobs/chart.h"

#include <cstddef>
#include <vector>

namespace cli {

class MemoryHistory {
 public:
  // Takes one sample. The seconds never fall.
  void Add(double seconds, double kilobytes);

  // The samples, or the greatest of every few once there were many.
  std::vector<jobs::ChartPoint> Points() const;

 private:
  void Halve();

  std::vector<jobs::ChartPoint> points_;
  std::size_t samplesToAPoint_ = 1;
  std::size_t samplesInLast_ = 0;  // of the last point
};

}  // namespace cli
