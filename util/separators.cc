// SPDX-License-Identifier: MIT
// Path separators: `\` and `/` are both one, always.
#include "separators.h"

#include "tovkit/util.h"

#include <emmintrin.h>

#include <cstring>

namespace tovkit {

namespace {

void ReplaceIn(char* s, std::size_t length, char c) {
  constexpr std::size_t kBlock = sizeof(__m128i);
  const __m128i replacement = _mm_set1_epi8(c);
  for (; length >= kBlock; length -= kBlock, s += kBlock) {
    auto* const block = static_cast<__m128i*>(static_cast<void*>(s));
    const __m128i text = _mm_loadu_si128(block);
    const __m128i found =
        _mm_or_si128(_mm_cmpeq_epi8(text, _mm_set1_epi8('/')), _mm_cmpeq_epi8(text, _mm_set1_epi8('\\')));
    _mm_storeu_si128(block, _mm_or_si128(_mm_and_si128(found, replacement), _mm_andnot_si128(found, text)));
  }
  for (; length != 0; --length, ++s) {
    if (IsSeparator(*s)) *s = c;
  }
}

}  // namespace

char* ReplaceSeparators(char* s, char c) {
  if (s != nullptr) ReplaceIn(s, std::strlen(s), c);
  return s;
}

char* NormalizeSeparators(char* s) { return ReplaceSeparators(s, kSeparator); }

void ReplaceSeparators(std::string& s, char c) { ReplaceIn(s.data(), s.size(), c); }

void NormalizeSeparators(std::string& s) { ReplaceSeparators(s, kSeparator); }

std::string ReplaceSeparators(const char* s, char c) {
  if (s == nullptr) return {};
  std::string copy(s);
  ReplaceSeparators(copy, c);
  return copy;
}

std::string NormalizeSeparators(const char* s) { return ReplaceSeparators(s, kSeparator); }

}  // namespace tovkit
