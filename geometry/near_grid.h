// SPDX-License-Identifier: MIT
// Where a point has to be to hit a segment at all, in cells that are found without a search.
//
// A stick is a straight piece and how far around it points are near. The cells hold the sticks that reach
// into them; whether a point is near one is then a matter of its distance, and what a near one does to the
// answer is for the segment to say.
//
// Thread-safety: a grid that is built may be asked from any thread.
#pragma once

#include "float_steps.h"

#include <tovmx/path.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tovkit {

struct Stick {
  CorePointF a;
  CorePointF b;
  float reach;   // the distance within which the segment may be hit
  int segment;   // whom to ask
  bool sampled;  // `a` is a sample of a curve, and points within the tolerance of it hit, unless ruled out
};

class NearGrid {
 public:
  // The coordinates are finite and the reaches finite and positive.
  void Build(const std::vector<Stick>& sticks);

  // Whether the cell of (x, y) has sticks; both are finite. Without a branch.
  bool HasSome(float x, float y) const {
    const std::size_t cell = CellOf(x, y);
    return (int{IsWithin(x, y)} & int{starts_[cell] != starts_[cell + 1]}) != 0;
  }

  // Calls visit(low, high) for boxes that together hold every point whose cell has sticks.
  template <typename Visit>
  void ForEachBox(const Visit& visit) const {
    const auto edge = [](float low, float scale, double cells) {
      return static_cast<double>(low) + cells / static_cast<double>(scale);
    };
    for (std::size_t row = 0; row < side_; ++row) {
      const std::uint32_t* const starts = starts_.data() + row * side_;
      const auto top = static_cast<double>(row);
      for (std::size_t from = 0, to = 0; from < side_; from = to) {
        to = from + 1;
        if (starts[from] == starts[to]) continue;
        while (to < side_ && starts[to] != starts[to + 1]) ++to;
        const auto left = static_cast<double>(from), right = static_cast<double>(to);
        visit(CorePointF{Below(edge(low_.x, scale_.x, left - kOverlap)),
                         Below(edge(low_.y, scale_.y, top - kOverlap))},
              CorePointF{Above(edge(low_.x, scale_.x, right + kOverlap)),
                         Above(edge(low_.y, scale_.y, top + 1 + kOverlap))});
      }
    }
  }

  // Whether one of the sticks near (x, y) says yes; both are finite. `ask` takes a segment, and whether the
  // point is within `tolerance` of one of its samples.
  template <typename Ask>
  bool Any(float x, float y, float tolerance, const Ask& ask) const {
    if (!IsWithin(x, y)) return false;
    const std::size_t cell = CellOf(x, y);
    const std::uint32_t* const end = places_.data() + starts_[cell + 1];
    for (const std::uint32_t* at = places_.data() + starts_[cell]; at != end; ++at) {
      const Near& near = near_[*at];
      const float dx = x - near.x;
      const float dy = y - near.y;
      const float along = (dx * near.alongX + dy * near.alongY) * near.perSquare;
      const float t = along > 0.0f ? (along < 1.0f ? along : 1.0f) : 0.0f;
      const float offX = dx - t * near.alongX;
      const float offY = dy - t * near.alongY;
      if (offX * offX + offY * offY > near.square) continue;
      if (ask(near.segment, near.sampled && std::sqrt(dx * dx + dy * dy) <= tolerance)) return true;
    }
    return false;
  }

 private:
  static constexpr double kOverlap = 1.0 / 64;  // of a cell: more than rounding moves a point

  // A stick as it is asked: where it starts and goes, 1 over the square of its length, the square of its
  // reach.
  struct Near {
    float x, y, alongX, alongY, perSquare, square;
    int segment;
    bool sampled;
  };

  bool IsWithin(float x, float y) const {
    return (int{x >= low_.x} & int{x <= high_.x} & int{y >= low_.y} & int{y <= high_.y}) != 0;
  }
  std::size_t CellOf(float x, float y) const {
    return IndexOf(y - low_.y, scale_.y) * side_ + IndexOf(x - low_.x, scale_.x);
  }
  // Never decreases as `from` grows.
  std::size_t IndexOf(float from, float scale) const { return PlaceAt(from * scale, last_); }
  template <typename Visit>
  void ForEachCell(const Stick& stick, const Visit& visit) const;

  CorePointF low_ = {1, 1};  // nothing is within
  CorePointF high_ = {0, 0};
  CorePointF scale_;  // cells to the unit
  std::size_t side_ = 1;
  float last_ = 0;  // side_ - 1
  std::vector<std::uint32_t> starts_ = std::vector<std::uint32_t>(2);
  std::vector<std::uint32_t> places_;  // what `near_` has for each cell
  std::vector<Near> near_;
};

}  // namespace tovkit
