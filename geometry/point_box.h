// SPDX-License-Identifier: MIT
// The least and the greatest coordinates of some points.
#pragma once

#include "hit_query.h"

#include <tovmx/path.h>

#include <algorithm>
#include <cmath>

namespace tovkit {

// Both coordinates of a box: 0 is x, 1 is y.
struct Box {
  float low[2] = {HUGE_VALF, HUGE_VALF};
  float high[2] = {-HUGE_VALF, -HUGE_VALF};

  void Add(const CorePathPoint& point) {
    low[0] = std::min(low[0], point.x), high[0] = std::max(high[0], point.x);
    low[1] = std::min(low[1], point.y), high[1] = std::max(high[1], point.y);
  }
  float Size(int axis) const { return high[axis] - low[axis]; }
  float Largest(int axis) const { return std::max(-low[axis], high[axis]); }
  double Rounding() const {
    return static_cast<double>(kSlackFactor) * static_cast<double>(std::max(Largest(0), Largest(1)));
  }
};

}  // namespace tovkit
