// SPDX-License-Identifier: MIT
// From 32 bits to 24 in place.
#include "tovmx/dib.h"

#include <emmintrin.h>

#include <cstdlib>
#include <cstring>

namespace {

// Four pixels of four bytes become two times six bytes. Two more are written behind them, which never reaches
// what is still to be read: rows are no farther to the right than they were.
void DropFromRow(const std::uint8_t* from, std::size_t width, std::uint8_t* to) noexcept {
  constexpr std::size_t kAtOnce = 4;
  const __m128i first = _mm_set1_epi64x(0xffffff);
  const __m128i second = _mm_set1_epi64x(0xffffff000000);
  std::size_t x = 0;
  for (; x + kAtOnce <= width; x += kAtOnce, from += 16, to += 12) {
    const __m128i in = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(from)));
    const __m128i out = _mm_or_si128(_mm_and_si128(in, first), _mm_and_si128(_mm_srli_epi64(in, 8), second));
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(to)), out);
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(to + 6)), _mm_unpackhi_epi64(out, out));
  }
  for (; x < width; ++x, from += 4, to += 3) {
    for (int i = 0; i < 3; ++i) to[i] = from[i];
  }
}

}  // namespace

bool CoreDropAlpha(CoreDib* bitmap) noexcept {
  if (bitmap == nullptr || bitmap->bitsPerPixel_ != 32) return false;
  const auto width = static_cast<std::size_t>(bitmap->width_);
  const std::size_t stride = (3 * width + 3) / 4 * 4;
  const auto before = static_cast<std::size_t>(bitmap->stride_);
  for (std::size_t y = 0; y < static_cast<std::size_t>(bitmap->height_); ++y) {
    std::uint8_t* const row = bitmap->pixels_ + y * stride;
    DropFromRow(bitmap->pixels_ + y * before, width, row);
    std::memset(row + 3 * width, 0, stride - 3 * width);
  }
  bitmap->bitsPerPixel_ = 24;
  bitmap->stride_ = static_cast<int>(stride);
  // A block that stays as large as it was is as good.
  void* const smaller = std::realloc(bitmap->pixels_, bitmap->GetBufferSize());
  if (smaller != nullptr) bitmap->pixels_ = static_cast<std::uint8_t*>(smaller);
  return true;
}
