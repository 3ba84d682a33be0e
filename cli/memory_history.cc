// SPDX-License-Identifier: MIT
// When the history is full, each pair of points becomes one, and later points stand for twice as many
// samples.
#include "memory_history.h"

#include <algorithm>
#include <cassert>

namespace cli {

namespace {
constexpr std::size_t kMostPoints = 2048;
}

void MemoryHistory::Add(double seconds, double kilobytes) {
  assert(points_.empty() || seconds >= points_.back().seconds);
  if (samplesInLast_ != 0 && samplesInLast_ < samplesToAPoint_) {
    jobs::ChartPoint& last = points_.back();
    last = {seconds, std::max(last.value, kilobytes)};
    ++samplesInLast_;
    return;
  }
  if (points_.size() == kMostPoints) Halve();
  points_.push_back({seconds, kilobytes});
  samplesInLast_ = 1;
}

std::vector<jobs::ChartPoint> MemoryHistory::Points() const { return points_; }

// Of two neighbors the greater value stays, since people look for peaks.
void MemoryHistory::Halve() {
  for (std::size_t i = 0; i < points_.size() / 2; ++i) {
    points_[i] = {points_[2 * i + 1].seconds, std::max(points_[2 * i].value, points_[2 * i + 1].value)};
  }
  points_.resize(points_.size() / 2);
  samplesToAPoint_ *= 2;
}

}  // namespace cli
