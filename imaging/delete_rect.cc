// SPDX-License-Identifier: MIT
// Whole bytes are filled, row by row. What is brightest depends on the palette where there is one.
#include <tovkit/imaging.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tovkit {

namespace {

// The index of the brightest palette entry, the last of several; 255 without a palette.
int FillByte(const CoreDib& bitmap) {
  constexpr std::int64_t kWhite = 3 * 255;  // nothing is brighter
  int fill = 255;
  std::int64_t brightest = -1;
  for (int i = bitmap.GetPaletteSize() - 1; i >= 0 && brightest < kWhite; --i) {
    const std::uint32_t entry = bitmap.GetPaletteEntry(i);
    const std::int64_t sum = (entry & 0xffU) + (entry >> 8 & 0xffU) + (entry >> 16 & 0xffU);
    if (sum <= brightest) continue;
    brightest = sum;
    fill = i;
  }
  return fill;
}

// Clamps a normalized rectangle to the rows and to the padded width. The products are 64 bits wide, since the
// rectangle may be wider than any bitmap.
void Clamp(CoreRect& rect, const CoreDib& bitmap, int bytesPerPixel) {
  for (int* edge : {&rect.left, &rect.top, &rect.right, &rect.bottom}) *edge = std::max(*edge, 0);
  const std::int64_t stride = bitmap.GetStride();
  if (std::int64_t{rect.left} * bytesPerPixel > stride) {
    rect.left = rect.right = static_cast<int>(stride / bytesPerPixel);
  } else if (std::int64_t{rect.right} * bytesPerPixel > stride) {
    rect.right = static_cast<int>(stride / bytesPerPixel);
  }
  const int height = bitmap.GetHeight();
  rect.top = std::min(rect.top, height);
  rect.bottom = std::min(rect.bottom, height);
}

void FillRows(CoreDib& bitmap, int top, int bottom, std::size_t first, std::size_t last, int fill) {
  if (top >= bottom || first >= last) return;
  const auto stride = static_cast<std::size_t>(bitmap.GetStride());
  assert(top >= 0 && bottom <= bitmap.GetHeight() && last <= stride);
  const auto rows = static_cast<std::size_t>(bottom - top);
  if (last - first == stride) {
    std::memset(bitmap.GetRow(top), fill, rows * stride);
    return;
  }
  for (int row = top; row < bottom; ++row) std::memset(bitmap.GetRow(row) + first, fill, last - first);
}

}  // namespace

bool DeleteRectDib(CoreDib* bitmap, CoreRect rect) {
  if (bitmap == nullptr || rect.IsEmpty()) return false;
  const int bytesPerPixel = bitmap->GetBitsPerPixel() / 8;
  rect.Normalize();
  Clamp(rect, *bitmap, bytesPerPixel);
  if (bytesPerPixel != 0) {
    const auto size = static_cast<std::size_t>(bytesPerPixel);
    FillRows(*bitmap, rect.top, rect.bottom, static_cast<std::size_t>(rect.left) * size,
             static_cast<std::size_t>(rect.right) * size, FillByte(*bitmap));
    return true;
  }
  // Compatibility: whole bytes of 0. Clamp bounds no columns of packed pixels; the length of the row does.
  const auto stride = static_cast<std::size_t>(bitmap->GetStride());
  FillRows(*bitmap, rect.top, rect.bottom, std::min(static_cast<std::size_t>(rect.left) / 8, stride),
           std::min(static_cast<std::size_t>(rect.right) / 8, stride), 0);
  return true;
}

}  // namespace tovkit
