// SPDX-License-Identifier: MIT
// ExtentsOf: what measuring and describing tell of a line's room.
#pragma once

#include "font/shaped_line.h"
#include "tovmx/font.h"

namespace tovmx {

// At a size in pixels to the em.
inline CoreTextExtents ExtentsOf(const ShapedLine& line, float pixelSize) {
  const double scale = double{pixelSize} / kReferenceSize;
  const auto scaled = [scale](const Box& box) {
    const auto edge = [scale](double value) { return static_cast<float>(value * scale); };
    return CoreRectF{edge(box.left), edge(box.top), edge(box.right), edge(box.bottom)};
  };
  return {scaled(line.ink), scaled(line.logical)};
}

}  // namespace tovmx
