// SPDX-License-Identifier: MIT
// The inner loops of Base64, one pair for each level of vector instructions. All make the same bytes.
#pragma once

#include "simd_level.h"

#include <cstddef>

namespace tovkit {

struct Base64Kernels {
  // Writes the characters of all whole groups of three bytes at the front of `data`, four a group, and not a
  // byte more. Reads nothing beyond `size`.
  void (*encodeGroups)(const unsigned char* data, std::size_t size, char* out);

  // Decodes up to the first character that is none of the alphabet's. `out` has room for size - size / 4
  // bytes; what lies behind the result may be written over. Returns the length of the result.
  std::size_t (*decode)(const char* text, std::size_t size, char* out);
};

extern const Base64Kernels kBase64Scalar;
extern const Base64Kernels kBase64Avx2;
extern const Base64Kernels kBase64Avx512;

// The kernels of a level that the machine supports.
inline const Base64Kernels& Base64KernelsFor(base::SimdLevel level) {
  switch (level) {
    case base::SimdLevel::kAvx512:
      return kBase64Avx512;
    case base::SimdLevel::kAvx2:
      return kBase64Avx2;
    default:
      return kBase64Scalar;
  }
}

// The 64 characters; the position of one is its value.
const char* Base64Alphabet();

// The number of bytes that `count` accepted characters decode to. An unfinished group has one byte less than
// characters.
constexpr std::size_t Base64DecodedSize(std::size_t count) {
  return count / 4 * 3 + (count % 4 != 0 ? count % 4 - 1 : 0);
}

}  // namespace tovkit
