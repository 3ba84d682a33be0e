// SPDX-License-Identifier: MIT
// Whole bytes are filled, row by row. What is brightest depends on the palette where there is one.
#include <tovkit/imaging.h>

#include <emmintrin.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tovkit {

namespace {

constexpr std::uint32_t kWhite = 3 * 255;  // nothing is brighter

std::uint32_t Brightness(std::uint32_t entry) {
  return (entry & 0xffU) + (entry >> 8 & 0xffU) + (entry >> 16 & 0xffU);
}

// Of four entries.
__m128i Brightness(const std::uint32_t* entries) {
  const __m128i colors = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(entries)));
  const __m128i byte = _mm_set1_epi32(0xff);
  return _mm_add_epi32(_mm_and_si128(colors, byte),
                       _mm_add_epi32(_mm_and_si128(_mm_srli_epi32(colors, 8), byte),
                                     _mm_and_si128(_mm_srli_epi32(colors, 16), byte)));
}

// What the brightest of the entries comes to.
std::uint32_t MostBrightness(const std::uint32_t* entries, std::size_t count) {
  __m128i most = _mm_setzero_si128();  // the sums are small enough to be compared as numbers of 16 bits
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4) most = _mm_max_epi16(most, Brightness(entries + i));
  std::uint32_t lanes[4];
  _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(lanes)), most);
  std::uint32_t brightest = *std::max_element(lanes, lanes + 4);
  for (; i < count; ++i) brightest = std::max(brightest, Brightness(entries[i]));
  return brightest;
}

// The index of the brightest palette entry, the last of several; 255 without a palette.
int FillByte(const CoreDib& bitmap) {
  const int size = bitmap.GetPaletteSize();
  if (size == 0) return 255;
  const std::uint32_t* const entries = bitmap.GetPalette();
  // White is often the last.
  const bool endsWhite = Brightness(entries[size - 1]) == kWhite;
  const std::uint32_t brightest =
      endsWhite ? kWhite : MostBrightness(entries, static_cast<std::size_t>(size));
  int fill = size - 1;
  while (Brightness(entries[fill]) != brightest) --fill;
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
