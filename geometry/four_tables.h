// SPDX-License-Identifier: MIT
// Four band tables that are asked at the same time, each in its lane of a vector, without a branch.
#pragma once

#include "band_table.h"

#include <emmintrin.h>

#include <cstddef>

namespace tovkit {

class FourTables {
 public:
  // The tables stay where they are, and are built.
  void Take(const BandTable* tables) {
    for (int i = 0; i < 4; ++i) {
      low_[i] = tables[i].low_;
      scale_[i] = tables[i].scale_;
      last_[i] = tables[i].last_;
      bands_[i] = tables[i].bands_.data();
    }
  }

  // Bit i is that of the table i: whether it says yes, and whether it has to be asked.
  struct Answers {
    int yes;
    int asks;

    bool MayAllBeYes() const { return (yes | asks) == 15; }
  };
  // What BandTable::Look answers, for four pairs of finite numbers.
  Answers Look(__m128 along, __m128 across) const {
    const __m128 from = _mm_mul_ps(_mm_sub_ps(along, _mm_load_ps(low_)), _mm_load_ps(scale_));
    const __m128 place = _mm_min_ps(_mm_max_ps(from, _mm_setzero_ps()), _mm_load_ps(last_));
    alignas(16) int number[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(number), _mm_cvttps_epi32(place));
    const BandTable::Band* const band[] = {bands_[0] + number[0], bands_[1] + number[1],
                                           bands_[2] + number[2], bands_[3] + number[3]};
    static_assert(offsetof(BandTable::Band, bounds) == sizeof(float));
    __m128 split = _mm_loadu_ps(&band[0]->split), below = _mm_loadu_ps(&band[1]->split),
           at = _mm_loadu_ps(&band[2]->split), above = _mm_loadu_ps(&band[3]->split);
    _MM_TRANSPOSE4_PS(split, below, at, above);
    const __m128 asked = _mm_setr_ps(band[0]->asked, band[1]->asked, band[2]->asked, band[3]->asked);
    const __m128 bound =
        Choose(_mm_cmpgt_ps(along, split), above, Choose(_mm_cmpge_ps(along, split), at, below));
    const __m128 yes = _mm_cmplt_ps(across, bound);
    return {_mm_movemask_ps(yes), _mm_movemask_ps(_mm_andnot_ps(yes, _mm_cmplt_ps(across, asked)))};
  }

 private:
  static __m128 Choose(__m128 mask, __m128 yes, __m128 no) {
    return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
  }

  alignas(16) float low_[4] = {};
  alignas(16) float scale_[4] = {};
  alignas(16) float last_[4] = {};
  const BandTable::Band* bands_[4] = {};
};

}  // namespace tovkit
