// SPDX-License-Identifier: MIT
// Samples of any width and kind become bytes here, before they are stored as pixels. The file's floats of
// 16 and 24 bits have no type in the language, so they are taken apart by hand.
#include "codec/tiff_samples.h"

#include "pixel/color.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tovmx {

bool IsTiffSampleDepth(int bits, bool real) {
  if (real) return bits == 16 || bits == 24 || bits == 32 || bits == 64;
  return (bits >= 1 && bits <= 32) || bits == 64;
}

namespace {

template <typename Number>
Number Load(const std::uint8_t* from) {
  Number number;
  std::memcpy(&number, from, sizeof number);
  return number;
}

std::uint32_t Load24(const std::uint8_t* from) {
  return from[0] | std::uint32_t{from[1]} << 8 | std::uint32_t{from[2]} << 16;
}

// A number of a sign, an exponent and a fraction, as IEEE 754 lays out its own. The least numbers, whose
// exponent is 0, are 0 here: 8 bits show none of them.
double Real(std::uint32_t bits, int exponentBits, int fractionBits) {
  const std::uint32_t most = (1U << exponentBits) - 1;
  const std::uint32_t exponent = bits >> fractionBits & most;
  if (exponent == 0) return 0;
  const double fraction = std::ldexp(bits & ((1U << fractionBits) - 1), -fractionBits);
  const int bias = static_cast<int>(most / 2);
  double value = 0;
  if (exponent == most) {
    value = fraction == 0 ? std::numeric_limits<double>::infinity() : std::nan("");
  } else {
    value = std::ldexp(1 + fraction, static_cast<int>(exponent) - bias);
  }
  return (bits >> (exponentBits + fractionBits) & 1U) != 0 ? -value : value;
}

double RealAt(const std::uint8_t* from, int bits) {
  switch (bits) {
    case 16:
      return Real(Load<std::uint16_t>(from), 5, 10);
    case 24:
      return Real(Load24(from), 7, 16);
    case 32:
      return static_cast<double>(Load<float>(from));
    default:
      return Load<double>(from);
  }
}

std::uint8_t FromReal(double value) {
  if (!(value > 0)) return 0;  // what is no number is not above 0 either
  return static_cast<std::uint8_t>(std::lround(std::min(value, 1.0) * 255));
}

// Of a number of up to 32 bits.
std::uint8_t Scale(std::uint64_t value, int bits) {
  return ByteOfSample(value, (std::uint64_t{1} << bits) - 1);
}

// Calls take(number of the sample, its bits) for numbers that lie bit behind bit.
template <typename Take>
void ForEachPacked(const std::uint8_t* from, std::size_t count, int bits, Take take) {
  std::uint64_t held = 0;
  int heldBits = 0;
  for (std::size_t i = 0; i < count; ++i) {
    for (; heldBits < bits; heldBits += 8) held = held << 8 | *from++;
    heldBits -= bits;
    take(i, held >> heldBits & ((std::uint64_t{1} << bits) - 1));
  }
}

}  // namespace

void NarrowTiffSamples(const TiffLayout& layout, const std::uint8_t* from, std::size_t count,
                       std::uint8_t* to) {
  const int bits = layout.bits;
  const auto bytes = static_cast<std::size_t>(bits) / 8;
  if (layout.real) {
    for (std::size_t i = 0; i < count; ++i) to[i] = FromReal(RealAt(from + i * bytes, bits));
  } else if (bits == 24) {
    for (std::size_t i = 0; i < count; ++i) to[i] = Scale(Load24(from + i * bytes), bits);
  } else if (bits == 32) {
    for (std::size_t i = 0; i < count; ++i) to[i] = Scale(Load<std::uint32_t>(from + i * bytes), bits);
  } else if (bits == 64) {
    for (std::size_t i = 0; i < count; ++i) to[i] = Scale(Load<std::uint64_t>(from + i * bytes) >> 32, 32);
  } else if (layout.colors == TiffColors::kIndexed) {
    ForEachPacked(from, count, bits,
                  [&](std::size_t i, std::uint64_t value) { to[i] = static_cast<std::uint8_t>(value); });
  } else {
    ForEachPacked(from, count, bits, [&](std::size_t i, std::uint64_t value) { to[i] = Scale(value, bits); });
  }
}

}  // namespace tovmx
