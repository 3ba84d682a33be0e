// Path separators: `\` and `/` are both one, always.
#include "separators.h"

#include "tovkit/util.h"

#include <emmintrin.h>

#include <cstdarg>
#include <cstring>

namespace tovkit {

namespace {

constexpr char kSeparator = '/';

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

void AppendComponent(std::string& result, const char* component) {
  if (component == nullptr || *component == '\0') return;
  if (result.empty()) {
    result = component;
    return;
  }
  if (IsSeparator(*component)) ++component;
  if (!IsSeparator(result.back())) result += kSeparator;
  result += component;
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

std::string JoinPath(const char* first, const char* second, ...) {
  std::string result;
  AppendComponent(result, first);
  AppendComponent(result, second);

  va_list tail;
  va_start(tail, second);
  // Read once and never advanced past: kept, callers end the list after two components. The volatile makes
  // each turn of a loop that may add nothing an effect of its own.
  const char* const volatile third = va_arg(tail, const char*);
  va_end(tail);
  while (third != nullptr) AppendComponent(result, third);
  return result;
}

}  // namespace tovkit
