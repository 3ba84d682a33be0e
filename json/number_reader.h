// SPDX-License-Identifier: MIT
// Numbers as RapidJSON reads them with normal precision, many digits at a time.
//
// RapidJSON takes one digit after the other: exactly, in 64 bits, up to and including the digit that lifts
// the significand above 2^53 - 1; then, in doubles, as many as make 17 significant digits; the rest is
// dropped. One multiplication or division by a power of ten follows. The last bit of the result depends on
// each of these steps, so they are kept here. The usual numbers (up to 19 digits, exponents within the table)
// take a few steps; all others are left to RapidJSON itself.
#pragma once

#include "document.h"

#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>

namespace tovkit {

// Reads the number at `text`, which begins with a digit or a minus sign, into `place`. Returns what follows
// it, null when it is no number or too big. Precondition: the byte at `end - 1` is no part of a number.
[[nodiscard]] inline const char* ReadNumber(const char* text, const char* end, Value* place);

// The same, by RapidJSON's own parser.
[[nodiscard]] const char* ReadRareNumber(const char* text, const char* end, Value* place);

namespace number {

constexpr std::uint64_t kExact = 0x1fffffffffffff;          // the integers up to here are doubles
constexpr std::uint64_t kTaken = (kExact + 1) * 10 - 1;     // the last digit is taken exactly up to here
constexpr std::uint64_t kTenMore = (kExact + 1) * 100 - 1;  // and all but one digit up to here
constexpr std::uint64_t kLowest = std::uint64_t{1} << 63;   // a lower integer is no 64-bit one
constexpr int kMostDigits = 19;                             // of them, any fit 64 bits

inline bool IsDigit(char c) { return static_cast<unsigned char>(c - '0') <= 9; }

// Eight bytes of text as the digits that they are, or else something above 9 in one of them.
inline std::uint64_t LoadEight(const char* text) {
  std::uint64_t bytes = 0;
  std::memcpy(&bytes, text, sizeof bytes);
  return bytes ^ 0x3030303030303030;
}

// The highest bit of each byte that is no digit. Behind the first such byte, digits may be marked too.
inline std::uint64_t NoDigits(std::uint64_t bytes) {
  return ((bytes + 0x7676767676767676) | bytes) & 0x8080808080808080;
}

// The number that eight digits make, the first of them in the lowest byte.
inline std::uint64_t JoinEight(std::uint64_t bytes) {
  bytes = (bytes * 10 + (bytes >> 8)) & 0x00ff00ff00ff00ff;
  bytes = (bytes * 100 + (bytes >> 16)) & 0x0000ffff0000ffff;
  return (bytes * 10000 + (bytes >> 32)) & 0xffffffff;
}

// Adds the digits at `text` to `sum` and returns the place behind them. With more than kMostDigits the sum
// wraps.
inline const char* AddDigits(const char* text, const char* end, std::uint64_t& sum) {
  static constexpr std::uint32_t kPowers[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
  while (end - text >= 8) {
    const std::uint64_t bytes = LoadEight(text);
    const std::uint64_t others = NoDigits(bytes);
    if (others != 0) {
      const int count = std::countr_zero(others) / 8;
      if (count == 0) return text;
      sum = sum * kPowers[count] + JoinEight(bytes << (64 - 8 * count));  // zeros in front of the digits
      return text + count;
    }
    sum = sum * kPowers[8] + JoinEight(bytes);
    text += 8;
  }
  for (; IsDigit(*text); ++text) sum = sum * 10 + static_cast<unsigned>(*text - '0');
  return text;
}

// The significand of all digits as a double; `exponent` is raised by the digits that are dropped. False for
// numbers that RapidJSON has to read.
[[nodiscard]] inline bool RoundSignificand(std::uint64_t sum, bool wholeIsZero, double& significand,
                                           int& exponent) {
  if (sum <= kTaken) {
    significand = static_cast<double>(sum);
    return true;
  }
  if (sum > kTenMore) return false;
  const std::uint64_t head = sum / 10;
  significand = static_cast<double>(head);
  // With a whole part of 0, all of the head counts as significant; else all but its first digit.
  constexpr std::uint64_t kSeventeenDigits = 10000000000000000;
  if (wholeIsZero && head >= kSeventeenDigits) {
    ++exponent;
  } else {
    significand = significand * 10.0 + static_cast<double>(sum - head * 10);
  }
  return true;
}

// Adds the exponent whose letter is at `text`. Null when no number follows, or one of too many digits.
[[nodiscard]] inline const char* AddExponent(const char* text, int& exponent) {
  constexpr int kMostExponentDigits = 4;
  const char* next = text + 1;
  const bool down = *next == '-';
  if (down || *next == '+') ++next;
  const char* const first = next;
  int written = 0;
  for (; IsDigit(*next) && next - first <= kMostExponentDigits; ++next)
    written = written * 10 + (*next - '0');
  if (next == first || next - first > kMostExponentDigits) return nullptr;
  exponent += down ? -written : written;
  return next;
}

// Reads the number at `text` whose whole part ends at `point` and is `sum`; a fraction or an exponent
// follows.
[[nodiscard]] inline const char* ReadReal(const char* text, const char* point, const char* end,
                                          std::uint64_t sum, Value* place) {
  const bool minus = *text == '-';
  const char* next = point;
  int exponent = 0;
  auto significand = static_cast<double>(sum);
  if (*next == '.') {
    const bool wholeIsZero = sum == 0;
    if (sum > kExact) return ReadRareNumber(text, end, place);
    next = AddDigits(point + 1, end, sum);
    if (next == point + 1) return nullptr;
    exponent = static_cast<int>(point + 1 - next);
    if (next - text - minus > kMostDigits + 1 || !RoundSignificand(sum, wholeIsZero, significand, exponent)) {
      return ReadRareNumber(text, end, place);
    }
  }
  if ((*next | 0x20) == 'e') {
    next = AddExponent(next, exponent);
    if (next == nullptr) return ReadRareNumber(text, end, place);
  }
  if (exponent < -308 || exponent > 308) return ReadRareNumber(text, end, place);
  significand = rapidjson::internal::FastPath(significand, exponent);
  new (place) Value(minus ? -significand : significand);
  return next;
}

}  // namespace number

inline const char* ReadNumber(const char* text, const char* end, Value* place) {
  assert(text < end && !number::IsDigit(end[-1]));
  const bool minus = *text == '-';
  const char* const first = text + minus;
  const char* next = first;
  std::uint64_t sum = 0;
  if (end - first >= 8) {
    const std::uint64_t bytes = number::LoadEight(first);
    if (number::NoDigits(bytes) == 0) {
      sum = number::JoinEight(bytes);
      next += 8;
    }
  }
  for (; number::IsDigit(*next); ++next) sum = sum * 10 + static_cast<unsigned>(*next - '0');
  if (next == first || (*first == '0' && next - first > 1)) return nullptr;
  if (next - first > number::kMostDigits || (minus && sum > number::kLowest)) {
    return ReadRareNumber(text, end, place);
  }
  if (*next == '.' || (*next | 0x20) == 'e') return number::ReadReal(text, next, end, sum, place);
  if (minus) {
    new (place) Value(static_cast<std::int64_t>(~sum + 1));
  } else {
    new (place) Value(sum);
  }
  return next;
}

}  // namespace tovkit
