// SPDX-License-Identifier: MIT
// Extents are measured in the line's own coordinates and then mapped. The offset of the first line is
// subtracted before anything is added, so that far offsets lose no digits.
#include "text_bounds.h"

#include <tovkit/util.h>
#include <tovmx/font.h>

namespace jobs {

bool TextBounds::DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts,
                          const CoreMatrix& matrix, std::uint32_t /*argb*/, float pixelSize) {
  CoreTextExtents extents;
  drawable_ = fonts.MeasureText(characters, count, pixelSize, extents);
  if (!drawable_) return false;
  if (fonts.IsSubstituted()) {
    const auto utf8 = [](const CoreWideString& name) {
      return std::string(tovkit::WideToUtf8(name.c_str(), name.GetLength()));
    };
    substitutions_.emplace(utf8(fonts.GetFamily()), utf8(fonts.GetActualFamily()));
  }
  if (!origin_) origin_ = {matrix.e, matrix.f};
  for (const CoreRectF& box : {extents.ink, extents.logical}) {
    if (box.IsEmpty()) continue;
    Add(matrix, box.left, box.top);
    Add(matrix, box.right, box.bottom);
  }
  return true;
}

void TextBounds::Add(const CoreMatrix& m, double x, double y) {
  bounds_.Add({m.a * x + m.c * y + (m.e - origin_->x), m.b * x + m.d * y + (m.f - origin_->y)});
}

}  // namespace jobs
