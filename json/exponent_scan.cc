#include "exponent_scan.h"

#include <emmintrin.h>

namespace tovkit {

namespace {

constexpr std::size_t kLongExponent = 10;
constexpr std::size_t kBlock = 16;

bool IsLong(std::string_view text, std::size_t minus) {
  return CountDigits(text.substr(minus + 1, kLongExponent)) == kLongExponent;
}

// A bit for each of the 16 bytes from `at` on that is a minus behind an e.
unsigned MinusMask(const char* at) {
  const auto load = [](const char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  };
  const __m128i lowered = _mm_or_si128(load(at - 1), _mm_set1_epi8(0x20));
  const __m128i matches = _mm_and_si128(_mm_cmpeq_epi8(lowered, _mm_set1_epi8('e')),
                                        _mm_cmpeq_epi8(load(at), _mm_set1_epi8('-')));
  return static_cast<unsigned>(_mm_movemask_epi8(matches));
}

}  // namespace

std::size_t CountDigits(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && text[count] >= '0' && text[count] <= '9') ++count;
  return count;
}

std::size_t FindNegativeExponent(std::string_view number) {
  const std::size_t exponent = number.find_first_of("eE");
  const bool negative = exponent != number.npos && number.substr(exponent + 1, 1) == "-";
  return negative ? exponent + 2 : number.npos;
}

bool HasLongExponent(const char* text, std::size_t length) {
  const std::string_view all(text, length);
  std::size_t at = 1;
  for (; at + kBlock <= length; at += kBlock) {
    for (unsigned mask = MinusMask(text + at); mask != 0; mask &= mask - 1) {
      if (IsLong(all, at + static_cast<std::size_t>(__builtin_ctz(mask)))) return true;
    }
  }
  for (; at < length; ++at) {
    if (text[at] == '-' && (text[at - 1] | 0x20) == 'e' && IsLong(all, at)) return true;
  }
  return false;
}

}  // namespace tovkit
