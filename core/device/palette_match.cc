// SPDX-License-Identifier: MIT
// Four entries are compared at a time with SSE2, which every x86-64 processor has. A distance and the index
// of its entry are one number, so that the least of them is the first of the nearest:
//
//     | squared distance, 18 bits | index, 8 bits |
//
// Text has few colors, its own mixed with what lies beneath, so what was found is kept.
#include "device/palette_match.h"

#include <emmintrin.h>

#include <algorithm>
#include <cassert>

namespace tovmx {

void PaletteMatch::Use(const CoreDib& bitmap) {
  const int count = bitmap.GetPaletteSize();
  assert(count > 0 && count <= static_cast<int>(kMostEntries));
  bool same = count == count_;
  for (int i = 0; i < count; ++i) {
    const std::uint32_t entry = bitmap.GetPaletteEntry(i);
    auto& known = entries_[static_cast<std::size_t>(i)];
    same = same && known == entry;
    known = entry;
  }
  if (same) return;
  count_ = count;
  answers_.fill({});
  for (std::size_t i = 0; i < kMostEntries; ++i) {
    // Behind the last entry stands the first, which is found before.
    const std::uint32_t entry = entries_[i < static_cast<std::size_t>(count) ? i : 0];
    redGreen_[2 * i] = static_cast<std::int16_t>(entry & 0xFF);
    redGreen_[2 * i + 1] = static_cast<std::int16_t>(entry >> 8 & 0xFF);
    blue_[2 * i] = static_cast<std::int16_t>(entry >> 16 & 0xFF);
  }
}

std::uint8_t PaletteMatch::Search(std::uint32_t argb) const {
  const auto part = [argb](int shift) { return static_cast<int>(argb >> shift & 0xFF); };
  const __m128i redGreen = _mm_set1_epi32(part(16) | part(8) << 16);
  const __m128i blue = _mm_set1_epi32(part(0));
  const auto load = [](const std::int16_t* from) {
    return _mm_load_si128(static_cast<const __m128i*>(static_cast<const void*>(from)));
  };
  __m128i least = _mm_set1_epi32(0x7FFFFFFF);
  __m128i index = _mm_setr_epi32(0, 1, 2, 3);
  for (std::size_t i = 0; i < static_cast<std::size_t>(count_); i += 4) {
    const __m128i differences = _mm_sub_epi16(redGreen, load(&redGreen_[2 * i]));
    const __m128i blues = _mm_sub_epi16(blue, load(&blue_[2 * i]));
    const __m128i distance =
        _mm_add_epi32(_mm_madd_epi16(differences, differences), _mm_madd_epi16(blues, blues));
    const __m128i number = _mm_or_si128(_mm_slli_epi32(distance, 8), index);
    const __m128i isLess = _mm_cmpgt_epi32(least, number);
    least = _mm_or_si128(_mm_and_si128(isLess, number), _mm_andnot_si128(isLess, least));
    index = _mm_add_epi32(index, _mm_set1_epi32(4));
  }
  alignas(16) std::array<std::int32_t, 4> numbers{};
  _mm_store_si128(static_cast<__m128i*>(static_cast<void*>(numbers.data())), least);
  return static_cast<std::uint8_t>(*std::min_element(numbers.begin(), numbers.end()) & 0xFF);
}

}  // namespace tovmx
