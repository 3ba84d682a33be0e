// SPDX-License-Identifier: MIT
// The neighbors of floats, and the whole numbers that they are cut to.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tovkit {

// The least float that is greater, for any number but NaN and infinity. That of both zeros is the least
// positive one.
inline float NextUp(float value) {
  std::int32_t bits;
  value += 0.0f;  // makes -0 be 0
  std::memcpy(&bits, &value, sizeof bits);
  bits += bits >= 0 ? 1 : -1;
  std::memcpy(&value, &bits, sizeof bits);
  return value;
}

inline float NextDown(float value) { return -NextUp(-value); }

// Floats on either side of a number that is none.
inline float Below(double value) { return NextDown(static_cast<float>(value)); }
inline float Above(double value) { return NextUp(static_cast<float>(value)); }

// The number of the place that `at` falls into, of those from 0 to `last`: the nearest one outside, the first
// one for NaN. Never decreases as `at` grows. Without a branch.
inline std::size_t PlaceAt(float at, float last) {
  const __m128 from = _mm_max_ss(_mm_set_ss(at), _mm_setzero_ps());
  return static_cast<std::size_t>(_mm_cvttss_si32(_mm_min_ss(from, _mm_set_ss(last))));
}

}  // namespace tovkit
