// SPDX-License-Identifier: MIT
// Positions and boxes in double precision: a small thing may be so far away that floats cannot tell its ends
// apart.
#pragma once

#include <tovmx/geometry.h>

#include <algorithm>
#include <cmath>

namespace jobs {

using Position = CoreBasicPoint<double>;

struct Bounds {
  Position from = {INFINITY, INFINITY};
  Position to = {-INFINITY, -INFINITY};

  // Whether it has no width.
  bool IsEmpty() const { return !(from.x < to.x); }
  double Width() const { return to.x - from.x; }
  double Height() const { return to.y - from.y; }

  void Add(Position p) {
    from = {std::min(from.x, p.x), std::min(from.y, p.y)};
    to = {std::max(to.x, p.x), std::max(to.y, p.y)};
  }
};

}  // namespace jobs
