// What drawing, measuring and describing have in common, so that they refuse the same lines and agree.
#pragma once

#include "font/text_shaper.h"

#include <cmath>
#include <cwchar>

namespace tovmx {

// The line's glyphs, valid until the thread's next line; null for null characters, a size that is no positive
// finite number, a line that is too long, or a source without fonts. A negative count means up to the NUL.
inline const ShapedLine* ShapeForSize(const CoreFontRequest& request, const wchar_t* characters, int count,
                                      float pixelSize) {
  if (characters == nullptr || !std::isfinite(pixelSize) || pixelSize <= 0) return nullptr;
  if (count < 0) {
    const std::size_t length = wcsnlen(characters, static_cast<std::size_t>(kMaxLineLength) + 1);
    count = static_cast<int>(length);
  }
  return TextShaper::ForThisThread().Shape(request, characters, count);
}

inline CoreTextExtents ExtentsOf(const ShapedLine& line, float pixelSize) {
  const double scale = double{pixelSize} / kReferenceSize;
  const auto scaled = [scale](const Box& box) {
    const auto edge = [scale](double value) { return static_cast<float>(value * scale); };
    return CoreRectF{edge(box.left), edge(box.top), edge(box.right), edge(box.bottom)};
  };
  return {scaled(line.ink), scaled(line.logical)};
}

}  // namespace tovmx
