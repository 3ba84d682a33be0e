// SPDX-License-Identifier: MIT
// Sixteen bytes of text at a time, with the vector instructions that every x86-64 processor has.
//
// Nothing behind the end of a text is read: the caller makes sure that sixteen bytes are left.
#pragma once

#include <emmintrin.h>

namespace tovkit {

constexpr int kBlock = 16;

// Whether `c` ends a plain run of a string: a quotation mark, a backslash or a control character. All other
// bytes belong to it, so that invalid UTF-8 is kept as it is.
inline bool IsSpecialByte(char c) { return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20; }

// A bit for each byte of `block` that ends a plain run of a string.
inline unsigned SpecialBytes(__m128i block) {
  const __m128i quote = _mm_cmpeq_epi8(block, _mm_set1_epi8('"'));
  const __m128i backslash = _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'));
  const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(0x1f)), block);
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(quote, backslash), control)));
}

// A bit for each byte of `block` that is a space.
inline unsigned SpaceBytes(__m128i block) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(' '))));
}

}  // namespace tovkit
