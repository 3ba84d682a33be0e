// SPDX-License-Identifier: MIT
// How many bits symbols take when each has the shortest code that its frequency allows. In whole numbers:
// comparing sizes must not depend on a machine's mathematics.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace tovmx {

constexpr unsigned kLogBits = 8;  // behind the point of a logarithm

namespace entropy_internal {

constexpr unsigned kMantissaBits = 10;

// The part of log2(1 + index / 2^kMantissaBits) behind the point, by squaring.
constexpr std::uint16_t FractionOfLog2(std::uint32_t index) {
  std::uint64_t mantissa = (std::uint64_t{index} + (1U << kMantissaBits)) << (31 - kMantissaBits);
  unsigned fraction = 0;
  for (unsigned bit = 0; bit < kLogBits; ++bit) {
    mantissa = mantissa * mantissa >> 31;
    const bool carry = mantissa >> 32 != 0;
    fraction = fraction << 1 | (carry ? 1U : 0U);
    if (carry) mantissa >>= 1;
  }
  return static_cast<std::uint16_t>(fraction);
}

constexpr auto kFractions = [] {
  std::array<std::uint16_t, 1U << kMantissaBits> fractions{};
  for (std::uint32_t i = 0; i < fractions.size(); ++i) fractions[i] = FractionOfLog2(i);
  return fractions;
}();

}  // namespace entropy_internal

// log2 of the eleven highest bits of `value`, which is not 0, in steps of 2^-kLogBits, rounded down.
constexpr std::uint64_t Log2(std::uint32_t value) {
  using namespace entropy_internal;
  const auto whole = static_cast<unsigned>(std::bit_width(value)) - 1;
  const std::uint64_t highest = (std::uint64_t{value} << kMantissaBits) >> whole;
  return (std::uint64_t{whole} << kLogBits) + kFractions[highest - kFractions.size()];
}

// The bits of all symbols together, without those that tell the codes.
constexpr std::uint64_t BitsOfSymbols(const std::uint32_t* counts, std::size_t symbols) {
  std::uint32_t all = 0;
  std::uint64_t unneeded = 0;
  for (std::size_t i = 0; i < symbols; ++i) {
    all += counts[i];
    if (counts[i] > 1) unneeded += counts[i] * Log2(counts[i]);
  }
  return all == 0 ? 0 : (all * Log2(all) - unneeded) >> kLogBits;
}

}  // namespace tovmx
