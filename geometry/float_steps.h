// SPDX-License-Identifier: MIT
// The neighbors of floats.
#pragma once

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

}  // namespace tovkit
