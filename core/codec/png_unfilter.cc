// SPDX-License-Identifier: MIT
// Taking the filters off again. Each byte waits for the one before it, so there is nothing to do for many
// rows or levels; whole pixels of 3 and 4 bytes are done at once with what every x86-64 processor has.
#include "codec/png_filter.h"

#include <emmintrin.h>

#include <cstdlib>
#include <cstring>

namespace tovmx {

namespace {

// Four bytes, whether the pixel has three or four: what the fourth comes to is not stored.
__m128i Load(const std::uint8_t* from) {
  std::uint32_t bytes = 0;
  std::memcpy(&bytes, from, sizeof bytes);
  return _mm_cvtsi32_si128(static_cast<int>(bytes));
}

// The last pixel of a row, behind which nothing may be read.
template <std::size_t kPixel>
__m128i LoadLast(const std::uint8_t* from) {
  std::uint32_t bytes = 0;
  std::memcpy(&bytes, from, kPixel);
  return _mm_cvtsi32_si128(static_cast<int>(bytes));
}

// Three bytes in two steps: in one, the compiler goes through memory.
template <std::size_t kPixel>
void Store(std::uint8_t* to, __m128i vector) {
  const auto bytes = static_cast<std::uint32_t>(_mm_cvtsi128_si32(vector));
  if constexpr (kPixel == 4) {
    std::memcpy(to, &bytes, 4);
  } else {
    std::memcpy(to, &bytes, 2);
    to[2] = static_cast<std::uint8_t>(bytes >> 16);
  }
}

// Each filter computes the next pixel of a row from its stored bytes and the pixel above.
struct Sub {
  __m128i Next(__m128i stored, __m128i) { return left = _mm_add_epi8(left, stored); }
  __m128i left = _mm_setzero_si128();
};

struct Average {
  __m128i Next(__m128i stored, __m128i above) {
    const __m128i odd = _mm_and_si128(_mm_xor_si128(left, above), _mm_set1_epi8(1));
    const __m128i average = _mm_sub_epi8(_mm_avg_epu8(left, above), odd);
    return left = _mm_add_epi8(average, stored);
  }
  __m128i left = _mm_setzero_si128();
};

__m128i Absolute16(__m128i vector) {
  return _mm_max_epi16(vector, _mm_sub_epi16(_mm_setzero_si128(), vector));
}

__m128i Select(__m128i mask, __m128i yes, __m128i no) {
  return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

struct Paeth {
  __m128i Next(__m128i stored, __m128i above) {
    const __m128i over = _mm_unpacklo_epi8(above, _mm_setzero_si128());
    const __m128i fromLeft = _mm_sub_epi16(over, corner);  // the signed ways of the two
    const __m128i fromAbove = _mm_sub_epi16(left, corner);
    const __m128i toLeft = Absolute16(fromLeft);
    const __m128i toAbove = Absolute16(fromAbove);
    const __m128i toCorner = Absolute16(_mm_add_epi16(fromLeft, fromAbove));
    const __m128i least = _mm_min_epi16(toCorner, _mm_min_epi16(toLeft, toAbove));
    const __m128i nearest =
        Select(_mm_cmpeq_epi16(least, toLeft), left, Select(_mm_cmpeq_epi16(least, toAbove), over, corner));
    corner = over;
    // Sums of bytes that carry nothing into their neighbors.
    left = _mm_add_epi8(nearest, _mm_unpacklo_epi8(stored, _mm_setzero_si128()));
    return _mm_packus_epi16(left, left);
  }
  __m128i left = _mm_setzero_si128();  // 16 bits a byte, as the corner
  __m128i corner = _mm_setzero_si128();
};

template <std::size_t kPixel, typename Filter>
void UndoOne(Filter filter, std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
  std::size_t i = 0;
  for (; i + kPixel < size; i += kPixel) Store<kPixel>(row + i, filter.Next(Load(row + i), Load(above + i)));
  Store<kPixel>(row + i, filter.Next(LoadLast<kPixel>(row + i), LoadLast<kPixel>(above + i)));
}

void UndoUp(std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) row[i] = static_cast<std::uint8_t>(row[i] + above[i]);
}

// Pixels of one byte, packed ones among them.

void UndoSubBytes(std::uint8_t* row, std::size_t size) {
  unsigned left = 0;
  for (std::size_t i = 0; i < size; ++i) row[i] = static_cast<std::uint8_t>(left = (left + row[i]) & 255U);
}

void UndoAverageBytes(std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
  unsigned left = 0;
  for (std::size_t i = 0; i < size; ++i)
    row[i] = static_cast<std::uint8_t>(left = ((left + above[i]) / 2 + row[i]) & 255U);
}

void UndoPaethBytes(std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
  int left = 0;
  int corner = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const int over = above[i];
    const int toLeft = std::abs(over - corner);
    const int toAbove = std::abs(left - corner);
    const int toCorner = std::abs(left + over - 2 * corner);
    const int aboveOrCorner = toAbove <= toCorner ? over : corner;
    const int nearest = toLeft <= toAbove && toLeft <= toCorner ? left : aboveOrCorner;
    corner = over;
    left = (nearest + row[i]) & 255;
    row[i] = static_cast<std::uint8_t>(left);
  }
}

template <std::size_t kPixel>
void UndoPixels(PngFilter filter, std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
  if (filter == kPngFilterSub) return UndoOne<kPixel>(Sub(), row, above, size);
  if (filter == kPngFilterAverage) return UndoOne<kPixel>(Average(), row, above, size);
  UndoOne<kPixel>(Paeth(), row, above, size);
}

void UndoBytes(PngFilter filter, std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
  if (filter == kPngFilterSub) return UndoSubBytes(row, size);
  if (filter == kPngFilterAverage) return UndoAverageBytes(row, above, size);
  UndoPaethBytes(row, above, size);
}

}  // namespace

void UndoPngFilter(PngFilter filter, std::uint8_t* row, const std::uint8_t* above, std::size_t size,
                   std::size_t pixel) noexcept {
  if (filter == kPngFilterNone) return;
  if (filter == kPngFilterUp) return UndoUp(row, above, size);
  if (pixel == 3) return UndoPixels<3>(filter, row, above, size);
  if (pixel == 4) return UndoPixels<4>(filter, row, above, size);
  UndoBytes(filter, row, above, size);
}

}  // namespace tovmx
