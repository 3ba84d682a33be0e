// SPDX-License-Identifier: MIT
// Tiles: which parts of a page are ready to be painted on. A page is divided into tiles, and each is made
// ready when something first reaches it, so that a line on a large page costs what lies beneath the line.
#pragma once

#include "device/damage.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tovmx {

class Tiles {
 public:
  // A row of a tile is 256 bytes of pixels.
  static constexpr int kWidth = 64;
  static constexpr int kHeight = 8;

  Tiles(int width, int height)
      : width_(width),
        height_(height),
        columns_((width + kWidth - 1) / kWidth),
        ready_(static_cast<std::size_t>(columns_) *
               static_cast<std::size_t>((height + kHeight - 1) / kHeight)) {}

  void SetAll(bool ready) { std::fill(ready_.begin(), ready_.end(), ready); }

  // Calls take(part) for parts of the area that together hold all its pixels in ready tiles, and no others.
  template <typename Take>
  void ForEachReady(const PixelArea& area, Take take) const {
    for (int row = area.top / kHeight; row * kHeight < area.bottom; ++row) {
      const int end = (area.right + kWidth - 1) / kWidth;
      for (int column = area.left / kWidth; column < end;) {
        int behind = column;
        while (behind < end && ready_[IndexOf(row, behind)] != 0) ++behind;
        if (behind > column) {
          take(PixelArea{std::max(area.left, column * kWidth), std::max(area.top, row * kHeight),
                         std::min(area.right, behind * kWidth), std::min(area.bottom, (row + 1) * kHeight)});
        }
        column = behind + 1;
      }
    }
  }

  // Calls make(tile) for each tile that meets the area, which lies on the page, and is not ready. False, at
  // once, when it returns false for one, which then is not ready either.
  template <typename Make>
  [[nodiscard]] bool MakeReady(const PixelArea& area, Make make) {
    for (int row = area.top / kHeight; row * kHeight < area.bottom; ++row) {
      for (int column = area.left / kWidth; column * kWidth < area.right; ++column) {
        char& ready = ready_[IndexOf(row, column)];
        if (ready != 0) continue;
        const PixelArea tile = {column * kWidth, row * kHeight, std::min((column + 1) * kWidth, width_),
                                std::min((row + 1) * kHeight, height_)};
        if (!make(tile)) return false;
        ready = 1;
      }
    }
    return true;
  }

 private:
  std::size_t IndexOf(int row, int column) const noexcept {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
           static_cast<std::size_t>(column);
  }

  int width_;
  int height_;
  int columns_;
  std::vector<char> ready_;
};

}  // namespace tovmx
