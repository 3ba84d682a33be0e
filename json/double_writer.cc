// SPDX-License-Identifier: MIT
// RapidJSON finds the digits by Grisu2: the scaled number is a whole part and a fraction of 2^shift, and
// digit after digit is taken off until what is left is smaller than `delta`, the width of the range of
// numbers that are read as this double.
//
// With each digit, what is left shrinks against delta. If it is still not smaller after eight digits, it was
// not smaller after fewer, so all eight may be taken at once. The same holds for the whole part. The last
// digits are taken one by one and rounded, as RapidJSON does. Numbers of few digits end within the whole part
// and are left to RapidJSON.
#include "double_writer.h"

#include "value_layout.h"

#include <rapidjson/internal/dtoa.h>

#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace tovkit {

namespace {

using rapidjson::internal::DiyFp;

constexpr std::uint32_t kPowers[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

// The digits of a number, and the power of ten by which the integer that they make is multiplied.
struct Decimal {
  char digits[kDoubleRoom];
  int length;
  int exponent;
};

void PutPair(char* text, std::uint32_t pair) {
  std::memcpy(text, rapidjson::internal::GetDigitsLut() + std::size_t{pair} * 2, 2);
}

void PutFour(char* text, std::uint32_t four) {
  PutPair(text, four / 100);
  PutPair(text + 2, four % 100);
}

// The fraction behind the digits of a number that are found so far.
struct Fraction {
  std::uint64_t left;   // below 2^shift
  std::uint64_t delta;  // at most `left`
  int shift;

  // Takes off `count` digits into `digits`, unless what is left would then be below delta.
  bool Take(int count, std::uint32_t& digits) {
    __extension__ typedef unsigned __int128 Wide;
    const Wide scaled = static_cast<Wide>(left) * kPowers[count];
    const std::uint64_t rest = static_cast<std::uint64_t>(scaled) & ((std::uint64_t{1} << shift) - 1);
    if (rest < static_cast<Wide>(delta) * kPowers[count]) return false;
    assert(scaled >> shift < kPowers[count]);
    digits = static_cast<std::uint32_t>(scaled >> shift);
    left = rest;
    delta *= kPowers[count];
    return true;
  }
};

// Adds the digits of the fraction. `gap` is how far the number lies below the end of its range.
void AddFraction(Fraction fraction, std::uint64_t gap, Decimal& decimal) {
  char* next = decimal.digits + decimal.length;
  int taken = 0;
  std::uint32_t digits = 0;
  if (fraction.Take(8, digits)) {
    PutFour(next, digits / 10000);
    PutFour(next + 4, digits % 10000);
    taken = 8;
  }
  if (fraction.Take(4, digits)) {
    PutFour(next + taken, digits);
    taken += 4;
  }
  do {
    fraction.left *= 10;
    fraction.delta *= 10;
    next[taken++] = static_cast<char>('0' + (fraction.left >> fraction.shift));
    fraction.left &= (std::uint64_t{1} << fraction.shift) - 1;
  } while (fraction.left >= fraction.delta);
  decimal.length += taken;
  decimal.exponent -= taken;
  // Compatibility: behind the eighth digit of the fraction the last one is not rounded.
  const std::uint64_t scaledGap = taken < 9 ? gap * kPowers[taken] : 0;
  rapidjson::internal::GrisuRound(decimal.digits, decimal.length, fraction.delta, fraction.left,
                                  std::uint64_t{1} << fraction.shift, scaledGap);
}

// RapidJSON's Grisu2 for a positive number.
void FindDigits(double number, Decimal& decimal) {
  const DiyFp exact(number);
  DiyFp below;
  DiyFp above;
  exact.NormalizedBoundaries(&below, &above);
  const DiyFp power = rapidjson::internal::GetCachedPower(above.e, &decimal.exponent);
  const DiyFp scaled = exact.Normalize() * power;
  above = above * power;
  below = below * power;
  --above.f;
  ++below.f;
  const std::uint64_t delta = above.f - below.f;
  const int shift = -above.e;
  const auto whole = static_cast<std::uint32_t>(above.f >> shift);
  const std::uint64_t left = above.f & ((std::uint64_t{1} << shift) - 1);
  constexpr std::uint32_t kTenDigits = 1000000000;
  if (left <= delta || whole >= kTenDigits) {
    return rapidjson::internal::DigitGen(scaled, above, delta, decimal.digits, &decimal.length,
                                         &decimal.exponent);
  }
  decimal.length = static_cast<int>(rapidjson::internal::u32toa(whole, decimal.digits) - decimal.digits);
  AddFraction({left, delta, shift}, above.f - scaled.f, decimal);
}

}  // namespace

char* WriteDouble(double number, char* text) {
  assert(std::isfinite(number));
  if (number == 0) return rapidjson::internal::dtoa(number, text);
  if (number < 0) *text++ = '-';
  Decimal decimal;
  FindDigits(std::fabs(number), decimal);
  const int whole = decimal.length + decimal.exponent;  // digits before the point
  const __m128i first = LoadBytes(decimal.digits);
  const __m128i second = LoadBytes(decimal.digits + 16);
  StoreBytes(text, first);
  StoreBytes(text + 16, second);
  constexpr int kMostWhole = 21;
  if (decimal.exponent >= 0 || whole <= 0 || whole > kMostWhole) {
    return rapidjson::internal::Prettify(text, decimal.length, decimal.exponent, 324);
  }
  text[whole] = '.';
  assert(decimal.length - whole <= 16);  // 17 digits tell every double apart
  StoreBytes(text + whole + 1, LoadBytes(decimal.digits + whole));
  return text + decimal.length + 1;
}

}  // namespace tovkit
