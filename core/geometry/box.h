// SPDX-License-Identifier: MIT
// Box: an upright rectangle in double precision, y growing downwards. It is what text and paths cover on
// their way to a surface, where single precision is not enough.
//
// CoreRectF is no replacement: its edges may be reversed, while a reversed Box is empty and adds nothing.
#pragma once

#include <algorithm>

namespace tovmx {

struct Box {
  double left = 0;
  double top = 0;
  double right = 0;
  double bottom = 0;

  bool IsEmpty() const noexcept { return !(left < right && top < bottom); }

  // Grows to hold the other too, unless that is empty.
  void Add(const Box& other) noexcept {
    if (other.IsEmpty()) return;
    if (IsEmpty()) {
      *this = other;
      return;
    }
    left = std::min(left, other.left);
    top = std::min(top, other.top);
    right = std::max(right, other.right);
    bottom = std::max(bottom, other.bottom);
  }

  Box Moved(double dx, double dy) const noexcept { return {left + dx, top + dy, right + dx, bottom + dy}; }

  bool Intersects(const Box& other) const noexcept {
    return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
  }

  bool Holds(const Box& inner) const noexcept {
    return left <= inner.left && top <= inner.top && inner.right <= right && inner.bottom <= bottom;
  }
};

}  // namespace tovmx
