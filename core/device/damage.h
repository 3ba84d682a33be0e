// SPDX-License-Identifier: MIT
// Damage: the parts of a page that were painted on, as a few areas of whole pixels.
//
// One area around everything would be the page as soon as two of its corners are painted on. Areas that share
// much of what their union takes become one; when there are too many, the two that waste least by it.
#pragma once

#include "geometry/box.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace tovmx {

// Columns from `left` to before `right`, rows from `top` to before `bottom`.
struct PixelArea {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  bool IsEmpty() const noexcept { return left >= right || top >= bottom; }
  std::int64_t Size() const noexcept {
    return IsEmpty() ? 0 : (std::int64_t{right} - left) * (std::int64_t{bottom} - top);
  }
};

// The pixels that the box touches and `margin` more on each side, as far as the page goes.
inline PixelArea PixelsOf(const Box& box, int margin, int width, int height) noexcept {
  const auto edge = [](double value, int limit) {
    return static_cast<int>(std::clamp(value, 0.0, static_cast<double>(limit)));
  };
  return {edge(std::floor(box.left) - margin, width), edge(std::floor(box.top) - margin, height),
          edge(std::ceil(box.right) + margin, width), edge(std::ceil(box.bottom) + margin, height)};
}

class Damage {
 public:
  static constexpr std::size_t kMostAreas = 16;

  void Add(const PixelArea& area) noexcept {
    if (area.IsEmpty()) return;
    std::size_t best = 0;
    std::int64_t least = 0;
    for (std::size_t i = 0; i < count_; ++i) {
      const std::int64_t wasted = Union(areas_[i], area).Size() - areas_[i].Size() - area.Size();
      if (i > 0 && wasted >= least) continue;
      best = i;
      least = wasted;
    }
    if (count_ > 0 && (least <= 0 || count_ == kMostAreas)) {
      areas_[best] = Union(areas_[best], area);
    } else {
      areas_[count_++] = area;
    }
  }

  void Clear() noexcept { count_ = 0; }

  const PixelArea* begin() const noexcept { return areas_.data(); }
  const PixelArea* end() const noexcept { return areas_.data() + count_; }

 private:
  static PixelArea Union(const PixelArea& a, const PixelArea& b) noexcept {
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
            std::max(a.bottom, b.bottom)};
  }

  std::array<PixelArea, kMostAreas> areas_;
  std::size_t count_ = 0;
};

}  // namespace tovmx
